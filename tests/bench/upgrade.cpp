// Firmware upgrade figures, each against a baseline measured in the same run:
// - a 64 MiB image from a local HTTPS server: ImageDownloader (SHA-256 and fsync included) ÷
//   `curl -o`, and ÷ `curl -o` followed by an fsync;
// - a group update of 8 SSH nodes whose writer takes 2 s, 4 at once: total time ÷ the sum of
//   the node times (needs root for the private sshd servers).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <mutex>
#include <random>

#include "orvamesh/base/log.h"
#include "orvamesh/upgrade/group_update.h"
#include "orvamesh/upgrade/image_downloader.h"
#include "orvamesh/upgrade/remote_node_updater.h"
#include "platform/process_runner.h"
#include "support/port_server.h"
#include "support/sshd_server.h"
#include "support/temp_dir.h"
#include "support/webapi_server.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Upgrade;
using orva::test::TempDir;

constexpr size_t kImageBytes = 64u << 20;

struct Server {
  TempDir root;
  orva::test::TlsIdentity identity = orva::test::MakeCertificate(root, "update", {"::1"});
  std::string url;
  std::string sha256;
  std::unique_ptr<orva::test::PortServer> process;

  Server() {
    std::string image(kImageBytes, '\0');
    std::mt19937_64 random(64);
    for (size_t i = 0; i + 8 <= image.size(); i += 8) {
      const uint64_t v = random();
      std::memcpy(&image[i], &v, 8);
    }
    const std::string path = root.WriteFile("images/a.img", image);
    sha256 = ImageDownloader::FileSha256(path);
    process = std::make_unique<orva::test::PortServer>(
        std::vector<std::string>{"/usr/bin/python3", std::string(ORVAMESH_SOURCE_DIR) + "/tests/support/update_server.py",
                                 "--cert", identity.cert, "--key", identity.key, "--root", root.Path(), "--log",
                                 root.Join("requests.log")},
        "the update server");
    url = "https://[::1]:" + std::to_string(process->Port()) + "/images/plain/a.img";
    ::mkdir(root.Join("out").c_str(), 0755);
  }
};

Server& TheServer() {
  static Server server;
  return server;
}

bool CurlDownload(const std::string& out, bool synced) {
  Server& s = TheServer();
  if (orva::platform::RunProgram({"curl", "-s", "--cacert", s.identity.cert, "-o", out, s.url}) != 0) return false;
  if (synced) {
    const int fd = ::open(out.c_str(), O_RDONLY | O_CLOEXEC);
    ::fsync(fd);
    ::close(fd);
  }
  ::unlink(out.c_str());
  return true;
}

double g_plainRatio = 0, g_syncedRatio = 0, g_oursMiBs = 0, g_curlMiBs = 0, g_syncedMiBs = 0;

// The machine's load drifts during a run, so the three downloads take turns inside one loop,
// each timed on its own and each going first in turn: all three see the same load.
void BM_ImageDownloadAgainstCurl(benchmark::State& state) {
  Server& s = TheServer();
  FeedEntry entry;
  entry.imageUrl = s.url;
  entry.size = kImageBytes;
  entry.sha256 = s.sha256;
  DownloadOptions options;
  options.directory = s.root.Join("out");
  options.caFile = s.identity.cert;
  const ImageDownloader downloader(options);
  const std::string out = s.root.Join("out/curl.img");
  using Clock = std::chrono::steady_clock;
  Clock::duration times[3] = {};
  std::function<bool()> sides[3] = {
      [&] { return ::unlink(downloader.Download(entry).c_str()) == 0; },
      [&] { return CurlDownload(out, false); },
      [&] { return CurlDownload(out, true); }};
  unsigned turn = 0;
  for (auto _ : state) {
    for (unsigned k = 0; k < 3; ++k) {
      const unsigned side = (turn + k) % 3;
      const auto start = Clock::now();
      if (!sides[side]()) {
        state.SkipWithError("a download failed");
        return;
      }
      times[side] += Clock::now() - start;
    }
    ++turn;
  }
  const double n = static_cast<double>(state.iterations()) * kImageBytes / 1048576.0;
  auto rate = [&](unsigned side) { return n / std::chrono::duration<double>(times[side]).count(); };
  g_oursMiBs = rate(0);
  g_curlMiBs = rate(1);
  g_syncedMiBs = rate(2);
  g_plainRatio = g_oursMiBs / g_curlMiBs;
  g_syncedRatio = g_oursMiBs / g_syncedMiBs;
  state.counters["ratio"] = g_plainRatio;
}
BENCHMARK(BM_ImageDownloadAgainstCurl)->Unit(benchmark::kMillisecond)->Iterations(24)->UseRealTime();

