// The hybrid daemon helper against a fixture tree: default files, a bridge's member list in
// the tree's sysfs, and recording hyctl and job manager programs. The configuration a controller
// writes from a real bridge is checked in integration/driver.
#include "orvamesh/driver/hy_helper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/fixture_root.h"
#include "support/log_capture.h"

namespace {

using namespace ORVA::MESH::SDK;
using Driver::HyHelper;
using Driver::HyIf;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using orva::test::FixtureRoot;
using orva::test::LogCapture;
using Calls = std::vector<std::vector<std::string>>;

constexpr char kHyctl[] = "/usr/sbin/hyctl";

const char kDefault[] =
    "# hyd defaults\nHybridBridgeInterfaceName=\nManagedInterfacesList=\n\n[INTERFACE]\nForceGroupRelaying=1\n\n"
    "[HYFI]\nMode=HYROUTER\n";

class HyHelperTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* p : {kHyctl, "/sbin/start", "/sbin/stop"}) root_.InstallRecorder(p);
    for (const char* role : {"cap", "re"}) {
      for (const char* file : {"hyd.conf", "hyd_guest.conf"}) {
        root_.WriteFile(std::string("usr/orva/etc.defaults/mesh/") + role + "/" + file, kDefault);
      }
    }
    std::filesystem::create_directories(root_.Join("usr/orva/etc/mesh"));
    root_.WriteFile("usr/orva/etc/wifi/lbd.conf", "[STEERALG]\nMinTx=53\n[OTHER]\nNotCopied=1\n");
    root_.WriteFile("usr/orva/etc/switchvlan.conf", "SwitchCpuPort=\"0\"\nSwitchLanVid=\"1\"\nVlanIds=\"1 2\"\n");
    Members("br0", {"bwlan1", "eth0", "other0", "sta0", "sta1wlan", "wlan0"});
  }
  void Members(const std::string& bridge, const std::vector<std::string>& names) {
    std::filesystem::create_directories(root_.Join("sys/class/net/" + bridge + "/brif"));
    for (const std::string& name : names) root_.WriteFile("sys/class/net/" + bridge + "/brif/" + name, "");
  }
  std::string Conf(const char* file = "hyd.conf") const {
    return FixtureRoot::ReadFile(root_.Join(std::string("usr/orva/etc/mesh/") + file));
  }
  FixtureRoot root_;
  LogCapture log_;
};

TEST_F(HyHelperTest, MembersAreClassifiedByTheFirstMatchingPartOfTheirName) {
  HyHelper hy(false, false);
  std::vector<HyIf> list;
  ASSERT_EQ(hy.GetIfList(list), 0);
  const std::vector<HyIf> expected = {
      {"bwlan1", "wifi2", Interface::IF_TYPE_WLAN_VLAN, Driver::HY_IF_GRP_1, true, true},
      {"eth0", "", Interface::IF_TYPE_ETHER, Driver::HY_IF_GRP_1, true, true},
      {"sta0", "", Interface::IF_TYPE_WLAN_VLAN, Driver::HY_IF_GRP_0, false, false},
      {"sta1wlan", "", Interface::IF_TYPE_WLAN_VLAN, Driver::HY_IF_GRP_0, true, false},
      {"wlan0", "wifi1", Interface::IF_TYPE_WLAN, Driver::HY_IF_GRP_1, true, true},
  };
  EXPECT_EQ(list, expected);
  ASSERT_EQ(hy.GetWlanList(list), 0);
  EXPECT_EQ(list, (std::vector<HyIf>{expected[0], expected[4]}));
  ASSERT_EQ(hy.GetIfNoRelayList(list), 0);
  EXPECT_EQ(list, (std::vector<HyIf>{expected[2], expected[3]}));
  EXPECT_THAT(Conf(), AllOf(HasSubstr("ForceGroupRelaying=1\n"), HasSubstr("SwitchCpuPort=0\n"),
                            HasSubstr("[STEERALG]\nMinTx=53\n"), Not(HasSubstr("[OTHER]"))));
}

