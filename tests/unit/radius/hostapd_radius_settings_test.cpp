// The access points' side: which client entry's secret an access point gets, and what reaches
// hostapd through its command-line client.
#include <gtest/gtest.h>

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

TEST(HostapdRadiusSettings, TheAccessPointGetsTheSecretOfTheEntryThatAdmitsIt) {
  const struct {
    const char* ap;
    const char* secret;
  } cases[] = {{"192.168.8.20", "lan secret"}, {"10.0.0.9", "one"}, {"fd00::20", "six"}};
  for (const auto& c : cases) {
    const HostapdRadiusSettings s = HostapdRadiusSettings::ForAccessPoint(Config(), "192.168.8.1", c.ap);
    EXPECT_EQ(s, (HostapdRadiusSettings{"192.168.8.1", 11812, 11813, c.secret})) << c.ap;
  }
}

TEST(HostapdRadiusSettings, AddressesNoEntryAdmitsAreRefused) {
  for (const char* ap : {"10.0.0.10", "192.168.9.1", "fd01::1", "ap.local"}) {
    EXPECT_THROW(HostapdRadiusSettings::ForAccessPoint(Config(), "192.168.8.1", ap),
                 Exception::InvalidArgumentException)
        << ap;
  }
  EXPECT_THROW(HostapdRadiusSettings::ForAccessPoint(Config(), "cap", "10.0.0.9"), Exception::InvalidArgumentException);
}

TEST(HostapdRadiusSettings, AccountingKeysFollowOnlyWhenAccountingIsOn) {
  HostapdRadiusSettings s{"192.168.8.1", 1812, 0, "x"};
  EXPECT_EQ(s.Keys().size(), 3u);
  s.acctPort = 1813;
  ASSERT_EQ(s.Keys().size(), 6u);
  EXPECT_EQ(s.Keys()[3], (std::pair<std::string, std::string>{"acct_server_addr", "192.168.8.1"}));
}

class HostapdRadiusVaps : public ::testing::Test {
 protected:
  void SetUp() override {
    root_.InstallRecorder(kHostapCli);
    root_.SetOutput(kHostapCli, "OK\n");
  }
  // The commands after each readiness check.
  Calls Commands() const {
    Calls out;
    for (const auto& call : root_.Calls(kHostapCli)) {
      if (call.size() > 2 && call[2] != "interface") out.push_back(call);
    }
    return out;
  }
  orva::test::FixtureRoot root_;
  orva::test::LogCapture log_;
};

TEST_F(HostapdRadiusVaps, EveryKeyIsSetAsOneArgumentThenTheVapReloads) {
  const HostapdRadiusSettings s{"192.168.8.1", 1812, 1813, "s3cr\"et with spaces; $x"};
  Driver::HostapHelper vap("ath0");
  EXPECT_EQ(s.ApplyTo(vap), 0);
  const std::string secret = s.secret;
  EXPECT_EQ(Commands(), (Calls{{"-i", "ath0", "set", "auth_server_addr", "192.168.8.1"},
                               {"-i", "ath0", "set", "auth_server_port", "1812"},
                               {"-i", "ath0", "set", "auth_server_shared_secret", secret},
                               {"-i", "ath0", "set", "acct_server_addr", "192.168.8.1"},
                               {"-i", "ath0", "set", "acct_server_port", "1813"},
                               {"-i", "ath0", "set", "acct_server_shared_secret", secret},
                               {"-i", "ath0", "reload"}}));
}

TEST_F(HostapdRadiusVaps, AFailureStopsThatVapAndTheOthersAreStillTried) {
  const HostapdRadiusSettings s{"192.168.8.1", 1812, 0, "hidden-secret"};
  root_.SetOutput(kHostapCli, "FAIL\n");
  EXPECT_EQ(s.ApplyTo(std::vector<std::string>{"ath0", "ath1"}), Driver::HostapHelper::kCommandFailed);
  EXPECT_EQ(Commands(), (Calls{{"-i", "ath0", "set", "auth_server_addr", "192.168.8.1"},
                               {"-i", "ath1", "set", "auth_server_addr", "192.168.8.1"}}));
  EXPECT_TRUE(log_.Contains("Failed to set [auth_server_addr] on VAP [ath1]"));
  for (const std::string& line : log_.Texts()) EXPECT_EQ(line.find("hidden-secret"), std::string::npos) << line;
}

TEST_F(HostapdRadiusVaps, AVapWithoutHostapdIsReportedAsNotReady) {
  root_.SetOutput(kHostapCli, "");
  const HostapdRadiusSettings s{"192.168.8.1", 1812, 1813, "x"};
  EXPECT_EQ(s.ApplyTo(std::vector<std::string>{"ath0"}), Driver::HostapHelper::kNotReady);
  EXPECT_EQ(Commands(), Calls{});
}

}  // namespace
