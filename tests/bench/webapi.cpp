// 64 web API calls to a node that takes 20 ms over every answer: one concurrent batch
// (SendWebAPIs) against 64 calls one after another (SendWebAPI), measured in the same run
// against the same fixture server. The batch should win by at least ten times.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <vector>

#include "orvamesh/platform/system_root.h"
#include "orvamesh/base/log.h"
#include "orvamesh/utils/remote_webapi.h"
#include "support/temp_dir.h"
#include "support/webapi_server.h"

namespace {

using namespace ORVA::MESH::SDK;
using Clock = std::chrono::steady_clock;

constexpr int kCalls = 64;

struct Node {
  orva::test::TempDir dir;
  std::unique_ptr<orva::test::WebapiServer> server;
  std::vector<RemoteRequest> requests;
};

Node* gNode = nullptr;
double gBatchMs = 0;
double gSequentialMs = 0;

void SetUpNode(Node& node) {
  const auto identity = orva::test::MakeCertificate(node.dir, "node", {"::1"});
  node.dir.WriteFile("root/etc/orvamesh/webapi/ca.pem", orva::test::TempDir::ReadFile(identity.cert));
  node.dir.WriteFile("root/etc/orvamesh/webapi/credentials.json",
                     R"({"mesh": {"user": "admin", "password": "pw"}})");
  orva::platform::SystemRoot::Set(node.dir.Join("root"));
  orva::test::WebapiServer::Options options;
  options.credentials = {"admin:pw"};
  options.delayMs = 20;
  node.server = std::make_unique<orva::test::WebapiServer>(node.dir, identity, options);
  for (int i = 0; i < kCalls; ++i) {
    node.requests.emplace_back("::1", node.server->Port(), "mesh", "Node.Status", 1, "get",
                               Json::Value(Json::objectValue), 5, std::vector<UploadDesc>{});
  }
}

void BM_Batch64(benchmark::State& state) {
  std::vector<Response> answers;
  double totalMs = 0;
  for (auto _ : state) {
    const auto start = Clock::now();
    if (Webapi::SendWebAPIs(gNode->requests, answers, "lo") != 0) state.SkipWithError("batch failed");
    totalMs += std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  }
  gBatchMs = totalMs / static_cast<double>(state.iterations());
  state.counters["ms_per_64"] = gBatchMs;
}
BENCHMARK(BM_Batch64)->Unit(benchmark::kMillisecond)->Iterations(10);

void BM_Sequential64(benchmark::State& state) {
  Response answer;
  double totalMs = 0;
  for (auto _ : state) {
    const auto start = Clock::now();
    for (const auto& request : gNode->requests) {
      if (Webapi::SendWebAPI(request, answer, "lo") != 0) state.SkipWithError("call failed");
    }
    totalMs += std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  }
  gSequentialMs = totalMs / static_cast<double>(state.iterations());
  state.counters["ms_per_64"] = gSequentialMs;
}
BENCHMARK(BM_Sequential64)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  // Failures are counted by the benchmarks; keep the machine's syslog out of it.
  Log::SetSink([](int, const std::string&) {});
  Node node;
  SetUpNode(node);
  gNode = &node;
  Webapi::OrvaCredInit(true);
  // One warm-up call so neither side pays for the first handshake alone.
  Response warm;
  Webapi::SendWebAPI(node.requests.front(), warm, "lo");
  benchmark::RunSpecifiedBenchmarks();
  Webapi::OrvaCredCleanUp();
  if (gBatchMs > 0 && gSequentialMs > 0) {
    std::printf("webapi: batch of %d %.1f ms, %d sequential calls %.1f ms, batch %.1fx faster (target >= 10x)\n",
                kCalls, gBatchMs, kCalls, gSequentialMs, gSequentialMs / gBatchMs);
  }
  gNode = nullptr;
  benchmark::Shutdown();
  return 0;
}
