// The helpers against recording fakes of the command-line clients: exact argument vectors,
// reply judging and the replies a real daemon on a wired link never gives.
#include <unistd.h>

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <tuple>

#include "orvamesh/driver/ioctl_helper.h"
#include "orvamesh/driver/hostap_helper.h"
#include "orvamesh/driver/wpa_helper.h"
#include "orvamesh/driver/wps_manager.h"
#include "support/fixture_root.h"
#include "support/log_capture.h"

namespace {

using namespace ORVA::MESH::SDK;
using Driver::HostapHelper;
using Driver::WPAHelper;
using orva::test::FixtureRoot;
using orva::test::LogCapture;
using Calls = std::vector<std::vector<std::string>>;

constexpr char kHostapCli[] = "/usr/bin/hostapd_cli";
constexpr char kWpaCli[] = "/usr/sbin/wpa_cli";

class FakeClients : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* p : {kHostapCli, kWpaCli, "/sbin/start", "/sbin/stop"}) root_.InstallRecorder(p);
    root_.SetOutput(kHostapCli, "wlan0\n");
    root_.SetOutput(kWpaCli, "PONG\n");
    WpaRunning("sta0");
  }
  // wpa_supplicant counts as running when its pid file names a live process: this one.
  void WpaRunning(const std::string& ifname) {
    root_.WriteFile("var/run/wpa_supplicant.pid." + ifname, std::to_string(::getpid()) + "\n");
  }
  FixtureRoot root_;
  LogCapture log_;
};

TEST_F(FakeClients, ArgumentsReachTheClientAsWordsAndBadInterfaceNamesNeverDo) {
  HostapHelper helper("wlan0");
  std::string result;
  EXPECT_EQ(helper.SendCommand("wps_pbc", {"a b", ""}, result, false), 0);
  EXPECT_EQ(root_.Calls(kHostapCli), (Calls{{"-i", "wlan0", "interface"}, {"-i", "wlan0", "wps_pbc", "a b", ""}}));
  root_.ClearCalls(kHostapCli);

  // Names the kernel would refuse, some of which would reach a pid-file path.
  for (const std::string& name :
       std::vector<std::string>{"../../tmp/x", "wlan0; reboot", "", "sixteen-chars-xx", "wl\nan0", "eth0:1"}) {
    HostapHelper ap(name);
    EXPECT_FALSE(ap.IsHostapdReady()) << name;
    EXPECT_EQ(ap.StopActionScript("/bin/act"), HostapHelper::kNotReady) << name;
    WPAHelper sta(name);
    EXPECT_FALSE(sta.IsWPASupplicantReady()) << name;
    EXPECT_EQ(sta.StopActionScript("/bin/act"), WPAHelper::kExecFailed) << name;
    std::string ssid;
    EXPECT_EQ(sta.GetCurrentSSID(ssid), WPAHelper::kNotReady) << name;
  }
  EXPECT_TRUE(root_.Calls(kHostapCli).empty());
  EXPECT_TRUE(root_.Calls(kWpaCli).empty());
  EXPECT_TRUE(root_.Calls("/sbin/stop").empty());
  EXPECT_TRUE(log_.Contains("Invalid interface name [../../tmp/x]"));
}

TEST_F(FakeClients, WordsThatWpaCliWouldTakeAsItsOwnOptionsAreRefused) {
  WPAHelper helper("sta0");
  std::string result;
  EXPECT_NE(helper.UpdateVariable("ap_scan", "-a/tmp/evil"), 0);
  EXPECT_EQ(helper.SendCommand("-B", {}, result, false), WPAHelper::kExecFailed);
  EXPECT_EQ(helper.SendCommand("set", {"x", "-p/tmp"}, result, true), WPAHelper::kExecFailed);
  for (const auto& call : root_.Calls(kWpaCli)) EXPECT_EQ(call, (std::vector<std::string>{"-i", "sta0", "ping"}));
}

