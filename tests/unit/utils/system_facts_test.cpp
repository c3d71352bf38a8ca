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

class UptimeFromAFixtureRoot : public ::testing::Test {
 protected:
  orva::test::FixtureRoot root_;
  orva::test::LogCapture log_;
};

TEST_F(UptimeFromAFixtureRoot, TakesTheWholeSecondsOfTheFirstNumber) {
  for (const auto& [content, expected] :
       {std::pair{"350735.47 234388.90\n", 350735ul}, {"0.99 0.00\n", 0ul}, {"17 3\n", 17ul}}) {
    root_.WriteFile("proc/uptime", content);
    unsigned long seconds = 1234;
    ASSERT_EQ(Utils::GetSystemUptime(seconds), 0) << content;
    EXPECT_EQ(seconds, expected) << content;
  }
}

TEST_F(UptimeFromAFixtureRoot, FailsWithOneLogLineOnAMissingOrGarbledFile) {
  unsigned long seconds = 1234;
  EXPECT_EQ(Utils::GetSystemUptime(seconds), -1);
  for (const char* garbled : {"", "up 5 days\n", "-3.2 1.0\n", "12,5 3\n", "99999999999999999999.0 1\n"}) {
    root_.WriteFile("proc/uptime", garbled);
    EXPECT_EQ(Utils::GetSystemUptime(seconds), -1) << garbled;
  }
  EXPECT_EQ(seconds, 1234u);
  EXPECT_EQ(log_.Lines().size(), 6u);
}

TEST(SystemUptime, ReadsTheRealClockUnderTheDefaultRoot) {
  unsigned long seconds = 0;
  ASSERT_EQ(Utils::GetSystemUptime(seconds), 0);
  EXPECT_GT(seconds, 0u);
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
