// The driver helpers against Debian's hostapd and wpa_supplicant on a veth pair with the wired
// driver, inside a network namespace. Their control sockets live in the default /var/run places
// of this program's private mount namespace; the helpers reach them through the real
// hostapd_cli and wpa_cli, linked into a fixture system root.
#include <signal.h>
#include <sys/mount.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>

#include "orvamesh/driver/hostap_helper.h"
#include "orvamesh/driver/hy_helper.h"
#include "orvamesh/driver/wpa_helper.h"
#include "orvamesh/driver/wps_manager.h"
#include "platform/pid_file.h"
#include "platform/process_runner.h"
#include "support/child.h"
#include "support/fixture_root.h"
#include "support/log_capture.h"
#include "support/netns.h"
#include "support/private_mounts.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK;
using Driver::HostapHelper;
using Driver::WPAHelper;
using orva::test::FixtureRoot;
using orva::test::LogCapture;
using orva::test::WaitUntil;

// Before gtest starts any thread: the whole program moves into its own mount namespace.
const bool gPrivateRun = orva::test::EnterPrivateRun().empty();

std::atomic<int> gCounter{0};

bool Exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

class WiredDaemons : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_PRIVATE_RUN();
    ORVA_REQUIRE_NETNS();
    for (const char* program : {"/usr/sbin/hostapd", "/usr/sbin/hostapd_cli", "/sbin/wpa_supplicant", "/sbin/wpa_cli"}) {
      if (!Exists(program)) GTEST_SKIP() << program << " is not installed";
    }
    ns_ = std::make_unique<orva::test::NetNs>("drv");
    const int n = gCounter++;
    ap_ = "ap" + std::to_string(n);
    sta_ = "st" + std::to_string(n);
    orva::test::AddVeth(ns_.get(), ap_, ns_.get(), sta_);
    root_.LinkProgram("/usr/bin/hostapd_cli", "/usr/sbin/hostapd_cli");
    root_.LinkProgram("/usr/sbin/wpa_cli", "/sbin/wpa_cli");  // Debian installs it in /sbin
    // Liveness reads /proc below the root: a listener killed here stays a zombie until init
    // reaps it, and only /proc tells the two apart.
    root_.LinkProgram("/proc", "/proc");
    std::filesystem::create_directories(root_.Join("var/run"));
  }

  void TearDown() override {
    if (hostapd_ > 0) StopHostapd();
    // Every listener and daemon that left a pid file in the fixture goes too.
    std::error_code skipped;  // no such directory when the test was skipped
    for (const auto& entry : std::filesystem::directory_iterator(root_.Join("var/run"), skipped)) {
      pid_t pid = orva::platform::ReadPidFile(entry.path());
      if (pid > 0 && orva::platform::ProcAlive(pid)) {
        ::kill(pid, SIGTERM);
        WaitUntil([pid] { return !orva::platform::ProcAlive(pid); });
      }
    }
  }

  void StartHostapd() {
    const std::string conf = root_.WriteFile("hostapd-" + ap_ + ".conf",
                                             "interface=" + ap_ +
                                                 "\ndriver=wired\nctrl_interface=/var/run/hostapd\n"
                                                 "ieee8021x=1\neap_server=1\nwps_state=2\n");
    hostapd_ = orva::test::SpawnTied(ns_->Exec({"/usr/sbin/hostapd", conf}));
    ASSERT_GT(hostapd_, 0);
    ASSERT_TRUE(WaitUntil([&] { return Exists("/var/run/hostapd/" + ap_); })) << "hostapd did not come up";
  }

  void StopHostapd() {
    ::kill(hostapd_, SIGTERM);
    orva::platform::WaitProgram(hostapd_);
    hostapd_ = -1;
  }

  // The per-interface configuration the helper reads is the one the daemon runs with.
  void StartWpaSupplicant() {
    const std::string conf = root_.WriteFile("usr/orva/etc/wpa_supplicant.conf." + sta_,
                                             "ctrl_interface=/var/run/wpa_supplicant\nap_scan=0\n"
                                             "network={\n\tkey_mgmt=IEEE8021X\n\teap=MD5\n\tidentity=\"node\"\n"
                                             "\tpassword=\"secret\"\n\teapol_flags=0\n\tssid=\"MeshHome\"\n}\n");
    ASSERT_EQ(orva::platform::RunProgram(ns_->Exec({"/sbin/wpa_supplicant", "-B", "-D", "wired", "-i", sta_, "-c",
                                                    conf, "-P", WpaPidFile()})),
              0);
    ASSERT_TRUE(WaitUntil([&] { return Exists("/var/run/wpa_supplicant/" + sta_); }));
    ASSERT_TRUE(WaitUntil([&] { return orva::platform::ProcAliveByPidFile(WpaPidFile()); }));
  }

  std::string WpaPidFile() const { return root_.Join("var/run/wpa_supplicant.pid." + sta_); }
  // A listener's pid file is named after the interface and the script path with '/' as '_'.
  std::string ListenerPidFile(std::string script) const {
    std::replace(script.begin(), script.end(), '/', '_');
    return root_.Join("var/run/" + ap_ + "_" + script);
  }

  // Destroyed in the reverse order: the fixture goes before the namespace.
  std::unique_ptr<orva::test::NetNs> ns_;
  FixtureRoot root_;
  std::string ap_;
  std::string sta_;
  pid_t hostapd_ = -1;
  LogCapture log_;
};

