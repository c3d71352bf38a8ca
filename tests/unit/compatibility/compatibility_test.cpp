#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "orvamesh/compatibility/model_compatibility.h"
#include "orvamesh/compatibility/version_compatibility.h"
#include "orvamesh/compatibility/wifi_compatibility.h"
#include "orvamesh/platform/system_root.h"
#include "orvamesh/base/exception.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"
#include "support/thrown_text.h"

namespace {

using namespace ORVA::MESH::SDK::Compatibility;
namespace Exception = ORVA::MESH::SDK::Exception;

const std::string M1 = "velanto_ipq806x_hr1000";
const std::string M2 = "velanto_platb_hm2000";
const std::string M3 = "velanto_platc_hr3000";
const std::string M4 = "velanto_platd_hw4000";

TEST(ModelCompatibility, EveryOrderedPairOfKnownModels) {
  // Rows: first unique; columns: second unique M1..M4.
  struct Row {
    const std::string& first;
    bool with[4];
  } rows[] = {
      {M1, {true, true, false, false}},
      {M2, {false, true, false, false}},
      {M3, {true, true, true, true}},
      {M4, {true, true, false, true}},
  };
  const std::string* seconds[] = {&M1, &M2, &M3, &M4};
  for (const Row& row : rows) {
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(ModelCompatibility::IsCompatible(row.first, *seconds[i]), row.with[i]) << row.first << " then "
                                                                                       << *seconds[i];
    }
  }
}

TEST(ModelCompatibility, UnknownModelsMeetOnlyThemselvesAndTheUniversalSecond) {
  EXPECT_TRUE(ModelCompatibility::IsCompatible("velanto_future_x1", "velanto_future_x1"));
  EXPECT_TRUE(ModelCompatibility::IsCompatible("velanto_future_x1", M2));
  EXPECT_FALSE(ModelCompatibility::IsCompatible(M2, "velanto_future_x1"));
  EXPECT_FALSE(ModelCompatibility::IsCompatible(M3, "VELANTO_PLATB_HM2000"));
}

TEST(ModelCompatibility, EmptyUniquesThrowWithTheirLocation) {
  const std::pair<std::string, std::string> pairs[] = {{"", M1}, {M1, ""}, {"", ""}};
  for (const auto& [first, second] : pairs) {
    const std::string what = orva::test::ThrownText<Exception::InvalidArgumentException>(
        [&] { ModelCompatibility::IsCompatible(first, second); });
    EXPECT_TRUE(std::regex_match(what, std::regex("compatibility/model_compatibility:IsCompatible:[0-9]+: "
                                                  "Empty unique as argument")))
        << "'" << first << "' '" << second << "': " << what;
  }
}

TEST(VersionCompatibility, TheFirstMustBeAtLeastTheSecond) {
  struct Case {
    uint32_t a;
    uint32_t b;
    bool compatible;
  } cases[] = {{5, 5, true}, {6, 5, true}, {5, 6, false}, {0xffffffffu, 0, true}, {0, 0xffffffffu, false}};
  for (const Case& c : cases) {
    EXPECT_EQ(VersionCompatibility::IsCompatible(VersionInfo(c.a, "x"), VersionInfo(c.b)), c.compatible)
        << c.a << " vs " << c.b;
  }
}

class WifiCompatibilityTest : public ::testing::Test {
 protected:
  void SetUp() override { orva::platform::SystemRoot::Set(root_.Path()); }
  void TearDown() override { orva::platform::SystemRoot::Set(saved_); }
  void SetLocalCountry(const std::string& code) {
    root_.WriteFile("etc/orvawifi/region.conf", "country_code=" + code + "\n");
  }
  // The one line logged since the last Clear, without its line number.
  void ExpectOneLine(int priority, const std::string& pattern) {
    ASSERT_EQ(capture_.Lines().size(), 1u);
    EXPECT_EQ(capture_.Lines()[0].priority, priority);
    const std::string text = capture_.Lines()[0].text;
    EXPECT_TRUE(std::regex_match(text, std::regex("compatibility/wifi_compatibility:[0-9]+ " + pattern))) << text;
  }

  std::string saved_ = orva::platform::SystemRoot::Get();
  orva::test::TempDir root_;
  orva::test::LogCapture capture_;
};

TEST_F(WifiCompatibilityTest, ComparesTheRemoteCapabilityWithTheLocalCountry) {
  SetLocalCountry("US");
  struct Case {
    const char* capability;
    const std::string& unique;
    bool compatible;
  } cases[] = {
      {"CA,US,PR", M3, true}, {"*", M4, true}, {"ca, us", M2, true}, {"DE,FR", M2, false}, {"USA", M1, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(WifiCompatibility::IsRegionCompatibleWithLocal(c.capability, c.unique), c.compatible) << c.capability;
  }
  // A region change on the node applies to the next question.
  SetLocalCountry("ca");
  EXPECT_TRUE(WifiCompatibility::IsRegionCompatibleWithLocal("CA", M1));
}

TEST_F(WifiCompatibilityTest, AnUnknownRemoteModelIsNeverCompatible) {
  SetLocalCountry("US");
  for (const std::string unique : {"", "velanto_platz_hx9000", "VELANTO_IPQ806X_HR1000"}) {
    capture_.Clear();
    EXPECT_FALSE(WifiCompatibility::IsRegionCompatibleWithLocal("*", unique));
    ExpectOneLine(LOG_ERR,
                  "Received unrecognized remote unique \\[" + unique + "\\], return false on Wifi compatibility");
  }
}

TEST_F(WifiCompatibilityTest, AnEmptyCapabilityIsLoggedAndRefused) {
  SetLocalCountry("US");
  EXPECT_FALSE(WifiCompatibility::IsRegionCompatibleWithLocal("", M3));
  ExpectOneLine(LOG_ERR, "Remote country code capability is empty for velanto_platc_hr3000, this should not happened");
}

TEST_F(WifiCompatibilityTest, WithoutALocalRegionNothingIsCompatible) {
  EXPECT_FALSE(WifiCompatibility::IsRegionCompatibleWithLocal("*", M1));
  EXPECT_TRUE(capture_.Contains("Failed to open Wi-Fi region file"));
}

}  // namespace
