// The topology of a large mesh. Our spanning tree against Boost Graph Library's Prim on the same
// weighted graph, each on its adjacency structure built beforehand (target: ratio at most 1.5);
// and our whole build from the scan (costs, MAC lookups, adjacency, tree, result map) against
// the same bare algorithm, reported.
#include <benchmark/benchmark.h>

#include <boost/graph/adjacency_list.hpp>
#include <boost/graph/prim_minimum_spanning_tree.hpp>

#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "orvamesh/scan/link_cost.h"
#include "orvamesh/scan/topology_builder.h"
#include "scan/spanning_tree.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Scan;
using BoostGraph = boost::adjacency_list<boost::vecS, boost::vecS, boost::undirectedS, boost::no_property,
                                         boost::property<boost::edge_weight_t, double>>;

constexpr unsigned kNodes = 1024;
constexpr unsigned kLinks = 50000;

Mac MacOf(unsigned n) {
  char text[18];
  std::snprintf(text, sizeof text, "02:00:00:00:%02x:%02x", (n >> 8) & 0xff, n & 0xff);
  return Mac(text);
}

struct Fixture {
  ScanResult scan;
  BoostGraph graph{kNodes};
  std::vector<WeightedEdge> edges;

  Fixture() {
    std::mt19937 random(1024);
    for (unsigned i = 0; i < kNodes; ++i) {
      ScanDevice device;
      device.nodeId = i;
      device.mac = MacOf(i);
      device.role = i == 0 ? DEVICE_ROLE::CAP : DEVICE_ROLE::RE;
      scan.AddDevice(device);
    }
    for (unsigned k = 0; k < kLinks; ++k) {
      const unsigned b = k < kNodes - 1 ? k + 1 : random() % kNodes;
      const unsigned a = k < kNodes - 1 ? random() % b : random() % kNodes;
      if (a == b) continue;
      const LINK_MEDIUM medium = random() % 4 == 0 ? LINK_MEDIUM::ETHERNET : LINK_MEDIUM::WIFI_5G;
      const ScanLink link(MacOf(a), MacOf(b), medium, {50.0 + random() % 1500, -35.0 - random() % 55, std::nullopt, 0});
      scan.AddLink(link);
      boost::add_edge(a, b, LinkCost(link), graph);
      edges.push_back({LinkCost(link), std::min(a, b), std::max(a, b), static_cast<uint8_t>(medium)});
    }
  }
};

const Fixture& Data() {
  static const Fixture fixture;
  return fixture;
}

void BM_BoostPrim(benchmark::State& state) {
  const Fixture& f = Data();
  std::vector<boost::graph_traits<BoostGraph>::vertex_descriptor> parent(kNodes);
  for (auto _ : state) {
    boost::prim_minimum_spanning_tree(f.graph, parent.data());
    benchmark::DoNotOptimize(parent.data());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BoostPrim)->Unit(benchmark::kMillisecond);

void BM_SpanningTree(benchmark::State& state) {
  const Fixture& f = Data();
  const Adjacency adjacency(kNodes, f.edges);
  for (auto _ : state) {
    std::vector<TreeVertex> tree = SpanningTree(adjacency, f.edges, 0);
    benchmark::DoNotOptimize(tree.data());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SpanningTree)->Unit(benchmark::kMillisecond);

void BM_TopologyBuild(benchmark::State& state) {
  const Fixture& f = Data();
  for (auto _ : state) {
    Topology topology = TopologyBuilder::Build(f.scan);
    benchmark::DoNotOptimize(topology);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TopologyBuild)->Unit(benchmark::kMillisecond);

class TimeReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const auto& run : runs) seconds[run.benchmark_name()] = run.GetAdjustedRealTime();
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> seconds;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  TimeReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  auto& t = reporter.seconds;
  if (t["BM_BoostPrim"] > 0) {
    std::printf("%u nodes, %u links: spanning tree %.3f ms, Boost prim_minimum_spanning_tree %.3f ms, ratio %.2f (target <= 1.5)\n",
                kNodes, kLinks, t["BM_SpanningTree"], t["BM_BoostPrim"], t["BM_SpanningTree"] / t["BM_BoostPrim"]);
    std::printf("whole build from the scan (costs, MAC lookups, tree, result map) %.3f ms, ratio to bare Boost %.2f\n",
                t["BM_TopologyBuild"], t["BM_TopologyBuild"] / t["BM_BoostPrim"]);
  }
}