TEST_F(WiredDaemons, HostapdAnswersItsHelperAndTheWPSManagerExactlyWhileItServesTheInterface) {
  HostapHelper helper(ap_);
  auto* manager = Driver::WPSManager::GetInstance();
  EXPECT_FALSE(helper.IsHostapdReady()) << "not running";
  EXPECT_EQ(manager->StartOnHostap(ap_), HostapHelper::kNotReady);
  EXPECT_EQ(manager->FindHostapHelper(ap_), nullptr) << "the WPS manager keeps no helper of a daemon that is down";
  StartHostapd();
  EXPECT_TRUE(helper.IsHostapdReady());
  EXPECT_FALSE(HostapHelper("nosuch0").IsHostapdReady()) << "unknown interface";
  EXPECT_EQ(manager->StartOnHostap(ap_), 0);
  EXPECT_EQ(manager->StopOnHostap(ap_), 0);
  StopHostapd();
  EXPECT_FALSE(helper.IsHostapdReady());
  std::string result;
  EXPECT_EQ(helper.SendCommand("wps_pbc", {}, result, false), HostapHelper::kNotReady);
}

TEST_F(WiredDaemons, AnActionScriptListensUntilStoppedAndIsNeverStartedTwice) {
  StartHostapd();
  HostapHelper helper(ap_);
  const std::string log = root_.Join("events.log");
  const std::string script = root_.WriteFile("scripts/act.sh", "#!/bin/sh\necho \"$@\" >> " + log + "\n", 0755);
  const std::string pidFile = ListenerPidFile(script);

  std::string result = "untouched";
  ASSERT_EQ(helper.StartActionScript(script, result), 0);
  EXPECT_EQ(result, "untouched");
  ASSERT_TRUE(WaitUntil([&] { return orva::platform::ProcAliveByPidFile(pidFile); }));
  const pid_t first = orva::platform::ReadPidFile(pidFile);

  // The listener really runs the script on the interface's events.
  ASSERT_TRUE(WaitUntil([&] {
    std::string ignored;
    helper.SendCommand("wps_pbc", {}, ignored, false);
    return Exists(log) && FixtureRoot::ReadFile(log).find(ap_ + " WPS-PBC-ACTIVE") != std::string::npos;
  }));

  EXPECT_EQ(helper.StartActionScript(script, result), HostapHelper::kAlreadyRunning);
  EXPECT_EQ(orva::platform::ReadPidFile(pidFile), first);

  // A listener that died leaves a stale pid file, which a new start replaces.
  ::kill(first, SIGKILL);
  ASSERT_TRUE(WaitUntil([&] { return !orva::platform::ProcAlive(first); }));
  ASSERT_EQ(helper.StartActionScript(script, result), 0);
  ASSERT_TRUE(WaitUntil([&] { return orva::platform::ProcAliveByPidFile(pidFile); }));
  const pid_t second = orva::platform::ReadPidFile(pidFile);
  EXPECT_NE(second, first);

  EXPECT_EQ(helper.StopActionScript(script), 0);
  EXPECT_TRUE(WaitUntil([&] { return !orva::platform::ProcAlive(second); }));
}

