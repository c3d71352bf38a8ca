#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/text.h"

namespace {

using orva::platform::JoinText;
using orva::platform::SplitText;
using Parts = std::vector<std::string>;

// Configuration lists keep empty fields where they stand, so a list read and written back is
// the same text.
TEST(TextLists, SplitKeepsEveryFieldAndJoinPutsThemBack) {
  const std::vector<std::pair<std::string, Parts>> cases = {
      {"", {}},
      {"eth0,wlan0", {"eth0", "wlan0"}},
      {",", {"", ""}},
      {"a,,b,", {"a", "", "b", ""}},
  };
  for (const auto& [text, parts] : cases) {
    EXPECT_EQ(SplitText(text, ','), parts) << text;
    EXPECT_EQ(JoinText(parts, ','), text) << text;
  }
  EXPECT_EQ(SplitText("a:b,c", ':'), (Parts{"a", "b,c"}));
}

}  // namespace