TEST_F(HyHelperTest, ARelaySettingSurvivesARebuild) {
  HyHelper hy(true, false);
  EXPECT_EQ(hy.SetIfRelay("eth0", false, true), 0);
  EXPECT_EQ(hy.ReloadHydConfig(), 0);
  bool relay = true;
  EXPECT_EQ(hy.GetIfRelay("eth0", relay), 0);
  EXPECT_FALSE(relay);
  EXPECT_THAT(Conf(), HasSubstr("NoRelayGroupList=eth0,sta0,sta1wlan\n"));
  EXPECT_EQ(hy.SetIfRelay("other0", false, true), HyHelper::kNoSuchIf);
  EXPECT_EQ(hy.GetIfRelay("other0", relay), HyHelper::kNoSuchIf);
}

TEST_F(HyHelperTest, StartingRunsHyctlForTheBridgeAndEveryMemberThenTheService) {
  root_.WriteFile("usr/orva/etc/node_settings.conf", "igmp_snooping=\"1\"\nigmp_snooping_aging=\"260\"\n");
  HyHelper hy(false, false);
  root_.ClearCalls("/sbin/stop");
  ASSERT_EQ(hy.StartHyd(), 0);
  Calls expected = {{"setbrmode", "br0", "grprel"},
                    {"setmc", "br0", "retag", "disable"},
                    {"setmc", "br0", "state", "enable"},
                    {"setmc", "br0", "timeout", "GroupSpecificQueries", "enable"},
                    {"setmc", "br0", "timeout", "GroupMembershipInterval", "enable"},
                    {"setmc", "br0", "aging", "260"}};
  // Per member: its group, relay flag and broadcast setting.
  for (const Calls::value_type& m : Calls{{"bwlan1", "1", "r", "enable"}, {"eth0", "1", "r", "enable"},
                                          {"sta0", "0", "n", "disable"}, {"sta1wlan", "0", "n", "enable"},
                                          {"wlan0", "1", "r", "enable"}}) {
    expected.push_back({"setifgrp", "br0", m[0], m[1], m[2]});
    expected.push_back({"setifbcast", "br0", m[0], m[3]});
  }
  EXPECT_EQ(root_.Calls(kHyctl), expected);
  EXPECT_EQ(root_.Calls("/sbin/stop"), Calls{{"hyd"}});
  EXPECT_EQ(root_.Calls("/sbin/start"), Calls{{"hyd"}});

  root_.ClearCalls(kHyctl);
  EXPECT_EQ(hy.StartHyd(), 0);
  EXPECT_TRUE(root_.Calls(kHyctl).empty()) << "already started";
  EXPECT_EQ(root_.Calls("/sbin/start").size(), 1u);

  EXPECT_EQ(hy.RestartHyd(), 0);
  EXPECT_EQ(root_.Calls("/sbin/start").size(), 2u);
  EXPECT_EQ(hy.StopHyd(), 0);
  EXPECT_EQ(hy.StopHyd(), 0);
  EXPECT_EQ(root_.Calls("/sbin/stop").size(), 4u) << "a stopped daemon is not stopped again";
}

TEST_F(HyHelperTest, SnoopingOffSendsNoAgingAndControllersSetNoBridgeMode) {
  root_.WriteFile("usr/orva/etc/node_settings.conf", "igmp_snooping=\"0\"\n");
  HyHelper hy(true, false);
  ASSERT_EQ(hy.SetIGMPSnooping(), 0);
  EXPECT_EQ(root_.Calls(kHyctl), (Calls{{"setmc", "br0", "state", "disable"},
                                         {"setmc", "br0", "timeout", "GroupSpecificQueries", "disable"},
                                         {"setmc", "br0", "timeout", "GroupMembershipInterval", "disable"}}));
  root_.ClearCalls(kHyctl);
  ASSERT_EQ(hy.StartHyd(), 0);
  EXPECT_EQ(root_.Calls(kHyctl).front(), (std::vector<std::string>{"setmc", "br0", "retag", "disable"}));
  root_.WriteFile("usr/orva/etc/node_settings.conf", "igmp_snooping=\"maybe\"\n");
  EXPECT_EQ(hy.SetIGMPSnooping(), HyHelper::kIgmpSnoopingFailed);
}