TEST_F(FakeClients, ReplyJudgingIsTheSameForBothClients) {
  // The reply, then what hostapd's and wpa_supplicant's helpers make of it.
  const std::tuple<const char*, int, int> cases[] = {
      {"wlan0\nsome text FAIL more text\n", HostapHelper::kCommandFailed, WPAHelper::kCommandFailed},
      {"Failed to connect to hostapd\n", HostapHelper::kNotReady, 0},  // "Failed" is no "FAIL"
  };
  for (const auto& [reply, hostapd, wpa] : cases) {
    root_.SetOutput(kHostapCli, reply);
    root_.SetOutput(kWpaCli, std::string("PONG\n") + reply);
    std::string result = "stale";
    EXPECT_EQ(HostapHelper("wlan0").SendCommand("wps_cancel", {}, result, false), hostapd) << reply;
    result = "stale";
    EXPECT_EQ(WPAHelper("sta0").SendCommand("wps_cancel", {}, result, false), wpa) << reply;
    EXPECT_EQ(result, std::string("PONG\n") + reply);
  }
}

// A daemon-mode run that succeeds is the hostapd action script, walked against the real daemon.
TEST_F(FakeClients, ADaemonModeRunIsJudgedByTheClientsExitStatus) {
  std::string result = "untouched";
  root_.SetStatus(kHostapCli, 1);
  root_.SetStatus(kWpaCli, 1);
  EXPECT_EQ(HostapHelper("wlan0").SendCommand("x", {}, result, true), HostapHelper::kExecFailed);
  EXPECT_EQ(WPAHelper("sta0").SendCommand("x", {}, result, true), WPAHelper::kExecFailed);
  EXPECT_EQ(result, "untouched");
}

TEST_F(FakeClients, TheLastWPSPeerComesFromThePeerAddressField) {
  HostapHelper helper("wlan0");
  Mac peer;
  root_.SetOutput(kHostapCli, "PBC Status: Disabled\nLast WPS result: Success\nPeer Address: 02:24:E7:aa:bb:cc\n");
  EXPECT_EQ(helper.GetLastWPSPeerAddress(peer), 0);
  EXPECT_EQ(peer.ToString(), "02:24:e7:aa:bb:cc");
  EXPECT_EQ(root_.Calls(kHostapCli).back(), (std::vector<std::string>{"-i", "wlan0", "wps_get_status"}));

  for (const char* reply :
       {"Last WPS result: None\n", "Peer Address: not-a-mac\n", "XPeer Address: 02:24:e7:aa:bb:cc\n", "wlan0\nFAIL\n"}) {
    root_.SetOutput(kHostapCli, reply);
    EXPECT_EQ(helper.GetLastWPSPeerAddress(peer), -1) << reply;
  }
}

TEST_F(FakeClients, ActionScriptsOfTheStationSideAreJobManagerRestartsOnceItAnswersPing) {
  WpaRunning("sta1");
  root_.SetOutput(kWpaCli, "FAIL\n");
  EXPECT_EQ(WPAHelper("sta1").StartActionScript("/bin/act"), WPAHelper::kNotReady);
  EXPECT_EQ(root_.Calls(kWpaCli).back(), (std::vector<std::string>{"-i", "sta1", "ping"}));
  EXPECT_TRUE(root_.Calls("/sbin/start").empty());

  root_.SetOutput(kWpaCli, "PONG\n");
  WPAHelper helper("sta0");
  const std::vector<std::string> job = {"wpa_cli", "IFACE=sta0", "ACTION=/usr/orva/bin/wps action"};
  EXPECT_EQ(helper.StartActionScript("/usr/orva/bin/wps action"), 0);
  EXPECT_EQ(root_.Calls("/sbin/stop"), Calls{job});
  EXPECT_EQ(root_.Calls("/sbin/start"), Calls{job});

  root_.SetStatus("/sbin/stop", 1);
  EXPECT_EQ(helper.StopActionScript("/usr/orva/bin/wps action"), 0);
  EXPECT_EQ(helper.StartActionScript("/usr/orva/bin/wps action"), 0) << "a failed stop does not stop the start";
  root_.SetStatus("/sbin/start", 1);
  EXPECT_EQ(helper.StartActionScript("/usr/orva/bin/wps action"), WPAHelper::kExecFailed);
}

