#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <sstream>

#include "orvamesh/base/exception.h"
#include "orvamesh/scan/link_cost.h"
#include "orvamesh/scan/topology_builder.h"
#include "platform/process_runner.h"
#include "support/temp_dir.h"
#include "support/thrown_text.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Scan;
using M = LINK_MEDIUM;

Mac MacOf(unsigned n) {
  char text[18];
  std::snprintf(text, sizeof text, "02:00:00:00:%02x:%02x", (n >> 8) & 0xff, n & 0xff);
  return Mac(text);
}

ScanDevice Device(unsigned n, DEVICE_ROLE role = DEVICE_ROLE::RE) {
  ScanDevice d;
  d.nodeId = n;
  d.mac = MacOf(n);
  d.role = role;
  return d;
}

struct L { unsigned a, b; M medium; LinkMeasurement m; };

// Device 0 is the CAP; devices 1..count-1 are REs.
ScanResult Mesh(unsigned count, const std::vector<L>& links) {
  ScanResult scan;
  for (unsigned i = 0; i < count; ++i) scan.AddDevice(Device(i, i == 0 ? DEVICE_ROLE::CAP : DEVICE_ROLE::RE));
  for (const auto& l : links) scan.AddLink(ScanLink(MacOf(l.a), MacOf(l.b), l.medium, l.m));
  return scan;
}

// The n of MacOf(n).
unsigned NumberOf(const Mac& mac) {
  return std::stoul(mac.ToString().substr(12, 2) + mac.ToString().substr(15, 2), nullptr, 16);
}

std::map<unsigned, unsigned> Parents(const Topology& t) {
  std::map<unsigned, unsigned> out;
  for (const auto& [mac, node] : t.GetNodes()) {
    if (mac != t.GetRoot()) out[NumberOf(mac)] = NumberOf(node.parent);
  }
  return out;
}

LinkMeasurement Wifi(double phy, double rssi, double age = 0) { return {phy, rssi, std::nullopt, age}; }

struct TreeCase {
  const char* name;
  unsigned devices;
  std::vector<L> links;
  std::map<unsigned, unsigned> parents;
};

TEST(TopologyBuilder, FindsTheExpectedTreeOfSmallMeshes) {
  const std::vector<TreeCase> cases = {
      {"slow cable beats strong radio", 3,
       {{0, 1, M::WIFI_5G, Wifi(2400, -40)}, {0, 2, M::WIFI_5G, Wifi(2400, -40)}, {1, 2, M::ETHERNET, {100, {}, {}, 0}}},
       {{1, 0}, {2, 1}}},
      {"weak 5 GHz loses to a relay", 3,
       {{0, 1, M::WIFI_5G, Wifi(866, -50)}, {0, 2, M::WIFI_5G, Wifi(866, -85)}, {1, 2, M::WIFI_5G, Wifi(866, -50)}},
       {{1, 0}, {2, 1}}},
      {"stale figures lose to fresh ones", 3,
       {{0, 1, M::WIFI_5G, Wifi(866, -50)}, {0, 2, M::WIFI_5G, Wifi(866, -50, 600)}, {1, 2, M::WIFI_5G, Wifi(866, -50)}},
       {{1, 0}, {2, 1}}},
      {"island", 5, {{0, 1, M::ETHERNET, {}}, {3, 4, M::ETHERNET, {}}}, {{1, 0}}},
      {"equal costs: the lower MAC wins", 4,
       {{0, 1, M::ETHERNET, {}}, {0, 2, M::ETHERNET, {}}, {1, 3, M::ETHERNET, {}}, {2, 3, M::ETHERNET, {}}},
       {{1, 0}, {2, 0}, {3, 1}}},
      {"duplicate link keeps the better", 2, {{0, 1, M::WIFI_2G, {}}, {1, 0, M::ETHERNET, {}}}, {{1, 0}}},
  };
  for (const auto& c : cases) {
    const Topology t = TopologyBuilder::Build(Mesh(c.devices, c.links));
    EXPECT_EQ(Parents(t), c.parents) << c.name;
    std::vector<Mac> unreachable;  // every RE without a parent
    for (unsigned n = 1; n < c.devices; ++n) {
      if (c.parents.count(n) == 0) unreachable.push_back(MacOf(n));
    }
    EXPECT_EQ(t.GetUnreachable(), unreachable) << c.name;
  }
}

TEST(TopologyBuilder, ReportsHopsPathCostsAndTheMapOfTheDaemon) {
  const Topology t = TopologyBuilder::Build(Mesh(3, {{0, 1, M::ETHERNET, {}}, {1, 2, M::WIFI_2G, Wifi(144, -50)}}));
  const TopologyNode& leaf = t.GetNodes().at(MacOf(2));
  EXPECT_EQ(leaf.hops, 2u);
  EXPECT_DOUBLE_EQ(leaf.pathCost, LinkCost(ScanLink(MacOf(0), MacOf(1), M::ETHERNET)) +
                                      LinkCost(ScanLink(MacOf(1), MacOf(2), M::WIFI_2G, Wifi(144, -50))));
  const auto map = t.ToMeshTopologyMap();
  EXPECT_EQ(map.at("ETHERNET").at(MacOf(1)), MacOf(0));
  EXPECT_EQ(map.at("WIFI_2G").at(MacOf(2)), MacOf(1));
  EXPECT_EQ(map.size(), 2u);
  const Json::Value json = t.ToJson();
  EXPECT_EQ(json["root"].asString(), MacOf(0).ToString());
  EXPECT_EQ(json["nodes"][MacOf(2).ToString()]["parent"].asString(), MacOf(1).ToString());
  EXPECT_NE(t.ToDot().find("\"" + MacOf(1).ToString() + "\" -> \"" + MacOf(2).ToString() + "\" [label=\"WIFI_2G\"]"),
            std::string::npos);
}

