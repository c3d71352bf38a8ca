#include "orvamesh/data/syslog.h"

#include <sys/file.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

#include "orvamesh/data/file_lock_wrapper.h"
#include "orvamesh/platform/file_lock.h"
#include "orvamesh/base/exception.h"
#include "platform/file_seam.h"
#include "support/fixture_root.h"
#include "support/log_capture.h"
#include "support/thrown_text.h"

namespace {

using ORVA::MESH::SDK::Data::FileLockWrapper;
using ORVA::MESH::SDK::Data::Syslog;
using orva::net::utils::IPAddress;
using orva::test::FixtureRoot;
using orva::test::LogCapture;

constexpr char kConf[] = "etc/orvasyslog/mesh.conf";
const std::string kKept = "# written by the mesh daemon\nkeep=\"me\"\n";

constexpr auto Thrown = orva::test::ThrownText<std::runtime_error>;

class SyslogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* program : {"/sbin/start", "/sbin/stop", "/sbin/restart"}) root_.InstallRecorder(program);
    root_.WriteFile(kConf, kKept);
  }
  std::string Conf() const { return FixtureRoot::ReadFile(root_.Join(kConf)); }
  FixtureRoot root_;
  LogCapture log_;
};

TEST_F(SyslogTest, ServicesRunTheJobManagerAndOnlyAFailedStopIsForgiven) {
  // The operation, the job manager's verb, the job's side, and whether a failure throws.
  const std::tuple<void (*)(), std::string, std::string, bool> cases[] = {
      {&Syslog::StartServer, "start", "server", true},     {&Syslog::StartClient, "start", "client", true},
      {&Syslog::StopServer, "stop", "server", false},      {&Syslog::StopClient, "stop", "client", false},
      {&Syslog::RestartServer, "restart", "server", true}, {&Syslog::RestartClient, "restart", "client", true},
  };
  for (const auto& [operation, verb, side, throws] : cases) {
    const std::string program = "/sbin/" + verb, job = "syslog-mesh-" + side;
    const std::string failure = "Failed to " + verb + " syslog " + side + " for mesh.";
    root_.ClearCalls(program);
    root_.SetStatus(program, 0);
    EXPECT_EQ(Thrown(operation), "") << job;
    EXPECT_EQ(root_.Calls(program), (std::vector<std::vector<std::string>>{{job}})) << program;
    EXPECT_TRUE(log_.Lines().empty());
    root_.SetStatus(program, 1);
    EXPECT_EQ(Thrown(operation), throws ? failure : "") << failure;
    EXPECT_TRUE(log_.Contains(" " + failure)) << failure;
    log_.Clear();
  }
}

TEST_F(SyslogTest, TheServerAddressIsStoredWithItsFamilyAndALinkLocalOneWithItsInterfaceButNeverEmpty) {
  EXPECT_EQ(Thrown([] { Syslog::SaveServerIP(IPAddress(), "lo"); }), "Invalid IP address");
  EXPECT_EQ(Conf(), kKept);
  // The address, its interface, and the address and family as stored.
  const std::tuple<std::string, std::string, std::string, std::string> cases[] = {
      {"192.0.2.7", "", "192.0.2.7", "4"},
      {"2001:db8::1", "lo", "2001:db8::1", "6"},
      {"fe80::224:e7ff:fe01:203", "lo", "fe80::224:e7ff:fe01:203%1", "6"},
  };
  for (const auto& [address, ifname, stored, type] : cases) {
    Syslog::SaveServerIP(IPAddress(address), ifname);
    EXPECT_EQ(Conf(), kKept + "server_addr=\"" + stored + "\"\nserver_addr_type=\"" + type + "\"\n") << address;
  }
}

TEST_F(SyslogTest, SavingSerialsReplacesTheOldListAndKeepsOtherLines) {
  root_.WriteFile(kConf,
                  "keep=\"me\"\nclient_serials=\"OLD1  OLD2\"\nOLD1=\"Attic\"\nserver_addr=\"192.0.2.1\"\n"
                  "OLD2=\"Cellar\"\n");
  Syslog::SaveClientSerialsAndNames({{"S2", "Kitchen"}, {"S1", "Living room"}});
  EXPECT_EQ(Conf(),
            "keep=\"me\"\nserver_addr=\"192.0.2.1\"\nS1=\"Living room\"\nS2=\"Kitchen\"\n"
            "client_serials=\"S1 S2\"\n");
  Syslog::SaveClientSerialsAndNames({});
  EXPECT_EQ(Conf(), "keep=\"me\"\nserver_addr=\"192.0.2.1\"\nclient_serials=\"\"\n");
  Syslog::ClearClientSerialsAndNames();
  EXPECT_EQ(Conf(), "keep=\"me\"\nserver_addr=\"192.0.2.1\"\n");
}

