// An access point's side end to end: Debian's hostapd as a wired 802.1X authenticator is
// pointed at the mesh's proxy through the library's hostapd settings, and wpa_supplicant on the
// other end of a veth pair logs in with EAP-PEAP/MSCHAPv2, answered by the home server behind
// the proxy. Everything runs in one network namespace; the control sockets live in the default
// /var/run places of this program's private mount namespace.
#include <signal.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

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

constexpr char kApSecret[] = "ap \"secret\" $x";
constexpr char kHomeSecret[] = "home-secret";

// hostapd and wpa_supplicant run in the test's foreground and end before the servers and the
// namespace go, also when an assertion stops the test early.
struct Daemons {
  ~Daemons() {
    for (pid_t pid : pids) {
      ::kill(pid, SIGTERM);
      orva::platform::WaitProgram(pid);
    }
  }
  std::vector<pid_t> pids;
};

TEST(AccessPointRadius, AStationLogsInThroughTheProxyOnceTheVapPointsAtIt) {
  ORVA_REQUIRE_PRIVATE_RUN();
  ORVA_REQUIRE_NETNS();
  ORVA_REQUIRE_FREERADIUS();
  for (const char* program : {"/usr/sbin/hostapd", "/usr/sbin/hostapd_cli", "/sbin/wpa_supplicant", "/sbin/wpa_cli"}) {
    if (::access(program, X_OK) != 0) GTEST_SKIP() << program << " is not installed";
  }
  orva::test::TempDir scratch;
  orva::test::NetNs ns("rad");
  const std::string ap = "rap0", sta = "rst0";
  orva::test::AddVeth(&ns, ap, &ns, sta);
  orva::test::FixtureRoot root;
  root.LinkProgram("/usr/bin/hostapd_cli", "/usr/sbin/hostapd_cli");
  orva::test::LinkRadiusPrograms(root);
  const auto server = [&](const std::string& name) {
    auto s = std::make_unique<FreeRadiusServer>(scratch.Join(name + "/conf"), scratch.Join(name + "/run"));
    s->RunThrough(ns.Exec({}));
    return s;
  };
  const uint16_t homePort = orva::test::FreeUdpPort();
  const auto home = server("home");
  home->MakeHomeServer(homePort, kHomeSecret, "bob Cleartext-Password := \"bob-pw\"\n");
  home->Start();
  RadiusConfig config;
  config.listen = {{"127.0.0.1"}, orva::test::FreeUdpPort(), 0};
  config.clients = {{"aps", "127.0.0.0/8", kApSecret}};
  config.homeServers = {{"home", "127.0.0.1", homePort, HOME_SERVER_TYPE::AUTH, kHomeSecret, 5, true}};
  config.pools = {{"corp", POOL_TYPE::FAIL_OVER, {"home"}}};
  config.realms = {{"corp", "corp", false}};
  const auto proxy = server("proxy");
  proxy->MakeProxy("");
  FreeRadiusRenderer::Write(FreeRadiusRenderer::Render(config), proxy->ConfDir());
  proxy->Start();

  // hostapd starts pointed at a port where nobody answers, as an access point before the mesh
  // has told it about the proxy.
  Daemons daemons;
  const std::string conf = scratch.WriteFile(
      "hostapd.conf", "interface=" + ap +
                          "\ndriver=wired\nctrl_interface=/var/run/hostapd\nieee8021x=1\neapol_version=2\n"
                          "eap_server=0\nown_ip_addr=127.0.0.1\nnas_identifier=mesh-ap\n"
                          "auth_server_addr=127.0.0.1\nauth_server_port=9\nauth_server_shared_secret=stale\n");
  const pid_t hostapd = orva::test::SpawnTied(ns.Exec({"/usr/sbin/hostapd", conf}));
  daemons.pids.push_back(hostapd);
  // hostapd writes a pid file only when it daemonises; "ip netns exec" became hostapd.
  const std::string pidFile = scratch.WriteFile("hostapd.pid", std::to_string(hostapd) + "\n");
  ASSERT_TRUE(WaitUntil([&] {
    return ::access(("/var/run/hostapd/" + ap).c_str(), F_OK) == 0 && orva::platform::ProcAliveByPidFile(pidFile);
  })) << "hostapd did not come up";

  const HostapdRadiusSettings settings = HostapdRadiusSettings::ForAccessPoint(config, "127.0.0.1", "127.0.0.1");
  Driver::HostapHelper vap(ap);
  ASSERT_EQ(settings.ApplyTo(vap, conf, pidFile), 0);
  const std::string supplicant = scratch.WriteFile(
      "supplicant.conf", "ctrl_interface=/var/run/wpa_supplicant\nap_scan=0\nnetwork={\n\tkey_mgmt=IEEE8021X\n"
                         "\teap=PEAP\n\tidentity=\"bob\"\n\tanonymous_identity=\"anonymous@corp\"\n"
                         "\tpassword=\"bob-pw\"\n\tphase2=\"auth=MSCHAPV2\"\n\teapol_flags=0\n}\n");
  daemons.pids.push_back(
      orva::test::SpawnTied(ns.Exec({"/sbin/wpa_supplicant", "-D", "wired", "-i", sta, "-c", supplicant})));
  const auto status = [&] {
    std::string out;
    orva::test::Run(ns.Exec({"/sbin/wpa_cli", "-p", "/var/run/wpa_supplicant", "-i", sta, "status"}), &out);
    return out;
  };
  EXPECT_TRUE(WaitUntil([&] { return status().find("suppPortStatus=Authorized") != std::string::npos; },
                        std::chrono::seconds(30)))
      << status() << "\n" << proxy->Log();
  EXPECT_NE(home->Log().find("Login OK: [bob]"), std::string::npos) << home->Log();
  EXPECT_NE(proxy->Log().find("from client aps"), std::string::npos) << proxy->Log();
}

}  // namespace