TEST(TopologyBuilder, NamesTheOffenderOfABadScan) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  struct Bad { ScanResult scan; std::string needle; };
  ScanResult twoCaps = Mesh(2, {});
  twoCaps.AddDevice(Device(7, DEVICE_ROLE::CAP));
  ScanResult sharedMac = Mesh(2, {});
  ScanDevice clash = Device(9);
  clash.interfaceMacs["wlan0"] = MacOf(1);
  sharedMac.AddDevice(clash);
  const std::vector<Bad> cases = {
      {ScanResult{}, "no device is the CAP"},
      {twoCaps, "are both the CAP"},
      {sharedMac, MacOf(1).ToString()},
      {Mesh(2, {{0, 5, M::ETHERNET, {}}}), "which no device has"},
      {Mesh(2, {{1, 1, M::ETHERNET, {}}}), "joins a device to itself"},
      {Mesh(2, {{0, 1, M::WIFI_5G, {-1.0, {}, {}, 0}}}), "PHY rate"},
      {Mesh(2, {{0, 1, M::WIFI_5G, {{}, nan, {}, 0}}}), "RSSI"},
  };
  for (const auto& c : cases) {
    EXPECT_THAT(orva::test::ThrownText<Exception::InvalidArgumentException>([&] { TopologyBuilder::Build(c.scan); }),
                testing::HasSubstr(c.needle));
  }
}

TEST(TopologyBuilder, ReachesAnREByAnyOfItsInterfaceMacs) {
  ScanResult scan = Mesh(1, {});
  ScanDevice re = Device(1);
  re.interfaceMacs["wlan1"] = MacOf(0x101);
  scan.AddDevice(re);
  scan.AddLink(ScanLink(MacOf(0x101), MacOf(0), M::WIFI_5G));
  EXPECT_EQ(Parents(TopologyBuilder::Build(scan)), (std::map<unsigned, unsigned>{{1, 0}}));
}

// networkx finds the minimum spanning forest; the tree of the CAP's component must cost the same.
TEST(TopologyBuilder, CostsWhatAnIndependentMinimumSpanningTreeCosts) {
  std::mt19937 random(20261124);
  orva::test::TempDir dir;
  std::ostringstream graphs;
  std::vector<double> ours;
  for (unsigned round = 0; round < 40; ++round) {
    const unsigned n = 2 + random() % 299;
    std::vector<L> links;
    for (unsigned v = 1; v < n; ++v) links.push_back({static_cast<unsigned>(random() % v), v, M::WIFI_5G, Wifi(100 + random() % 1200, -40.0 - random() % 50)});
    for (unsigned extra = random() % (3 * n); extra > 0; --extra) {
      const unsigned a = random() % n, b = random() % n;
      if (a != b) links.push_back({a, b, random() % 3 == 0 ? M::ETHERNET : M::WIFI_2G, Wifi(10 + random() % 1000, -30.0 - random() % 60)});
    }
    // Of two links between the same devices the cheaper counts, as in the tree.
    std::map<std::pair<unsigned, unsigned>, double> costs;
    for (const auto& l : links) {
      const double cost = LinkCost(ScanLink(MacOf(l.a), MacOf(l.b), l.medium, l.m));
      auto [it, added] = costs.emplace(std::minmax(l.a, l.b), cost);
      if (!added) it->second = std::min(it->second, cost);
    }
    graphs << "graph\n";
    graphs.precision(17);
    for (const auto& [ends, cost] : costs) graphs << ends.first << ' ' << ends.second << ' ' << cost << '\n';
    ours.push_back(TopologyBuilder::Build(Mesh(n, links)).TotalCost());
  }
  const std::string file = dir.WriteFile("graphs.txt", graphs.str());
  const char* script =
      "import sys, networkx as nx\n"
      "for block in open(sys.argv[1]).read().split('graph\\n')[1:]:\n"
      "    g = nx.parse_edgelist(block.splitlines(), nodetype=int, data=[('weight', float)])\n"
      "    print(repr(nx.minimum_spanning_tree(g).size(weight='weight')))\n";
  auto python = orva::platform::ProgramOutput::Open({"/usr/bin/python3", "-c", script, file});
  ASSERT_TRUE(python);
  char line[128];
  for (double cost : ours) {
    ASSERT_NE(python.GetLine(line, sizeof line), nullptr) << "networkx gave fewer answers";
    EXPECT_NEAR(std::stod(line), cost, 1e-6 * cost);
  }
  EXPECT_EQ(python.Close(), 0);
}

}  // namespace
