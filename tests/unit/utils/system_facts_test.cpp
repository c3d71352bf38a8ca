// The interface and system facts the wired scan reads: uptime, interface MAC and link-local
// address, for what exists and what does not.
#include <net/if.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvamesh/utils/address.h"
#include "orvamesh/utils/utils.h"
#include "support/fixture_root.h"
#include "support/log_capture.h"

namespace {

using namespace ORVA::MESH::SDK;

TEST(SystemUptime, TakesTheWholeSecondsOfTheFirstNumberAndFailsWithOneLogLineOnAMissingOrGarbledFile) {
  orva::test::FixtureRoot root;
  orva::test::LogCapture log;
  unsigned long seconds = 1234;
  EXPECT_EQ(Utils::GetSystemUptime(seconds), -1) << "no file";
  const std::pair<const char*, long> cases[] = {  // content, whole seconds (-1: refused)
      {"350735.47 234388.90\n", 350735}, {"0.99 0.00\n", 0}, {"17 3\n", 17}, {"", -1}, {"up 5 days\n", -1},
      {"12,5 3\n", -1}, {"99999999999999999999.0 1\n", -1},
  };
  for (const auto& [content, expected] : cases) {
    root.WriteFile("proc/uptime", content);
    seconds = 1234;
    EXPECT_EQ(Utils::GetSystemUptime(seconds), expected < 0 ? -1 : 0) << content;
    EXPECT_EQ(seconds, expected < 0 ? 1234ul : static_cast<unsigned long>(expected)) << content;
  }
  EXPECT_EQ(log.Lines().size(), 5u);
}

TEST(InterfaceFacts, MacAndLinkLocalAreRefusedForLoopbackUnknownAndOverlongNames) {
  orva::test::LogCapture log;
  for (const std::string& name : std::vector<std::string>{"lo", "nosuch0", "", std::string(IFNAMSIZ, 'x')}) {
    std::string mac = "unchanged";
    EXPECT_EQ(Utils::GetIfMAC(name, mac), -1) << name;
    EXPECT_EQ(mac, "unchanged");
  }
  EXPECT_EQ(log.Lines().size(), 4u);
  EXPECT_FALSE(Address::GetInterfaceIPv6LinkLocal("lo").has_value());
  EXPECT_FALSE(Address::GetInterfaceIPv6LinkLocal("nosuch0").has_value());
}

}  // namespace
