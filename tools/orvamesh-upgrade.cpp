// orvamesh-upgrade: the mesh's firmware update from the command line.
//
//   orvamesh-upgrade check    --server URL --key HEX [--ca FILE] IDENTITY [--force] [--json]
//   orvamesh-upgrade download --server URL --key HEX [--ca FILE] IDENTITY --dir DIR [--force] [--json]
//   orvamesh-upgrade node     --image FILE --sha256 HEX --target VERSION
//                             (--local [--writer PATH] | --host ADDR [--port P] --user U)
//   orvamesh-upgrade group    --state FILE --image FILE --sha256 HEX --target VERSION
//                             --nodes FILE [--parallel N] [--json]
//   orvamesh-upgrade status   --state FILE [--json]
// IDENTITY: --model UNIQUE --version V --build N --update N --serial S (of the running node).
// The SSH password comes from ORVAMESH_SSH_PASSWORD, never from the command line. The --nodes
// file is a JSON array of {"id", "parent", "host", "port", "user"} and optionally "directory",
// "writer" and "version_command" where a node differs from the defaults; the CAP has no parent.
// Progress: a bar on a terminal, otherwise one line per event (with --json one JSON object).
//
// Exit status: 0 done, 1 the operation failed, 2 bad command line, 3 no newer image offered,
// 4 the group update stopped with failed nodes.
#include <arpa/inet.h>
#include <net/if.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <json/json.h>

#include "common/front_door.h"
#include "orvamesh/orvamesh.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Upgrade;

enum ExitCode { kOk = 0, kFailure = 1, kUsage = 2, kNothingOffered = 3, kGroupFailed = 4 };

struct UsageError {
  std::string message;
};

class Options {
 public:
  Options(int argc, char** argv, const std::set<std::string>& flags) {
    for (int i = 2; i < argc; ++i) {
      const std::string word = argv[i];
      if (word.rfind("--", 0) != 0) throw UsageError{"unexpected \"" + word + "\""};
      const std::string name = word.substr(2);
      if (flags.count(name) != 0) {
        values_[name] = "1";
      } else if (i + 1 < argc) {
        values_[name] = argv[++i];
      } else {
        throw UsageError{word + " needs a value"};
      }
    }
  }
  bool Has(const std::string& name) const { return values_.count(name) != 0; }
  std::string Get(const std::string& name) const {
    const auto at = values_.find(name);
    if (at == values_.end()) throw UsageError{"--" + name + " is required"};
    return at->second;
  }
  std::string Get(const std::string& name, const std::string& fallback) const { return Has(name) ? Get(name) : fallback; }
  unsigned long Number(const std::string& name, unsigned long max, unsigned long fallback) const {
    if (!Has(name)) return fallback;
    const std::string text = Get(name);
    if (text.empty() || text.size() > 10 || text.find_first_not_of("0123456789") != std::string::npos ||
        std::stoul(text) > max) {
      throw UsageError{"--" + name + " needs a number up to " + std::to_string(max)};
    }
    return std::stoul(text);
  }

 private:
  std::map<std::string, std::string> values_;
};

// A bar on a terminal, otherwise one line per change.
class Reporter {
 public:
  explicit Reporter(bool json) : json_(json), terminal_(::isatty(STDOUT_FILENO) == 1) {}
  void Bytes(uint64_t done, uint64_t total) {
    const unsigned percent = total == 0 ? 100 : static_cast<unsigned>(done * 100 / total);
    if (percent == last_) return;
    last_ = percent;
    if (terminal_ && !json_) {
      std::printf("\r[%-50s] %3u%%", std::string(percent / 2, '#').c_str(), percent);
      if (percent == 100) std::printf("\n");
    } else {
      Event("download", "DOWNLOADING", percent);
    }
    std::fflush(stdout);
  }
  void Event(const std::string& node, const std::string& stage, unsigned percent) const {
    if (json_) {
      Json::Value line;
      line["node"] = node;
      line["stage"] = stage;
      line["percent"] = percent;
      Json::StreamWriterBuilder writer;
      writer["indentation"] = "";
      std::cout << Json::writeString(writer, line) << std::endl;
    } else {
      std::cout << node << " " << stage << " " << percent << "%" << std::endl;
    }
  }

 private:
  bool json_;
  bool terminal_;
  unsigned last_ = 101;
};

