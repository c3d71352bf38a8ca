// orvamesh-node: what this node knows about itself, without asking the mesh daemon.
//
//   orvamesh-node identity [--json]
//   orvamesh-node utilization [--json] [--follow]    (--follow: one line per second until Ctrl-C)
//   orvamesh-node firewall [--json]                  (the ports the library has opened)
//
// Exit status: 0 done, 1 the node's files or firewall could not be read, 2 bad command line.
#include <json/json.h>
#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "common/front_door.h"
#include "orvamesh/utils/firewall.h"
#include "orvamesh/utils/identity.h"
#include "orvamesh/utils/utilization_sampler.h"

namespace {

using namespace ORVA::MESH::SDK;

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

const char kUsage[] =
    "Usage: orvamesh-node identity [--json]\n"
    "       orvamesh-node utilization [--json] [--follow]\n"
    "       orvamesh-node firewall [--json]\n"
    "       orvamesh-node --help | --version\n\n"
    "Shows this node's identity (from the identity file), its CPU, memory and uptime, or the\n"
    "ports the mesh has opened in the firewall. Set ORVAMESH_SYSTEM_ROOT to read another root.\n";

// Writes one result at once, so that --follow stops at the first line that cannot be written.
int Emit(const std::string& text) {
  std::cout << text << "\n";
  return orvatools::FinishOutput("orvamesh-node", 0);
}

std::string Compact(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

int Identity(bool json) {
  Utils::NodeIdentity id;
  if (Utils::GetNodeIdentity(id) != 0) {
    std::cerr << "orvamesh-node: cannot read the identity file " << Utils::IdentityFilePath() << std::endl;
    return kExitFailed;
  }
  if (!json) {
    return Emit(id.modelUnique + " serial " + id.serial + ", " + id.osName + " " + id.osVersion + " build " +
                std::to_string(id.osBuildNumber) + " update " + std::to_string(id.osUpdateNumber));
  }
  Json::Value out;
  out["osName"] = id.osName;
  out["osVersion"] = id.osVersion;
  out["osBuildNumber"] = id.osBuildNumber;
  out["osUpdateNumber"] = id.osUpdateNumber;
  out["modelUnique"] = id.modelUnique;
  out["serial"] = id.serial;
  return Emit(Compact(out));
}

int Utilization(bool json, bool follow) {
  Utils::UtilizationSampler sampler;
  for (;;) {
    Utils::SystemLoad load;
    if (sampler.Sample(load) != 0) {
      std::cerr << "orvamesh-node: cannot read /proc" << std::endl;
      return kExitFailed;
    }
    std::string text;
    if (json) {
      Json::Value out;
      out["cpuPercent"] = load.cpuPercent;
      out["memoryTotalKiB"] = Json::UInt64(load.memoryTotalKiB);
      out["memoryAvailableKiB"] = Json::UInt64(load.memoryAvailableKiB);
      out["uptimeSeconds"] = load.uptimeSeconds;
      text = Compact(out);
    } else {
      text = "cpu " + std::to_string(load.cpuPercent) + "% memory " + std::to_string(load.memoryAvailableKiB) +
             " of " + std::to_string(load.memoryTotalKiB) + " KiB available, up " +
             std::to_string(load.uptimeSeconds) + " s";
    }
    if (Emit(text) != 0) return kExitFailed;
    if (!follow) return 0;
    ::sleep(1);
  }
}

int FirewallList(bool json) {
  Utils::Firewall firewall;
  std::vector<Utils::FirewallHook> hooks;
  if (firewall.List(hooks) != 0) {
    std::cerr << "orvamesh-node: cannot read the firewall (is the system's table there? are we root?)" << std::endl;
    return kExitFailed;
  }
  Json::Value out(Json::arrayValue);
  std::string text;
  for (const auto& hook : hooks) {
    const char* protocol = hook.protocol == Utils::FirewallProtocol::kUdp ? "udp" : "tcp";
    const std::string where = hook.interfaceName.empty() ? "*" : hook.interfaceName;
    Json::Value entry;
    entry["protocol"] = protocol;
    entry["port"] = hook.port;
    entry["interface"] = hook.interfaceName;
    out.append(entry);
    text += std::string(text.empty() ? "" : "\n") + protocol + " " + std::to_string(hook.port) + " " + where;
  }
  if (!json && text.empty()) return 0;
  return Emit(json ? Compact(out) : text);
}

}  // namespace

int main(int argc, char** argv) {
  int status = 0;
  if (orvatools::AnswerFrontDoor(argc, argv, "orvamesh-node", "this node's identity, load and firewall ports", kUsage, status)) return status;
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.empty()) {
    std::cerr << kUsage;
    return kExitUsage;
  }
  bool json = false;
  bool follow = false;
  for (size_t i = 1; i < words.size(); ++i) {
    if (words[i] == "--json") {
      json = true;
    } else if (words[i] == "--follow" && words[0] == "utilization") {
      follow = true;
    } else {
      std::cerr << "orvamesh-node: unknown option '" << words[i] << "'\n" << kUsage;
      return kExitUsage;
    }
  }
  if (words[0] == "identity") return Identity(json);
  if (words[0] == "utilization") return Utilization(json, follow);
  if (words[0] == "firewall") return FirewallList(json);
  std::cerr << "orvamesh-node: unknown subcommand '" << words[0] << "'\n" << kUsage;
  return kExitUsage;
}