TEST_F(HyHelperTest, EachFailingStepOfTheStartHasItsOwnCode) {
  struct Case {
    const char* program;
    const char* failOn;
    int expected;
  } cases[] = {
      {kHyctl, "setbrmode", HyHelper::kBrModeFailed},   {kHyctl, "retag", HyHelper::kRetagFailed},
      {kHyctl, "state", HyHelper::kIgmpSnoopingFailed}, {kHyctl, "setifgrp", HyHelper::kIfGroupFailed},
      {kHyctl, "setifbcast", HyHelper::kIfBcastFailed}, {"/sbin/start", "hyd", HyHelper::kStartFailed},
  };
  for (const Case& c : cases) {
    root_.FailOn(c.program, c.failOn);
    HyHelper hy(false, false);
    EXPECT_EQ(hy.StartHyd(), c.expected) << c.failOn;
    root_.FailOn(c.program, "");
    EXPECT_EQ(hy.StartHyd(), 0) << "not marked started after " << c.failOn;
  }
}

TEST_F(HyHelperTest, GuestAndControllerTopologyChooseTheirBridgeFilesAndService) {
  Members("gbr0", {"gwlan0", "eth1"});
  Members("lbr0", {"eth2"});
  root_.WriteFile("usr/orva/etc/switchvlan_guest.conf", "SwitchCpuPort=6\nSwitchLanVid=3\nVlanIds=3\n");
  root_.WriteFile("usr/orva/etc/wifi/lbd.guest.conf", "[STEERALG]\nGuest=1\n");
  HyHelper guest(true, true);
  EXPECT_EQ(guest.GetServiceName(), "hyd_guest");
  EXPECT_THAT(Conf("hyd_guest.conf"), AllOf(HasSubstr("HybridBridgeInterfaceName=gbr0\nManagedInterfacesList=eth1:ETHER,"
                                                        "gwlan0:WLAN\nWlanInterfaces=wifi1:gwlan0\nNoRelayGroupList=\n"),
                                              HasSubstr("SwitchCpuPort=6\nSwitchLanVid=3\nVlanIds=3\n"),
                                              HasSubstr("[STEERALG]\nGuest=1\n")));
  EXPECT_EQ(root_.Calls("/sbin/stop"), Calls{{"hyd_guest"}});

  root_.WriteFile("usr/orva/etc/node_settings.conf", "wifi_topology=\"2\"\n");
  HyHelper cap(true, false);
  std::string bridge;
  EXPECT_EQ(cap.GetBr(bridge), 0);
  EXPECT_EQ(bridge, "lbr0");
  HyHelper re(false, false);
  EXPECT_EQ(re.GetBr(bridge), 0);
  EXPECT_EQ(bridge, "br0") << "a repeater ignores the topology";
}

TEST_F(HyHelperTest, MissingInputsAreReportedAndWhatCanBeDoneIsStillDone) {
  std::filesystem::remove(root_.Join("usr/orva/etc.defaults/mesh/re/hyd.conf"));
  root_.WriteFile("usr/orva/etc/wifi/lbd.conf", "[WLANIF2G]\nA=1\n[BANDMON]\nB=2\n");
  root_.WriteFile("usr/orva/etc/switchvlan.conf", "SwitchCpuPort=0\nSwitchLanVid=1\n");
  HyHelper hy(false, false);
  EXPECT_TRUE(log_.Contains("Failed to find default conf file [" + root_.Join("usr/orva/etc.defaults/mesh/re/hyd.conf") + "]"));
  EXPECT_TRUE(log_.Contains("Failed to get value of key [VlanIds]"));
  EXPECT_THAT(Conf(), AllOf(HasSubstr("[WLANIF2G]\nA=1\n"), HasSubstr("[BANDMON]\nB=2\n"), HasSubstr("SwitchLanVid=1\n")));

  std::filesystem::remove_all(root_.Join("sys/class/net/br0"));
  EXPECT_EQ(hy.ReloadHydConfig(), HyHelper::kNoBridge);
  EXPECT_EQ(hy.StartHyd(), HyHelper::kNoBridge);
  EXPECT_TRUE(root_.Calls("/sbin/start").empty());

  Members("br0", {"wlan7"});  // a Wi-Fi member without a radio
  EXPECT_EQ(hy.ReloadHydConfig(), HyHelper::kListNotSet);
}