NodeIdentity Identity(const Options& o) {
  NodeIdentity node;
  node.modelUnique = o.Get("model");
  node.serial = o.Get("serial");
  node.running.version = o.Get("version");
  node.running.build = static_cast<uint32_t>(o.Number("build", 0xFFFFFF, 0));
  node.running.update = static_cast<uint8_t>(o.Number("update", 0xFF, 0));
  return node;
}

Json::Value EntryJson(const FeedEntry& e) {
  Json::Value out;
  out["model"] = e.modelUnique;
  out["os_name"] = e.version.osName;
  out["version"] = e.version.version;
  out["build"] = e.version.build;
  out["update"] = e.version.update;
  out["url"] = e.imageUrl;
  out["size"] = Json::UInt64(e.size);
  out["sha256"] = e.sha256;
  out["notes"] = e.releaseNotes;
  return out;
}

std::optional<FeedEntry> Offered(const Options& o) {
  const FeedSource source{o.Get("server"), o.Get("key"), o.Get("ca", ""), 30000};
  const NodeIdentity node = Identity(o);
  return UpdateFeed::Offer(UpdateFeed::Fetch(source, node), node, o.Has("force"));
}

int Check(const Options& o) {
  const auto entry = Offered(o);
  if (!entry) {
    std::cout << (o.Has("json") ? "null" : "up to date") << std::endl;
    return kNothingOffered;
  }
  if (o.Has("json")) {
    std::cout << EntryJson(*entry) << std::endl;
  } else {
    std::cout << entry->version.ToString() << " " << entry->size << " bytes " << entry->imageUrl << std::endl;
  }
  return kOk;
}

int Download(const Options& o) {
  const auto entry = Offered(o);
  if (!entry) return kNothingOffered;
  Reporter reporter(o.Has("json"));
  DownloadOptions options;
  options.directory = o.Get("dir");
  options.caFile = o.Get("ca", "");
  options.progress = [&](uint64_t done, uint64_t total) { reporter.Bytes(done, total); };
  std::cout << ImageDownloader(options).Download(*entry) << std::endl;
  return kOk;
}

FeedEntry Target(const Options& o) {
  FeedEntry entry;
  entry.sha256 = o.Get("sha256");
  entry.version.version = o.Get("target");
  return entry;
}

std::shared_ptr<NodeUpdater> RemoteUpdater(const std::string& host, unsigned long port, const std::string& user,
                                           const RemoteUpdateOptions& options = {}) {
  const char* password = std::getenv("ORVAMESH_SSH_PASSWORD");
  if (password == nullptr) throw UsageError{"set ORVAMESH_SSH_PASSWORD for SSH log-in"};
  RemoteNode node;
  node.address.sin6_family = AF_INET6;
  node.address.sin6_port = htons(static_cast<uint16_t>(port));
  // A link-local node is named with its zone, as "fe80::1%eth0".
  const auto percent = host.find('%');
  if (percent != std::string::npos) {
    node.address.sin6_scope_id = ::if_nametoindex(host.substr(percent + 1).c_str());
    if (node.address.sin6_scope_id == 0) throw UsageError{"no interface '" + host.substr(percent + 1) + "'"};
  }
  if (::inet_pton(AF_INET6, host.substr(0, percent).c_str(), &node.address.sin6_addr) != 1) {
    throw UsageError{"'" + host + "' is no IPv6 address"};
  }
  node.user = user;
  node.password = password;
  return std::make_shared<RemoteNodeUpdater>(node, options);
}

int Node(const Options& o) {
  const FeedEntry entry = Target(o);
  std::shared_ptr<NodeUpdater> updater;
  if (o.Has("local")) {
    updater = std::make_shared<LocalNodeUpdater>(FirmwareVersion{}, o.Get("writer", LocalNodeUpdater::kDefaultWriter));
  } else {
    updater = RemoteUpdater(o.Get("host"), o.Number("port", 65535, 22), o.Get("user"));
  }
  const Reporter reporter(o.Has("json"));
  updater->Update(o.Get("image"), entry, [&](Client::UPDATE_STAGE stage, uint8_t percent) {
    reporter.Event("node", Client::UpdateStageToString(stage), percent);
  });
  return kOk;
}