constexpr const char* kSlowWriter = "#!/bin/sh\nsleep 2\necho 5.3.0 > \"$HOME/version\"\n";

// Returns total ÷ sum of node times, or a negative number when sshd cannot run here.
double GroupRatio() {
  if (!orva::test::SshdUnavailableReason().empty()) return -1;
  TempDir local;
  const std::string image = local.WriteFile("a.img", std::string(256 * 1024, 'x'));
  FeedEntry entry;
  entry.sha256 = ImageDownloader::FileSha256(image);
  entry.version.version = "5.3.0";
  std::vector<std::unique_ptr<orva::test::SshdServer>> nodes;
  std::vector<GroupMember> members;
  for (int i = 0; i < 8; ++i) {
    auto node = std::make_unique<orva::test::SshdServer>();
    for (const auto& [name, content, mode] : {std::tuple<std::string, std::string, mode_t>{"writer", kSlowWriter, 0755},
                                              {"version", "5.2.0\n", 0644}}) {
      std::ofstream(node->InHome(name)) << content;
      ::chmod(node->InHome(name).c_str(), mode);
      if (::chown(node->InHome(name).c_str(), node->Uid(), static_cast<gid_t>(-1)) != 0) return -1;
    }
    RemoteUpdateOptions options;
    options.directory = node->Home();
    options.writer = node->InHome("writer");
    options.versionCommand = "cat \"$HOME/version\"";
    options.retryInterval = std::chrono::milliseconds(50);
    members.push_back({"node" + std::to_string(i), i == 0 ? "" : "node0",
                       std::make_shared<RemoteNodeUpdater>(
                           RemoteNode{node->Address(), orva::test::SshdServer::kUser, orva::test::SshdServer::kPassword},
                           options)});
    nodes.push_back(std::move(node));
  }
  std::mutex mutex;
  std::map<std::string, std::chrono::steady_clock::time_point> started;
  std::chrono::duration<double> sum{0};
  const auto begin = std::chrono::steady_clock::now();
  GroupUpdate(local.Join("group.json"), 4).Run(members, image, entry, [&](const std::string& id, Client::UPDATE_STAGE stage, uint8_t) {
    std::lock_guard<std::mutex> lock(mutex);
    if (started.count(id) == 0) started[id] = std::chrono::steady_clock::now();
    if (stage == Client::UPDATE_STAGE::DONE || stage == Client::UPDATE_STAGE::FAILED) {
      if (stage == Client::UPDATE_STAGE::DONE && started.count(id) != 0) sum += std::chrono::steady_clock::now() - started[id];
    }
  });
  const std::chrono::duration<double> total = std::chrono::steady_clock::now() - begin;
  std::printf("group update of 8 nodes (writer 2 s, 4 at once): %.2f s, sum of node times %.2f s, ratio %.3f\n",
              total.count(), sum.count(), total.count() / sum.count());
  return total.count() / sum.count();
}

}  // namespace

int main(int argc, char** argv) {
  Log::SetSink([](int, const std::string&) {});
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  if (g_curlMiBs > 0) {
    std::printf("64 MiB image: %.1f MiB/s, curl -o %.1f MiB/s, ratio %.3f (target >= 0.9)\n", g_oursMiBs, g_curlMiBs,
                g_plainRatio);
    std::printf("  against curl -o plus an fsync of the file, as the library syncs before the rename: %.1f MiB/s, ratio %.3f\n",
                g_syncedMiBs, g_syncedRatio);
  }
  if (GroupRatio() < 0) std::printf("group update: skipped, sshd cannot run here (needs root)\n");
}
