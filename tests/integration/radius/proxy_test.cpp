// The rendered configuration run by a real FreeRADIUS as the mesh's proxy, in front of two real
// FreeRADIUS home servers, all on loopback with configuration directories made here. Requests
// come from radclient and eapol_test, as an access point's would.
#include <gtest/gtest.h>

#include <memory>
#include <tuple>

#include "orvamesh/base/exception.h"
#include "orvamesh/radius/radius_service.h"
#include "support/fixture_root.h"
#include "support/free_radius.h"
#include "support/log_capture.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK::Radius;
using orva::test::FreeRadiusServer;
using orva::test::RadiusTestClient;

constexpr char kApSecret[] = "ap-secret";
constexpr char kHomeSecret1[] = "home-one";
constexpr char kHomeSecret2[] = "home-two";
constexpr char kHomeUsers[] =
    "bob Cleartext-Password := \"bob-pw\"\n"
    "erin@keep Cleartext-Password := \"erin-pw\"\n";
constexpr char kLocalUsers[] = "carol Cleartext-Password := \"carol-pw\"\n";

class RadiusProxy : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_FREERADIUS();
    orva::test::LinkRadiusPrograms(root_);
    const uint16_t homePort1 = orva::test::FreeUdpPort(), homePort2 = orva::test::FreeUdpPort();
    home1_ = StartHome("home1", homePort1, kHomeSecret1);
    home2_ = StartHome("home2", homePort2, kHomeSecret2);
    proxy_ = std::make_unique<FreeRadiusServer>(root_.Join("etc/freeradius/3.0"), root_.Join("var/run/freeradius"));
    proxy_->MakeProxy(kLocalUsers);
    InstallJobManager();
    port_ = orva::test::FreeUdpPort();
    config_.listen = {{"127.0.0.1"}, port_, orva::test::FreeUdpPort()};
    config_.clients = {{"aps", "127.0.0.0/8", kApSecret}};
    config_.homeServers = {{"primary", "127.0.0.1", homePort1, HOME_SERVER_TYPE::AUTH, kHomeSecret1, 1, true},
                           {"secondary", "127.0.0.1", homePort2, HOME_SERVER_TYPE::AUTH, kHomeSecret2, 1, true}};
    config_.pools = {{"corp", POOL_TYPE::FAIL_OVER, {"primary", "secondary"}}};
    config_.realms = {{"corp", "corp", true}, {"keep", "corp", false}, {"local", "", true}};
    service_ = std::make_unique<RadiusService>();
    ASSERT_EQ(service_->Apply(config_), RadiusService::ACTION::STARTED);
    ASSERT_TRUE(orva::test::WaitUntil([&] { return proxy_->Log().find("Ready to process") != std::string::npos; }))
        << proxy_->Log();
  }

  std::unique_ptr<FreeRadiusServer> StartHome(const std::string& name, uint16_t port, const char* secret) {
    auto home = std::make_unique<FreeRadiusServer>(scratch_.Join(name + "/conf"), scratch_.Join(name + "/run"));
    home->MakeHomeServer(port, secret, kHomeUsers);
    home->Start();
    return home;
  }

  // The router's job manager, reduced to the one job: a daemonised FreeRADIUS on the proxy's
  // directory. Every call is noted in "jobs".
  void InstallJobManager() {
    std::string command;
    for (const std::string& arg : proxy_->DaemonCommand()) command += " '" + arg + "'";
    const std::string log = root_.Join("jobs");
    root_.WriteFile("sbin/start", "#!/bin/sh\necho start \"$@\" >> '" + log + "'\nexec" + command + "\n", 0755);
    root_.WriteFile("sbin/stop",
                     "#!/bin/sh\necho stop \"$@\" >> '" + log + "'\npid=$(cat '" + proxy_->PidFile() +
                         "')\nkill \"$pid\" || exit 1\n"
                         "while [ -d /proc/$pid ] && ! grep -q ') Z' /proc/$pid/stat 2>/dev/null; do sleep 0.05; done\n",
                     0755);
  }

  std::string Jobs() const { return orva::test::TempDir::ReadFile(root_.Join("jobs")); }

  std::string Ask(const std::string& user, const std::string& password, const std::string& secret = kApSecret) {
    return client_.Authenticate(port_, secret, user, password);
  }

  // Declared in the order of their need: the servers stop before their directories go.
  orva::test::FixtureRoot root_;
  orva::test::TempDir scratch_;
  RadiusTestClient client_{scratch_.Path()};
  std::unique_ptr<FreeRadiusServer> home1_;
  std::unique_ptr<FreeRadiusServer> home2_;
  std::unique_ptr<FreeRadiusServer> proxy_;
  std::unique_ptr<RadiusService> service_;
  RadiusConfig config_;
  uint16_t port_ = 0;
};