void PrintReport(const GroupReport& report, bool json) {
  if (json) {
    Json::Value out;
    out["target_sha256"] = report.targetSha256;
    for (const auto& [id, state] : report.nodes) out["nodes"][id] = NodeUpdateStateToString(state);
    for (const auto& [id, error] : report.errors) out["errors"][id] = error;
    std::cout << out << std::endl;
    return;
  }
  for (const auto& [id, state] : report.nodes) {
    const auto error = report.errors.find(id);
    std::cout << id << " " << NodeUpdateStateToString(state) << (error == report.errors.end() ? "" : ": " + error->second) << "\n";
  }
}

int Group(const Options& o) {
  std::ifstream in(o.Get("nodes"));
  Json::Value nodes;
  if (!in || !(in >> nodes) || !nodes.isArray()) throw UsageError{"--nodes needs a JSON array of nodes"};
  std::vector<GroupMember> members;
  for (const auto& n : nodes) {
    RemoteUpdateOptions options;
    options.directory = n.get("directory", options.directory).asString();
    options.writer = n.get("writer", options.writer).asString();
    options.versionCommand = n.get("version_command", options.versionCommand).asString();
    members.push_back({n["id"].asString(), n["parent"].asString(),
                       RemoteUpdater(n["host"].asString(), n.get("port", 22).asUInt(), n["user"].asString(), options)});
  }
  const Reporter reporter(o.Has("json"));
  const GroupReport report =
      GroupUpdate(o.Get("state"), static_cast<unsigned>(o.Number("parallel", 64, 2)))
          .Run(members, o.Get("image"), Target(o), [&](const std::string& id, Client::UPDATE_STAGE stage, uint8_t percent) {
            reporter.Event(id, Client::UpdateStageToString(stage), percent);
          });
  PrintReport(report, o.Has("json"));
  return report.Complete() ? kOk : kGroupFailed;
}

int Status(const Options& o) {
  const GroupReport report = GroupUpdate::Status(o.Get("state"));
  PrintReport(report, o.Has("json"));
  return report.With(NODE_UPDATE_STATE::FAILED).empty() ? kOk : kGroupFailed;
}

const char* const kUsageText =
    "Usage: orvamesh-upgrade check    --server URL --key HEX [--ca FILE] IDENTITY [--force] [--json]\n"
    "       orvamesh-upgrade download --server URL --key HEX [--ca FILE] IDENTITY --dir DIR [--force] [--json]\n"
    "       orvamesh-upgrade node     --image FILE --sha256 HEX --target VERSION\n"
    "                                 (--local [--writer PATH] | --host ADDR [--port P] --user U)\n"
    "       orvamesh-upgrade group    --state FILE --image FILE --sha256 HEX --target VERSION\n"
    "                                 --nodes FILE [--parallel N] [--json]\n"
    "       orvamesh-upgrade status   --state FILE [--json]\n"
    "       orvamesh-upgrade --help | --version\n"
    "IDENTITY: --model UNIQUE --version V --build N --update N --serial S (of the running node).\n"
    "The SSH password comes from ORVAMESH_SSH_PASSWORD. Exit status: 0 done, 1 failed,\n"
    "2 bad command line, 3 no newer image offered, 4 the group update stopped with failed nodes.\n";

}  // namespace

int main(int argc, char** argv) {
  Log::SetSink([](int priority, const std::string& line) {
    if (priority <= LOG_ERR) std::cerr << "orvamesh-upgrade: " << line << "\n";
  });
  const std::map<std::string, int (*)(const Options&)> commands = {
      {"check", &Check}, {"download", &Download}, {"node", &Node}, {"group", &Group}, {"status", &Status}};
  try {
    int status = kOk;
    if (orvatools::AnswerFrontDoor(argc, argv, "orvamesh-upgrade", "firmware feeds, downloads and mesh upgrades", kUsageText, status)) return status;
    if (argc < 2 || commands.count(argv[1]) == 0) throw UsageError{argc < 2 ? "" : std::string("unknown command \"") + argv[1] + "\""};
    return orvatools::FinishOutput("orvamesh-upgrade", commands.at(argv[1])(Options(argc, argv, {"force", "json", "local"})));
  } catch (const UsageError& e) {
    if (!e.message.empty()) std::cerr << "orvamesh-upgrade: " << e.message << "\n";
    std::cerr << kUsageText;
    return kUsage;
  } catch (const std::exception& e) {
    std::cerr << "orvamesh-upgrade: " << e.what() << "\n";
    return kFailure;
  }
}
