// An access point's side end to end: Debian's hostapd as a wired 802.1X authenticator is
// pointed at the mesh's proxy through the library's hostapd settings, and wpa_supplicant on the
// other end of a veth pair logs in with EAP-PEAP/MSCHAPv2, answered by the home server behind
// the proxy. Everything runs in one network namespace; the control sockets live in the default
// /var/run places of this program's private mount namespace.
#include <signal.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "orvamesh/driver/hostap_helper.h"
#include "orvamesh/radius/free_radius_renderer.h"
#include "orvamesh/radius/hostapd_radius_settings.h"
#include "platform/pid_file.h"
#include "platform/process_runner.h"
#include "support/child.h"
#include "support/fixture_root.h"
#include "support/free_radius.h"
#include "support/netns.h"
#include "support/private_mounts.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Radius;
using orva::test::FreeRadiusServer;
using orva::test::WaitUntil;

// Before gtest starts any thread: the whole program moves into its own mount namespace.
const bool gPrivateRun = orva::test::EnterPrivateRun().empty();
std::atomic<int> gCounter{0};

constexpr char kApSecret[] = "ap \"secret\" $x";
constexpr char kHomeSecret[] = "home-secret";

class AccessPointRadius : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_PRIVATE_RUN();
    ORVA_REQUIRE_NETNS();
    ORVA_REQUIRE_FREERADIUS();
    for (const char* program : {"/usr/sbin/hostapd", "/usr/sbin/hostapd_cli", "/sbin/wpa_supplicant", "/sbin/wpa_cli"}) {
      if (::access(program, X_OK) != 0) GTEST_SKIP() << program << " is not installed";
    }
    ns_ = std::make_unique<orva::test::NetNs>("rad");
    const int n = gCounter++;
    ap_ = "rap" + std::to_string(n);
    sta_ = "rst" + std::to_string(n);
    orva::test::AddVeth(ns_.get(), ap_, ns_.get(), sta_);
    root_ = std::make_unique<orva::test::FixtureRoot>();
    root_->LinkProgram("/usr/bin/hostapd_cli", "/usr/sbin/hostapd_cli");
    orva::test::LinkRadiusPrograms(*root_);

    const uint16_t homePort = orva::test::FreeUdpPort();
    home_ = StartServer("home");
    home_->MakeHomeServer(homePort, kHomeSecret, "bob Cleartext-Password := \"bob-pw\"\n");
    home_->Start();
    config_.listen = {{"127.0.0.1"}, orva::test::FreeUdpPort(), 0};
    config_.clients = {{"aps", "127.0.0.0/8", kApSecret}};
    config_.homeServers = {{"home", "127.0.0.1", homePort, HOME_SERVER_TYPE::AUTH, kHomeSecret, 5, true}};
    config_.pools = {{"corp", POOL_TYPE::FAIL_OVER, {"home"}}};
    config_.realms = {{"corp", "corp", false}};
    proxy_ = StartServer("proxy");
    proxy_->MakeProxy("");
    FreeRadiusRenderer::Write(FreeRadiusRenderer::Render(config_), proxy_->ConfDir());
    proxy_->Start();
  }

  void TearDown() override {
    const pid_t supplicant = orva::platform::ReadPidFile(scratch_.Join("supplicant.pid"));
    if (supplicant > 0) {
      ::kill(supplicant, SIGTERM);
      WaitUntil([&] { return !orva::platform::ProcAlive(supplicant); });
    }
    if (hostapd_ > 0) {
      ::kill(hostapd_, SIGTERM);
      orva::platform::WaitProgram(hostapd_);
    }
    proxy_.reset();
    home_.reset();
    root_.reset();
    ns_.reset();
  }

  std::unique_ptr<FreeRadiusServer> StartServer(const std::string& name) {
    auto server = std::make_unique<FreeRadiusServer>(scratch_.Join(name + "/conf"), scratch_.Join(name + "/run"));
    server->RunThrough(ns_->Exec({}));
    return server;
  }

  std::string SupplicantStatus() const {
    std::string out;
    orva::test::Run(ns_->Exec({"/sbin/wpa_cli", "-p", "/var/run/wpa_supplicant", "-i", sta_, "status"}), &out);
    return out;
  }

  orva::test::TempDir scratch_;
  std::unique_ptr<orva::test::NetNs> ns_;
  std::unique_ptr<orva::test::FixtureRoot> root_;
  std::unique_ptr<FreeRadiusServer> home_;
  std::unique_ptr<FreeRadiusServer> proxy_;
  RadiusConfig config_;
  std::string ap_;
  std::string sta_;
  pid_t hostapd_ = -1;
};

TEST_F(AccessPointRadius, AStationLogsInThroughTheProxyOnceTheVapPointsAtIt) {
  // hostapd starts pointed at a port where nobody answers, as an access point before the mesh
  // has told it about the proxy.
  const std::string conf = scratch_.WriteFile(
      "hostapd.conf", "interface=" + ap_ +
                          "\ndriver=wired\nctrl_interface=/var/run/hostapd\nieee8021x=1\neapol_version=2\n"
                          "eap_server=0\nown_ip_addr=127.0.0.1\nnas_identifier=mesh-ap\n"
                          "auth_server_addr=127.0.0.1\nauth_server_port=9\nauth_server_shared_secret=stale\n");
  hostapd_ = orva::test::SpawnTied(ns_->Exec({"/usr/sbin/hostapd", conf}));
  ASSERT_GT(hostapd_, 0);
  // hostapd writes a pid file only when it daemonises; "ip netns exec" became hostapd.
  const std::string pidFile = scratch_.WriteFile("hostapd.pid", std::to_string(hostapd_) + "\n");
  ASSERT_TRUE(WaitUntil([&] {
    return ::access(("/var/run/hostapd/" + ap_).c_str(), F_OK) == 0 && orva::platform::ProcAliveByPidFile(pidFile);
  })) << "hostapd did not come up";

  const HostapdRadiusSettings settings = HostapdRadiusSettings::ForAccessPoint(config_, "127.0.0.1", "127.0.0.1");
  Driver::HostapHelper vap(ap_);
  ASSERT_EQ(settings.ApplyTo(vap, conf, pidFile), 0);
  const std::string supplicant = scratch_.WriteFile(
      "supplicant.conf", "ctrl_interface=/var/run/wpa_supplicant\nap_scan=0\nnetwork={\n\tkey_mgmt=IEEE8021X\n"
                         "\teap=PEAP\n\tidentity=\"bob\"\n\tanonymous_identity=\"anonymous@corp\"\n"
                         "\tpassword=\"bob-pw\"\n\tphase2=\"auth=MSCHAPV2\"\n\teapol_flags=0\n}\n");
  ASSERT_EQ(orva::platform::RunProgram(ns_->Exec({"/sbin/wpa_supplicant", "-B", "-D", "wired", "-i", sta_, "-c",
                                                  supplicant, "-P", scratch_.Join("supplicant.pid")})),
            0);
  EXPECT_TRUE(WaitUntil([&] { return SupplicantStatus().find("suppPortStatus=Authorized") != std::string::npos; },
                        std::chrono::seconds(30)))
      << SupplicantStatus() << "\n" << proxy_->Log();
  EXPECT_NE(home_->Log().find("Login OK: [bob]"), std::string::npos) << home_->Log();
  EXPECT_NE(proxy_->Log().find("from client aps"), std::string::npos) << proxy_->Log();
}

}  // namespace