TEST_F(RadiusProxy, AnswersEachUserFromTheRealmsServerAndFailsOverToTheSecondaryWhenThePrimaryStops) {
  // The user, the password, and the answer.
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"bob@corp", "bob-pw", "Access-Accept"},     // stripped, answered by the home server
      {"bob@corp", "wrong", "Access-Reject"},      // the home server's reject comes back
      {"bob@nowhere", "bob-pw", "Access-Reject"},  // no such realm: the proxy refuses itself
      {"bob", "bob-pw", "Access-Reject"},          // no realm and no NULL realm
      {"carol@local", "carol-pw", "Access-Accept"},  // the local realm is answered locally
      {"erin@keep", "erin-pw", "Access-Accept"},     // the realm stays on the name
  };
  for (const auto& [user, password, answer] : cases) EXPECT_EQ(Ask(user, password), answer) << user << "/" << password;
  // EAP-PEAP/MSCHAPv2 travels to the home server too.
  EXPECT_TRUE(client_.PeapMschapv2(port_, kApSecret, "anonymous@keep", "bob", "bob-pw")) << home1_->Log();
  EXPECT_FALSE(client_.PeapMschapv2(port_, kApSecret, "anonymous@keep", "bob", "wrong"));
  EXPECT_NE(home1_->Log().find("Login OK: [bob]"), std::string::npos);
  EXPECT_EQ(home1_->Log().find("nowhere"), std::string::npos);
  EXPECT_EQ(Ask("bob@corp", "bob-pw", "not-the-secret"), "");
  EXPECT_EQ(home2_->Log().find("Login OK"), std::string::npos);
  home1_->Stop();
  EXPECT_TRUE(orva::test::WaitUntil([&] { return Ask("bob@corp", "bob-pw") == "Access-Accept"; },
                                    std::chrono::seconds(30)));
  EXPECT_NE(home2_->Log().find("Login OK: [bob]"), std::string::npos) << home2_->Log();
  EXPECT_EQ(Ask("bob@corp", "wrong"), "Access-Reject");
}

TEST_F(RadiusProxy, RefusedConfigurationsLeaveTheRunningOneAloneAndHostileNamesStayInsideTheirStrings) {
  // Each refusal of the validator is checked in unit/radius; one stands for them here.
  const std::string before = orva::test::TempDir::ReadFile(root_.Join("etc/freeradius/3.0/clients.conf"));
  RadiusConfig refused = config_;
  refused.clients[0].secret = "line\nclient evil {";
  EXPECT_THROW(service_->Apply(refused), ORVA::MESH::SDK::Exception::InvalidArgumentException);
  EXPECT_EQ(orva::test::TempDir::ReadFile(root_.Join("etc/freeradius/3.0/clients.conf")), before);
  EXPECT_EQ(Jobs(), "start freeradius\n");
  EXPECT_EQ(Ask("bob@corp", "bob-pw"), "Access-Accept");

  // Quotes, braces, a reference the server would expand in double quotes, a comment sign.
  const std::string apSecret = "a\"b}c${confdir}'q\\z #x";
  RadiusConfig c = config_;
  c.clients[0].secret = apSecret;
  c.realms.push_back({"my realm", "corp", true});
  c.realms.push_back({"x' } realm evil {", "", true});
  ASSERT_EQ(service_->Apply(c), RadiusService::ACTION::RESTARTED) << Jobs();
  EXPECT_EQ(client_.Authenticate(port_, apSecret, "bob@my realm", "bob-pw"), "Access-Accept") << proxy_->Log();
  EXPECT_EQ(client_.Authenticate(port_, apSecret, "bob@corp", "bob-pw"), "Access-Accept");
  EXPECT_EQ(client_.Authenticate(port_, apSecret, "carol@x' } realm evil {", "carol-pw"), "Access-Accept");
  EXPECT_EQ(client_.Authenticate(port_, apSecret, "carol@evil", "carol-pw"), "Access-Reject");
}

TEST_F(RadiusProxy, AChangedConfigurationRestartsTheServerAndAnUnchangedOneOnlyReloadsIt) {
  orva::test::LogCapture log;
  RadiusConfig c = config_;
  c.clients[0].secret = "new-ap-secret";
  c.realms.push_back({"DEFAULT", "corp", true});
  c.realms.push_back({"NULL", "", true});
  EXPECT_EQ(service_->Apply(c), RadiusService::ACTION::RESTARTED);
  EXPECT_EQ(Jobs(), "start freeradius\nstop freeradius\nstart freeradius\n");
  EXPECT_EQ(client_.Authenticate(port_, "new-ap-secret", "bob@corp", "bob-pw"), "Access-Accept");
  EXPECT_EQ(Ask("bob@corp", "bob-pw"), "");
  // The new realms took effect with the restart: any other realm goes to the home servers,
  // a name without one is answered locally.
  EXPECT_EQ(client_.Authenticate(port_, "new-ap-secret", "bob@elsewhere", "bob-pw"), "Access-Accept");
  EXPECT_EQ(client_.Authenticate(port_, "new-ap-secret", "carol", "carol-pw"), "Access-Accept");

  EXPECT_EQ(service_->Apply(c), RadiusService::ACTION::RELOADED);
  EXPECT_TRUE(orva::test::WaitUntil([&] { return proxy_->Log().find("HUP") != std::string::npos; }));
  EXPECT_EQ(Jobs(), "start freeradius\nstop freeradius\nstart freeradius\n");
  EXPECT_EQ(client_.Authenticate(port_, "new-ap-secret", "bob@corp", "bob-pw"), "Access-Accept");
  for (const std::string& line : log.Texts()) {
    EXPECT_EQ(line.find("new-ap-secret"), std::string::npos) << line;
  }
}

}  // namespace
