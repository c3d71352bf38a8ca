// The access points' side: which client entry's secret an access point gets, and what reaches
// hostapd through its command-line client.
#include <unistd.h>

#include <gtest/gtest.h>

#include <csignal>

#include "orvamesh/base/exception.h"
#include "orvamesh/driver/hostap_helper.h"
#include "orvamesh/radius/hostapd_radius_settings.h"
#include "support/fixture_root.h"
#include "support/log_capture.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Radius;
using Calls = std::vector<std::vector<std::string>>;

constexpr char kHostapCli[] = "/usr/bin/hostapd_cli";

RadiusConfig Config() {
  RadiusConfig c;
  c.listen.authPort = 11812;
  c.listen.acctPort = 11813;
  c.clients = {{"lan", "192.168.8.0/24", "lan secret"}, {"one", "10.0.0.9", "one"}, {"v6", "fd00::/64", "six"}};
  return c;
}

TEST(HostapdRadiusSettings, TheAccessPointGetsTheSecretOfTheEntryThatAdmitsItAndNoEntryMeansRefusal) {
  const struct {
    const char* ap;
    const char* secret;  // none: refused
  } cases[] = {{"192.168.8.20", "lan secret"}, {"10.0.0.9", "one"},  {"fd00::20", "six"},
               {"10.0.0.10", nullptr},         {"fd01::1", nullptr}, {"ap.local", nullptr}};
  for (const auto& c : cases) {
    if (c.secret == nullptr) {
      EXPECT_THROW(HostapdRadiusSettings::ForAccessPoint(Config(), "192.168.8.1", c.ap),
                   Exception::InvalidArgumentException) << c.ap;
    } else {
      EXPECT_EQ(HostapdRadiusSettings::ForAccessPoint(Config(), "192.168.8.1", c.ap),
                (HostapdRadiusSettings{"192.168.8.1", 11812, 11813, c.secret})) << c.ap;
    }
  }
  EXPECT_THROW(HostapdRadiusSettings::ForAccessPoint(Config(), "cap", "10.0.0.9"), Exception::InvalidArgumentException);
}

volatile sig_atomic_t gHangups = 0;

class HostapdRadiusVaps : public ::testing::Test {
 protected:
  void SetUp() override {
    root_.InstallRecorder(kHostapCli);
    root_.SetOutput(kHostapCli, "OK\n");
    // hostapd is this process: its pid file names us and a SIGHUP is counted.
    struct sigaction count{};
    count.sa_handler = [](int) { ++gHangups; };
    ::sigaction(SIGHUP, &count, &previous_);
    gHangups = 0;
    pidFile_ = root_.WriteFile("hostapd.pid", std::to_string(::getpid()) + "\n");
    conf_ = root_.WriteFile("hostapd-ath0.conf", kConf, 0600);
  }
  void TearDown() override { ::sigaction(SIGHUP, &previous_, nullptr); }

  // The commands after each readiness check.
  Calls Commands() const {
    Calls out;
    for (const auto& call : root_.Calls(kHostapCli)) {
      if (call.size() > 2 && call[2] != "interface") out.push_back(call);
    }
    return out;
  }

  static constexpr char kConf[] =
      "interface=ath0\n# the mesh's enterprise VAP\nieee8021x=1\nauth_server_addr=10.9.9.9\n"
      "auth_server_port=9\nauth_server_shared_secret=old\nauth_server_addr=10.9.9.10\n";
  orva::test::FixtureRoot root_;
  orva::test::LogCapture log_;
  struct sigaction previous_{};
  std::string pidFile_;
  std::string conf_;
};

TEST_F(HostapdRadiusVaps, TheKeysReplaceThePrimaryServerThenHostapdRereadsAndTheVapRestarts) {
  const HostapdRadiusSettings s{"192.168.8.1", 1812, 1813, "s3cr\"et with spaces; $x #"};
  Driver::HostapHelper vap("ath0");
  EXPECT_EQ(s.ApplyTo(vap, conf_, pidFile_), 0);
  EXPECT_EQ(orva::test::TempDir::ReadFile(conf_),
            "interface=ath0\n# the mesh's enterprise VAP\nieee8021x=1\nauth_server_addr=192.168.8.1\n"
            "auth_server_port=1812\nauth_server_shared_secret=s3cr\"et with spaces; $x #\n"
            "auth_server_addr=10.9.9.10\nacct_server_addr=192.168.8.1\nacct_server_port=1813\n"
            "acct_server_shared_secret=s3cr\"et with spaces; $x #\n");
  EXPECT_EQ(Commands(), (Calls{{"-i", "ath0", "disable"}, {"-i", "ath0", "enable"}}));
  for (const std::string& line : log_.Texts()) EXPECT_EQ(line.find("s3cr"), std::string::npos) << line;
}

TEST_F(HostapdRadiusVaps, EachFailureStopsBeforeTheNextStep) {
  const struct {
    const char* what;
    std::string secret;
    bool pidFile;
    const char* reply;
    int rc;
    int hangups;
    size_t commands;
  } cases[] = {
      {"a line break in the secret", "hidden\nieee8021x=0", true, "OK\n", HostapdRadiusSettings::kFileFailed, 0, 0},
      {"no hostapd behind the pid file", "hidden", false, "OK\n", HostapdRadiusSettings::kSignalFailed, 0, 0},
      {"hostapd not answering", "hidden", true, "", Driver::HostapHelper::kNotReady, 1, 0},
      {"hostapd refusing", "hidden", true, "FAIL\n", Driver::HostapHelper::kCommandFailed, 1, 1},
  };
  for (const auto& c : cases) {
    conf_ = root_.WriteFile("hostapd-ath0.conf", kConf, 0600);
    root_.ClearCalls(kHostapCli);
    root_.SetOutput(kHostapCli, c.reply);
    gHangups = 0;
    const HostapdRadiusSettings s{"192.168.8.1", 1812, 0, c.secret};
    Driver::HostapHelper vap("ath0");
    EXPECT_EQ(s.ApplyTo(vap, conf_, c.pidFile ? pidFile_ : root_.Join("none.pid")), c.rc) << c.what;
    EXPECT_EQ(gHangups, c.hangups) << c.what;
    EXPECT_EQ(Commands().size(), c.commands) << c.what;
  }
  EXPECT_EQ(orva::test::TempDir::ReadFile(conf_).find("ieee8021x=0"), std::string::npos);
  for (const std::string& line : log_.Texts()) EXPECT_EQ(line.find("hidden"), std::string::npos) << line;
}

}  // namespace
