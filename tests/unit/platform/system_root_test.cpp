#include "orvamesh/platform/system_root.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/process_runner.h"
#include "support/fixture_root.h"

namespace {

using orva::platform::SystemRoot;

class SystemRootTest : public ::testing::Test {
 protected:
  void SetUp() override { saved_ = SystemRoot::Get(); }
  void TearDown() override { SystemRoot::Set(saved_); }
  std::string saved_;
};

TEST_F(SystemRootTest, MapsAbsolutePathsBelowTheRoot) {
  struct Case {
    const char* root;
    const char* path;
    const char* expected;
  } cases[] = {
      {"/", "/etc/orvasyslog/mesh.conf", "/etc/orvasyslog/mesh.conf"},
      {"", "/var/run/hyd.pid", "/var/run/hyd.pid"},
      {"/srv/fixture", "/usr/sbin/hyctl", "/srv/fixture/usr/sbin/hyctl"},
      {"/srv/fixture///", "/proc/uptime", "/srv/fixture/proc/uptime"},
      {"/srv/fixture", "relative/file", "relative/file"},
  };
  for (const Case& c : cases) {
    SystemRoot::Set(c.root);
    EXPECT_EQ(SystemRoot::Path(c.path), c.expected) << c.root << " " << c.path;
  }
}

TEST_F(SystemRootTest, ProgramsRunFromTheRootAndGetEveryArgumentVerbatim) {
  orva::test::FixtureRoot root;
  root.WriteFile("usr/bin/record", "#!/bin/sh\nfor a in \"$@\"; do printf '<%s>' \"$a\"; done\nexit 3\n", 0755);
  std::string out;
  int rc = orva::platform::RunProgramCapture({"/usr/bin/record", "wlan0; reboot", "", "a b", "$(id)"}, out);
  EXPECT_EQ(rc, 3);
  EXPECT_EQ(out, "<wlan0; reboot><><a b><$(id)>");
}

TEST_F(SystemRootTest, AMissingProgramIsAFailureNotACrash) {
  orva::test::FixtureRoot root;
  EXPECT_NE(orva::platform::RunProgram({"/usr/bin/absent"}), 0);
  EXPECT_EQ(orva::platform::RunProgram({}), -1);
}

TEST_F(SystemRootTest, CaptureStopsStoringAtTheLimitButDrainsTheProgram) {
  std::string out;
  int rc = orva::platform::RunProgramCapture({"/bin/sh", "-c", "head -c 100000 /dev/zero"}, out, 10);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(out.size(), 10u);
}

}  // namespace
