#include "platform/node_settings.h"

#include <gtest/gtest.h>

#include <tuple>

#include "platform/net_if.h"
#include "support/fixture_root.h"

namespace {

class NodeSettings : public ::testing::Test {
 protected:
  void Write(const std::string& content) { root_.WriteFile("usr/orva/etc/node_settings.conf", content); }
  // Each reader's return code and what it read. HyHelper's tests read the LAN bridge name.
  static std::pair<int, int> Topology() {
    int topology = -7;
    const int rc = orvawireless::wifi::utils::ReadTopology(topology);
    return {rc, topology};
  }
  static std::tuple<int, bool, unsigned> Snooping(const char* bridge) {
    bool on = false;
    unsigned aging = 1234;
    const int rc = orva::net::DI<orva::net::IgmpSnooping>::Make()->Get(bridge, on, aging);
    return {rc, on, aging};
  }

  orva::test::FixtureRoot root_;
};

TEST_F(NodeSettings, FallBackToTheRoutersDefaultsWhenNothingIsSet) {
  EXPECT_EQ(Topology(), std::make_pair(0, 0));
  EXPECT_EQ(Snooping("br0"), std::make_tuple(0, true, 0u));
}

TEST_F(NodeSettings, PerBridgeSnoopingOverridesTheGlobalValue) {
  Write("wifi_topology=\"2\"\nigmp_snooping=\"0\"\nigmp_snooping_aging=\"30\"\n"
        "igmp_snooping.gbr0=\"1\"\nigmp_snooping_aging.gbr0=\"0\"\n");
  EXPECT_EQ(Topology(), std::make_pair(0, 2));
  EXPECT_EQ(Snooping("br0"), std::make_tuple(0, false, 30u));
  EXPECT_EQ(Snooping("gbr0"), std::make_tuple(0, true, 0u));
}

TEST_F(NodeSettings, ABadValueIsAnErrorNotAGuess) {
  const char* bad[] = {"wifi_topology=\"two\"\nigmp_snooping=\"2\"\n", "wifi_topology=\"-1\"\nigmp_snooping_aging=\"x\"\n"};
  for (const char* content : bad) {
    Write(content);
    EXPECT_EQ(Topology().first, -1) << content;
    EXPECT_EQ(std::get<0>(Snooping("br0")), -1) << content;
  }
}

TEST_F(NodeSettings, BridgeMembersAreListedSortedFromTheRootsSysfs) {
  root_.WriteFile("sys/class/net/br0/brif/wlan0", "");
  root_.WriteFile("sys/class/net/br0/brif/eth1", "");
  std::vector<std::string> members;
  ASSERT_EQ(orva::platform::ListBridgeMembers("br0", members), 0);
  EXPECT_EQ(members, (std::vector<std::string>{"eth1", "wlan0"}));
  EXPECT_EQ(orva::platform::ListBridgeMembers("../br0", members), -1);
  EXPECT_EQ(orva::platform::NetIfUp("no-such-if0"), -1);
  EXPECT_EQ(orva::platform::NetIfUp("lo"), 0);
}

}  // namespace
