// What the mesh client adds to a bus round trip. On one private bus and one test daemon:
//   GetNodeName through MeshClient against a bare g_dbus_connection_call_sync of the same
//   method (target: ratio >= 0.95), and
//   GetNodeInfos with 256 nodes, decoded into records, against a bare call that receives the
//   same bytes (target: ratio >= 0.9); and, to show where that time goes, the same bare call
//   followed by copying 256 finished records (what the result type costs with no decoding at
//   all), and decoding the same 256 records alone, with the client's reader against Boost's
//   binary_iarchive.
// The ratio is the client's calls per second over the bare call's.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>
#include <map>
#include <memory>
#include <string>

#include "orvamesh/client/mesh_client.h"
#include "dbus/payload_iarchive.h"
#include "orvamesh/dbus/mesh_gdbus_client.h"
#include "support/mesh_samples.h"
#include "support/mesh_test_daemon.h"
#include "support/private_bus.h"

namespace {

using namespace ORVA::MESH::SDK;

struct World {
  World() {
    orva::test::SharedPrivateBus();
    daemon = std::make_unique<orva::test::MeshTestDaemon>();
    daemon->SetReply("GetNodeName", g_variant_new("(s)", "Living room"));
    daemon->SetArchiveReply("GetNodeInfos", orva::test::sample::Nodes(256));
    client = Client::MeshClientFactory::GetClient();
    bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    g_dbus_connection_set_exit_on_close(bus, FALSE);
  }
  std::unique_ptr<orva::test::MeshTestDaemon> daemon;
  std::shared_ptr<Client::MeshClient> client;
  GDBusConnection* bus = nullptr;
};

World& TheWorld() {
  static World world;
  return world;
}

GVariant* BareCall(const char* method, GVariant* arguments) {
  GError* error = nullptr;
  GVariant* reply = g_dbus_connection_call_sync(TheWorld().bus, Dbus::kMeshBusName, Dbus::kMeshObjectPath,
                                                "com.velanto.mesh", method, arguments, nullptr,
                                                G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
  if (reply == nullptr) {
    std::fprintf(stderr, "bare call failed: %s\n", error->message);
    std::abort();
  }
  return reply;
}

using Clock = std::chrono::steady_clock;

void BareGetNodeName() {
  GVariant* reply = BareCall("GetNodeName", g_variant_new("(u)", 1u));
  const gchar* name = nullptr;
  g_variant_get(reply, "(&s)", &name);
  std::string copy(name);
  benchmark::DoNotOptimize(copy);
  g_variant_unref(reply);
}

void ClientGetNodeName() {
  auto result = TheWorld().client->GetNodeName(1);
  if (result.first != Client::ERROR_CODE::NONE) std::abort();
  benchmark::DoNotOptimize(result);
}

// The bare call receives the very bytes that the client decodes into records.
void BareGetNodeInfos() {
  GVariant* reply = BareCall("GetNodeInfos", nullptr);
  GVariant* payload = g_variant_get_child_value(reply, 0);
  gsize size = 0;
  benchmark::DoNotOptimize(g_variant_get_fixed_array(payload, &size, 1));
  g_variant_unref(payload);
  g_variant_unref(reply);
}

// The least any client can add: the bare call, then the 256 records built by copying finished
// ones (every allocation the result type needs, no parsing at all), then dropped.
void FloorGetNodeInfos() {
  static const Client::NodeInfoMap finished = orva::test::sample::Nodes(256);
  BareGetNodeInfos();
  Client::NodeInfoMap copy = finished;
  benchmark::DoNotOptimize(copy);
}

void ClientGetNodeInfos() {
  auto result = TheWorld().client->GetNodeInfos();
  if (result.second.size() != 256) std::abort();
  benchmark::DoNotOptimize(result);
}

// Decoding alone, the same 256 records: the client's reader against Boost's own binary archive.
const Dbus::GVariantWrapper& NodesPayload() {
  static const Dbus::GVariantWrapper payload = Dbus::ObjectToGVariant(orva::test::sample::Nodes(256));
  return payload;
}

void ArchiveDecode() { benchmark::DoNotOptimize(Dbus::GVariantToObject<Client::NodeInfoMap>(NodesPayload())); }

void ClientDecode() { benchmark::DoNotOptimize(Dbus::Detail::DecodePayload<Client::NodeInfoMap>(NodesPayload())); }

// The machine is shared and its load drifts during a run, so bare and client calls alternate
// inside one loop and each side is timed on its own: both see the same load.
void Interleaved(benchmark::State& state, void (*bare)(), void (*client)()) {
  TheWorld();
  bare();
  client();
  Clock::duration bareTime{};
  Clock::duration clientTime{};
  bool bareFirst = true;
  auto timed = [](void (*call)(), Clock::duration& total) {
    const auto start = Clock::now();
    call();
    total += Clock::now() - start;
  };
  // Which side goes first alternates too, so neither inherits the other's wake-ups.
  for (auto _ : state) {
    if (bareFirst) {
      timed(bare, bareTime);
      timed(client, clientTime);
    } else {
      timed(client, clientTime);
      timed(bare, bareTime);
    }
    bareFirst = !bareFirst;
  }
  const double n = static_cast<double>(state.iterations());
  const double bareRate = n / std::chrono::duration<double>(bareTime).count();
  const double clientRate = n / std::chrono::duration<double>(clientTime).count();
  state.counters["bare_calls_per_s"] = bareRate;
  state.counters["client_calls_per_s"] = clientRate;
  state.counters["ratio"] = clientRate / bareRate;
}

void GetNodeName(benchmark::State& state) { Interleaved(state, &BareGetNodeName, &ClientGetNodeName); }
void GetNodeInfos256(benchmark::State& state) { Interleaved(state, &BareGetNodeInfos, &ClientGetNodeInfos); }
void CopyFloorNodeInfos256(benchmark::State& state) { Interleaved(state, &BareGetNodeInfos, &FloorGetNodeInfos); }

void DecodeNodeInfos256(benchmark::State& state) { Interleaved(state, &ArchiveDecode, &ClientDecode); }

BENCHMARK(GetNodeName)->MinTime(2.0)->UseRealTime();
BENCHMARK(GetNodeInfos256)->MinTime(2.0)->UseRealTime();
BENCHMARK(CopyFloorNodeInfos256)->MinTime(2.0)->UseRealTime();
BENCHMARK(DecodeNodeInfos256)->MinTime(1.0)->UseRealTime();

// Keeps each benchmark's ratio so that it can be printed against its target after the table.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  struct Line {
    std::string name;
    double client;
    double bare;
    double ratio;
  };

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const auto& run : runs) {
      auto ratio = run.counters.find("ratio");
      if (ratio == run.counters.end()) continue;
      lines.push_back({run.benchmark_name(), run.counters.at("client_calls_per_s").value,
                       run.counters.at("bare_calls_per_s").value, ratio->second.value});
    }
    ConsoleReporter::ReportRuns(runs);
  }

  std::vector<Line> lines;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  const std::string reason = orva::test::PrivateBusUnavailableReason();
  if (!reason.empty()) {
    std::printf("bench dbus: skipped, %s\n", reason.c_str());
    return 0;
  }
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  for (const auto& line : reporter.lines) {
    if (line.name.rfind("CopyFloor", 0) == 0) {
      std::printf("ratio %-34s records copied %7.0f calls/s, bare %7.0f calls/s: %.3f (the ceiling of any client)\n",
                  line.name.c_str(), line.client, line.bare, line.ratio);
      continue;
    }
    if (line.name.rfind("Decode", 0) == 0) {
      std::printf("ratio %-34s client %7.0f decodes/s, binary_iarchive %7.0f decodes/s: %.3f (no target)\n",
                  line.name.c_str(), line.client, line.bare, line.ratio);
      continue;
    }
    const double target = line.name.rfind("GetNodeName", 0) == 0 ? 0.95 : 0.9;
    std::printf("ratio %-34s client %7.0f calls/s, bare %7.0f calls/s: %.3f (target >= %.2f) %s\n",
                line.name.c_str(), line.client, line.bare, line.ratio, target,
                line.ratio >= target ? "ok" : "BELOW TARGET");
  }
  benchmark::Shutdown();
  return 0;
}