TEST_F(SyslogTest, AnUnreadableSerialListOrAMissingSettingsDirectoryFailsTheWrite) {
  root_.WriteFile(kConf, "client_serials=\"" + std::string(1100, 'S') + "\"\n");
  EXPECT_EQ(Thrown([] { Syslog::SaveClientSerialsAndNames({{"S1", "x"}}); }), "Failed to get serials.");
  EXPECT_EQ(Conf().find("S1="), std::string::npos);
  std::filesystem::remove_all(root_.Join("etc/orvasyslog"));
  EXPECT_EQ(Thrown([] { Syslog::SaveServerIP(IPAddress("192.0.2.1"), ""); }), "Failed to save syslog server address.");
  EXPECT_EQ(Thrown([] { Syslog::SaveClientSerialsAndNames({{"S1", "x"}}); }),
            "Failed to save mapping of serial and node name.");
}

TEST_F(SyslogTest, SerialsAndNamesThatWouldCorruptTheFileAreRefusedWithTheFileUnchanged) {
  root_.WriteFile(kConf, kKept + "client_serials=\"S0\"\nS0=\"Hall\"\n");
  const std::string before = Conf();
  const auto expectRefused = [&](const std::string& serial, const std::string& name) {
    EXPECT_EQ(Thrown([&] { Syslog::SaveClientSerialsAndNames({{serial, name}}); }),
              "Failed to save mapping of serial and node name.")
        << serial << "=" << name;
  };
  for (const char* serial : {"", "A B", "server_addr", "client_serials", "a=b", "S\n1", "#S1", "S\"1", "S$1"}) {
    expectRefused(serial, "name");
  }
  for (const char* name : {"Ha\nll", "#Hall", "Ha\"ll", "$(reboot)", "`id`"}) expectRefused("S1", name);
  expectRefused(std::string("S\0x", 3), "name");
  expectRefused("S1", std::string("Ha\0ll", 5));
  EXPECT_EQ(Conf(), before);
}

TEST_F(SyslogTest, AListTooLongToReadBackIsRefusedAndTheNextSaveStillWorks) {
  std::map<std::string, std::string> many;
  for (int i = 0; i < 120; ++i) many["SERIAL" + std::to_string(1000 + i)] = "n";  // 120 * 11 - 1 bytes
  root_.WriteFile(kConf, "client_serials=\"S0\"\nS0=\"Hall\"\n");
  const std::string before = Conf();
  EXPECT_EQ(Thrown([&] { Syslog::SaveClientSerialsAndNames(many); }), "Failed to save serials.");
  EXPECT_EQ(Conf(), before);
  many.erase(many.begin(), std::next(many.begin(), 40));  // 80 * 11 - 1 = 879 bytes fit
  Syslog::SaveClientSerialsAndNames(many);
  Syslog::SaveClientSerialsAndNames({{"S1", "Attic"}});
  EXPECT_EQ(Conf(), "S1=\"Attic\"\nclient_serials=\"S1\"\n");
}

TEST(FileLockWrapper, ThrowsWhenTheLockCannotBeTakenAndLogsAFailedRelease) {
  FixtureRoot root;
  LogCapture log;
  const std::string missing = root.Join("no-dir/x.lock");
  const std::string refused = Thrown([&] { FileLockWrapper lock(missing); });
  EXPECT_NE(refused.find("Fail to acquire filelock [" + missing + "]"), std::string::npos) << refused;
  const std::string path = root.Join("y.lock");
  {
    orva::platform::ScopedFileCallsOverride seam;  // outlives the wrapper
    FileLockWrapper lock(path);
    orva::net::utils::FileLock other(path);
    EXPECT_FALSE(other.TryLock());
    seam->flock = [](int fd, int operation) { return operation == LOCK_UN ? -1 : ::flock(fd, operation); };
  }
  std::vector<orva::test::LogLine> lines = log.Matching("Exception in filelock dtor, filelock may not be released: ");
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].text.find("Fail to release filelock [" + path + "]"), std::string::npos) << lines[0].text;
}

}  // namespace