TEST_F(HyHelperTest, AttachingUsesTheLanBridgeOfTheNodeSettings) {
  HyHelper hy(true, false);
  EXPECT_EQ(hy.AttachHyfiBridge(true), 0);
  root_.WriteFile("usr/orva/etc/node_settings.conf", "lan_bridge=\"lbr0\"\n");
  EXPECT_EQ(hy.AttachHyfiBridge(false), 0);
  EXPECT_EQ(root_.Calls(kHyctl), (Calls{{"attach", "br0"}, {"detach", "lbr0"}}));
  root_.SetStatus(kHyctl, 1);
  EXPECT_EQ(hy.AttachHyfiBridge(false), -1);
}

TEST_F(HyHelperTest, HandEditedListsAreWrittenByName) {
  HyHelper hy(true, false);
  const HyIf eth("eth5", "", Interface::IF_TYPE_ETHER, Driver::HY_IF_GRP_1, true, false);
  const HyIf wlan("wlan2", "wifi0", Interface::IF_TYPE_WLAN, Driver::HY_IF_GRP_1, true, true);
  ASSERT_EQ(hy.SetIfList({wlan, eth}, false), 0);
  ASSERT_EQ(hy.SetWlanList({wlan}, false), 0);
  ASSERT_EQ(hy.SetIfRadioName("wlan2", "radioX", false), 0);
  ASSERT_EQ(hy.AddIf(HyIf("sta2", "", Interface::IF_TYPE_WLAN_VLAN, Driver::HY_IF_GRP_0, false, false), false), 0);
  ASSERT_EQ(hy.DelIf(eth, false), 0);
  EXPECT_EQ(hy.DelIf(eth, false), HyHelper::kNoSuchIf);
  EXPECT_EQ(hy.SetIfGrp("eth5", Driver::HY_IF_GRP_0), HyHelper::kNoSuchIf);
  ASSERT_EQ(hy.SetToFile(), 0);
  EXPECT_THAT(Conf(), HasSubstr("ManagedInterfacesList=sta2:WLAN_VLAN,wlan2:WLAN\nWlanInterfaces=radioX:wlan2\n"
                                "NoRelayGroupList=sta2\n"));
}

// Written by the fixture tests above through the configuration file; read back here.
TEST(HyHelperText, ListsConvertToTheirTextFormsAndBack) {
  std::vector<std::string> names, radios, vaps;
  std::vector<Interface::IF_TYPE> types;
  ASSERT_EQ(HyHelper::StrToList("eth0:ETHER,bwlan1.2:WLAN_VLAN", names, types), 0);
  EXPECT_EQ(names, (std::vector<std::string>{"eth0", "bwlan1.2"}));
  EXPECT_EQ(types, (std::vector<Interface::IF_TYPE>{Interface::IF_TYPE_ETHER, Interface::IF_TYPE_WLAN_VLAN}));
  ASSERT_EQ(HyHelper::StrToNoRelayList("sta0,sta1", names), 0);
  EXPECT_EQ(names, (std::vector<std::string>{"sta0", "sta1"}));
  std::string text;
  HyIf vlan("bwlan1.2", "wifi2", Interface::IF_TYPE_WLAN_VLAN, Driver::HY_IF_GRP_1, true, true);
  ASSERT_EQ(HyHelper::WlanListToStr({vlan}, text), 0);
  EXPECT_EQ(text, "wifi2:bwlan1") << "a VLAN goes by the interface it is on";
  ASSERT_EQ(HyHelper::StrToWlanList("wifi1:wlan0,wifi2:bwlan1", radios, vaps), 0);
  EXPECT_EQ(radios, (std::vector<std::string>{"wifi1", "wifi2"}));
  EXPECT_EQ(vaps, (std::vector<std::string>{"wlan0", "bwlan1"}));

  for (const char* bad : {"eth0", ":ETHER", "eth0:ETHER,", "eth0:SERIAL", "a:b:c"}) {
    EXPECT_EQ(HyHelper::StrToList(bad, names, types), -1) << bad;
  }
  EXPECT_EQ(HyHelper::StrToWlanList("wifi1wlan0", radios, vaps), -1);
  EXPECT_EQ(HyHelper::StrToNoRelayList("a,,b", names), -1);
}

}  // namespace
