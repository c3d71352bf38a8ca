#include "platform/node_settings.h"

#include <gtest/gtest.h>

#include "platform/net_if.h"
#include "support/fixture_root.h"

namespace {


class NodeSettings : public ::testing::Test {
 protected:
  void Write(const std::string& content) { root_.WriteFile("usr/orva/etc/node_settings.conf", content); }
  orva::test::FixtureRoot root_;
};

TEST_F(NodeSettings, FallBackToTheRoutersDefaultsWhenNothingIsSet) {
  int topology = -7;
  EXPECT_EQ(orvawireless::wifi::utils::ReadTopology(topology), 0);
  EXPECT_EQ(topology, 0);
  bool on = false;
  unsigned aging = 9;
  EXPECT_EQ(orva::net::DI<orva::net::IgmpSnooping>::Make()->Get("br0", on, aging), 0);
  EXPECT_TRUE(on);
  EXPECT_EQ(aging, 0u);
  std::string bridge;
  EXPECT_EQ(orva::net::DI<orva::net::Lan>::Make()->GetBridgeName(bridge), 0);
  EXPECT_EQ(bridge, "br0");
}

TEST_F(NodeSettings, PerBridgeSnoopingOverridesTheGlobalValue) {
  Write("wifi_topology=\"2\"\nlan_bridge=\"lbr0\"\nigmp_snooping=\"0\"\nigmp_snooping_aging=\"30\"\n"
        "igmp_snooping.gbr0=\"1\"\nigmp_snooping_aging.gbr0=\"0\"\n");
  int topology = 0;
  EXPECT_EQ(orvawireless::wifi::utils::ReadTopology(topology), 0);
  EXPECT_EQ(topology, 2);
  std::string bridge;
  EXPECT_EQ(orva::net::Lan().GetBridgeName(bridge), 0);
  EXPECT_EQ(bridge, "lbr0");
  struct Case {
    const char* bridge;
    bool on;
    unsigned aging;
  } cases[] = {{"br0", false, 30}, {"gbr0", true, 0}};
  for (const Case& c : cases) {
    bool on = !c.on;
    unsigned aging = 1234;
    EXPECT_EQ(orva::net::IgmpSnooping().Get(c.bridge, on, aging), 0);
    EXPECT_EQ(on, c.on) << c.bridge;
    EXPECT_EQ(aging, c.aging) << c.bridge;
  }
}

TEST_F(NodeSettings, ABadValueIsAnErrorNotAGuess) {
  const char* bad[] = {"wifi_topology=\"two\"\nigmp_snooping=\"2\"\n", "wifi_topology=\"-1\"\nigmp_snooping_aging=\"x\"\n"};
  for (const char* content : bad) {
    Write(content);
    int topology = 0;
    bool on = false;
    unsigned aging = 0;
    EXPECT_EQ(orvawireless::wifi::utils::ReadTopology(topology), -1) << content;
    EXPECT_EQ(orva::net::IgmpSnooping().Get("br0", on, aging), -1) << content;
  }
}

TEST_F(NodeSettings, BridgeMembersAreListedSortedFromTheRootsSysfs) {
  root_.WriteFile("sys/class/net/br0/brif/wlan0", "");
  root_.WriteFile("sys/class/net/br0/brif/eth1", "");
  std::vector<std::string> members;
  ASSERT_EQ(orva::platform::ListBridgeMembers("br0", members), 0);
  EXPECT_EQ(members, (std::vector<std::string>{"eth1", "wlan0"}));
  EXPECT_EQ(orva::platform::ListBridgeMembers("br9", members), -1);
  EXPECT_EQ(orva::platform::ListBridgeMembers("../br0", members), -1);
  EXPECT_EQ(orva::platform::NetIfUp("no-such-if0"), -1);
  EXPECT_EQ(orva::platform::NetIfUp("lo"), 0);
}

}  // namespace
