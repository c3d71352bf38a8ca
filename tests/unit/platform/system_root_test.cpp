#include "orvamesh/platform/system_root.h"

#include <gtest/gtest.h>

#include "platform/process_runner.h"
#include "support/fixture_root.h"

namespace {

using orva::platform::SystemRoot;

TEST(SystemRoot, MapsAbsolutePathsBelowTheRoot) {
  const orva::test::FixtureRoot restorer;  // puts the previous root back at the end
  struct Case {
    const char* root;
    const char* path;
    const char* expected;
  } cases[] = {
      {"", "/var/run/hyd.pid", "/var/run/hyd.pid"},
      {"/srv/fixture///", "/proc/uptime", "/srv/fixture/proc/uptime"},
      {"/srv/fixture", "relative/file", "relative/file"},
  };
  for (const Case& c : cases) {
    SystemRoot::Set(c.root);
    EXPECT_EQ(SystemRoot::Path(c.path), c.expected) << c.root << " " << c.path;
  }
}

TEST(SystemRoot, ProgramsRunFromTheRootAndGetEveryArgumentVerbatim) {
  orva::test::FixtureRoot root;
  root.WriteFile("usr/bin/record", "#!/bin/sh\nfor a in \"$@\"; do printf '<%s>' \"$a\"; done\nexit 3\n", 0755);
  std::string out;
  EXPECT_EQ(orva::platform::RunProgramCapture({"/usr/bin/record", "wlan0; reboot", "", "a b", "$(id)"}, out), 3);
  EXPECT_EQ(out, "<wlan0; reboot><><a b><$(id)>");
}

TEST(SystemRoot, CaptureStopsStoringAtTheLimitButDrainsTheProgram) {
  std::string out;
  EXPECT_EQ(orva::platform::RunProgramCapture({"/bin/sh", "-c", "head -c 100000 /dev/zero"}, out, 10), 0);
  EXPECT_EQ(out.size(), 10u);
}

}  // namespace