TEST_F(WiredDaemons, WpaSupplicantAnswersItsHelper) {
  WPAHelper helper(sta_);
  auto* manager = Driver::WPSManager::GetInstance();
  EXPECT_FALSE(helper.IsWPASupplicantReady());
  EXPECT_EQ(manager->StartOnWPA(sta_), WPAHelper::kNotReady);
  StartWpaSupplicant();
  EXPECT_TRUE(helper.IsWPASupplicantReady());
  EXPECT_EQ(manager->StartOnWPA(sta_), 0);
  EXPECT_EQ(manager->StopOnWPA(sta_), 0);
  EXPECT_NE(manager->FindWPAHelper(sta_), nullptr);
  EXPECT_EQ(helper.UpdateVariable("ap_scan", "0"), 0);
  EXPECT_EQ(helper.UpdateVariable("no_such_variable", "1"), -1);
  EXPECT_EQ(helper.SetPreferedBSSID(Mac("00:24:e7:01:02:03")), 0);
  std::string ssid;
  EXPECT_EQ(helper.GetCurrentSSID(ssid), 0);
  EXPECT_EQ(ssid, "MeshHome");
  Mac bssid;
  EXPECT_EQ(helper.GetCurrentBSSID(bssid), -1) << "a wired link has no access point";
  const pid_t pid = orva::platform::ReadPidFile(WpaPidFile());
  ::kill(pid, SIGTERM);
  ASSERT_TRUE(WaitUntil([pid] { return !orva::platform::ProcAlive(pid); }));
  EXPECT_FALSE(helper.IsWPASupplicantReady()) << "its pid file names a dead process";
  EXPECT_EQ(helper.UpdateVariable("ap_scan", "0"), WPAHelper::kNotReady);
}

// hyd's member classification on a real Linux bridge: the helper lists the bridge's ports
// through a sysfs mounted from inside the namespace and brings them up there.
TEST(HybridBridge, RealBridgeMembersAreClassifiedAndBroughtUp) {
  ORVA_REQUIRE_PRIVATE_RUN();
  ORVA_REQUIRE_NETNS();
  orva::test::NetNs ns("hyd");
  orva::test::AddBridge(ns, "br0");
  const std::vector<std::string> members = {"eth0", "wlan0", "bwlan1", "sta0", "sta1wlan", "other0"};
  int peer = 0;
  for (const std::string& name : members) {
    orva::test::AddVeth(&ns, name, &ns, "peer" + std::to_string(peer++));
    orva::test::AttachToBridge(ns, name, "br0");
    ns.MustExec({"ip", "link", "set", name, "down"});
  }
  FixtureRoot root;
  for (const char* p : {"/usr/sbin/hyctl", "/sbin/start", "/sbin/stop"}) root.InstallRecorder(p);
  root.WriteFile("usr/orva/etc.defaults/mesh/cap/hyd.conf", "HybridBridgeInterfaceName=\n[INTERFACE]\n");
  std::filesystem::create_directories(root.Join("usr/orva/etc/mesh"));
  const std::string sys = root.Join("sys");
  std::filesystem::create_directories(sys);
  std::string conf;
  ns.RunIn([&] {
    if (::mount("sysfs", sys.c_str(), "sysfs", MS_RDONLY | MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0) {
      throw std::runtime_error("cannot mount sysfs in the namespace");
    }
    const std::unique_ptr<const char, void (*)(const char*)> unmount(
        sys.c_str(), [](const char* p) { ::umount2(p, MNT_DETACH); });
    conf = FixtureRoot::ReadFile(Driver::HyHelper(true, false).GetConfPath());
  });
  EXPECT_EQ(conf,
            "HybridBridgeInterfaceName=br0\n"
            "ManagedInterfacesList=bwlan1:WLAN_VLAN,eth0:ETHER,sta0:WLAN_VLAN,sta1wlan:WLAN_VLAN,wlan0:WLAN\n"
            "WlanInterfaces=wifi2:bwlan1,wifi1:wlan0\n"
            "NoRelayGroupList=sta0,sta1wlan\n"
            "[INTERFACE]\n"
            "ForceGroupRelaying=0\n");
  for (const std::string& name : members) {
    const std::string flags = ns.MustExec({"ip", "-o", "link", "show", name});
    const bool up = flags.find(",UP") != std::string::npos || flags.find("<UP") != std::string::npos;
    EXPECT_EQ(up, name != "other0") << flags;
  }
}

}  // namespace