// The SSID is read from the same file against the real daemon.
TEST_F(FakeClients, TheCurrentPasswordIsReadFromTheInterfacesConfiguration) {
  WPAHelper helper("sta0");
  std::string psk;
  EXPECT_EQ(helper.GetCurrentPassword(psk), -1) << "no configuration";
  root_.WriteFile("usr/orva/etc/wpa_supplicant.conf.sta0", "network={\n\tpsk=\"" + std::string(63, 'p') + "\"\n}\n");
  EXPECT_EQ(helper.GetCurrentPassword(psk), 0);
  EXPECT_EQ(psk, std::string(63, 'p'));
  root_.WriteFile("usr/orva/etc/wpa_supplicant.conf.sta0", "network={\n\tpsk=" + std::string(64, 'a') + "\n}\n");
  EXPECT_EQ(helper.GetCurrentPassword(psk), -1) << "a raw 64-digit key does not fit the 64-byte buffer";
}

TEST_F(FakeClients, StationCommandsSendTheirArgumentsAndReportFailures) {
  WPAHelper helper("sta0");
  root_.SetOutput(kWpaCli, "PONG\nOK\n");
  EXPECT_EQ(helper.SetPreferedBSSID(Mac("00:24:E7:01:02:03")), 0);
  EXPECT_EQ(root_.Calls(kWpaCli).back(), (std::vector<std::string>{"-i", "sta0", "bssid", "0", "00:24:e7:01:02:03"}));
  root_.SetOutput(kWpaCli, "PONG\nFAIL\n");
  EXPECT_EQ(helper.SetPreferedBSSID(Mac("00:24:e7:01:02:03")), WPAHelper::kExecFailed);
}

struct FakeDriver {
  static inline unsigned char answer[6];
  static inline int rc;
  static int Call(int, unsigned long request, struct iwreq* req) {
    if (request != SIOCGIWAP) return -1;
    std::memcpy(req->u.ap_addr.sa_data, answer, 6);
    return rc;
  }
};

TEST(CurrentBSSID, NotAssociatedAnswersAndDriverRefusalsAreFailures) {
  LogCapture log;
  auto previous = Driver::IOCTLHelper::SetCall(&FakeDriver::Call);
  // The driver's answer and status, then the line logged ("" for success).
  const std::tuple<std::array<unsigned char, 6>, int, std::string> cases[] = {
      {{0, 0, 0, 0, 0, 0}, 0, "maybe not connected yet?"},
      {{0x16, 0x24, 0xe7, 1, 2, 3}, -1, "Failed to get current connected BSSID"},
      {{0x16, 0x24, 0xe7, 1, 2, 3}, 0, ""},
  };
  for (const auto& [bytes, rc, message] : cases) {
    std::memcpy(FakeDriver::answer, bytes.data(), 6);
    FakeDriver::rc = rc;
    log.Clear();
    Mac bssid;
    EXPECT_EQ(WPAHelper("sta0").GetCurrentBSSID(bssid), message.empty() ? 0 : -1) << message;
    EXPECT_TRUE(message.empty() ? bssid.ToString() == "16:24:e7:01:02:03" : log.Contains(message)) << message;
  }
  Driver::IOCTLHelper::SetCall(previous);
}

// Starting and stopping on a daemon that accepts is walked against the real daemons.
TEST_F(FakeClients, WPSManagerStartsRemoteWPSByAddressAndPassesFailuresOn) {
  auto* manager = Driver::WPSManager::GetInstance();
  ASSERT_EQ(manager, Driver::WPSManager::GetInstance());
  WpaRunning("fsta0");
  root_.SetOutput(kWpaCli, "PONG\nOK\n");
  EXPECT_EQ(manager->StartOnRemoteSTA("fsta0", Mac("00:11:22:AA:bb:cc").ToEtherAddr()), 0);
  EXPECT_EQ(root_.Calls(kWpaCli).back(),
            (std::vector<std::string>{"-i", "fsta0", "orvastartwps", "orvawpsaddr=00:11:22:aa:bb:cc"}));
  root_.SetOutput(kWpaCli, "PONG\nFAIL\n");
  root_.SetOutput(kHostapCli, "fwlan0\nFAIL\n");
  EXPECT_EQ(manager->StartOnHostap("fwlan0"), HostapHelper::kCommandFailed);
  EXPECT_EQ(manager->StartOnWPA("fsta0"), WPAHelper::kCommandFailed);
  EXPECT_EQ(manager->StartOnRemoteSTA("fsta0", Mac("00:11:22:aa:bb:cc").ToEtherAddr()), WPAHelper::kCommandFailed);
}

}  // namespace
