#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <tuple>

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

TEST(ModelCompatibility, EveryOrderedPairOfKnownAndUnknownModels) {
  const std::string x = "velanto_future_x1";
  // Row: the first unique; column: the second unique, in the order of `models`.
  const std::string models[] = {M1, M2, M3, M4, x};
  const bool compatible[][5] = {
      {true, true, false, false, false}, {false, true, false, false, false}, {true, true, true, true, false},
      {true, true, false, true, false},  {false, true, false, false, true},
  };
  for (int i = 0; i < 5; ++i) {
    for (int j = 0; j < 5; ++j) {
      EXPECT_EQ(ModelCompatibility::IsCompatible(models[i], models[j]), compatible[i][j]) << models[i] << " then "
                                                                                          << models[j];
    }
  }
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
  // The first version, the second, and whether the first may join the second.
  const std::tuple<uint32_t, uint32_t, bool> cases[] = {
      {5, 5, true}, {6, 5, true}, {5, 6, false}, {0xffffffffu, 0, true}, {0, 0xffffffffu, false}};
  for (const auto& [a, b, compatible] : cases) {
    EXPECT_EQ(VersionCompatibility::IsCompatible(VersionInfo(a, "x"), VersionInfo(b)), compatible) << a << " vs " << b;
  }
}

class WifiCompatibilityTest : public ::testing::Test {
 protected:
  void SetUp() override { orva::platform::SystemRoot::Set(root_.Path()); }
  void TearDown() override { orva::platform::SystemRoot::Set(saved_); }
  void SetLocalCountry(const std::string& code) {
    root_.WriteFile("etc/orvawifi/region.conf", "country_code=" + code + "\n");
  }

  std::string saved_ = orva::platform::SystemRoot::Get();
  orva::test::TempDir root_;
  orva::test::LogCapture capture_;
};

TEST_F(WifiCompatibilityTest, ComparesTheRemoteCapabilityWithTheLocalCountry) {
  EXPECT_FALSE(WifiCompatibility::IsRegionCompatibleWithLocal("*", M1)) << "no local region yet";
  SetLocalCountry("US");
  const std::tuple<const char*, std::string, bool> cases[] = {
      {"CA,US,PR", M3, true}, {"*", M4, true}, {"ca, us", M2, true}, {"DE,FR", M2, false}, {"USA", M1, false},
  };
  for (const auto& [capability, unique, compatible] : cases) {
    EXPECT_EQ(WifiCompatibility::IsRegionCompatibleWithLocal(capability, unique), compatible) << capability;
  }
  // A region change on the node applies to the next question.
  SetLocalCountry("ca");
  EXPECT_TRUE(WifiCompatibility::IsRegionCompatibleWithLocal("CA", M1));
}

TEST_F(WifiCompatibilityTest, AnUnknownRemoteModelOrAnEmptyCapabilityIsLoggedAndRefused) {
  SetLocalCountry("US");
  for (const std::string unique : {"", "velanto_platz_hx9000", "VELANTO_IPQ806X_HR1000"}) {
    EXPECT_FALSE(WifiCompatibility::IsRegionCompatibleWithLocal("*", unique)) << unique;
  }
  EXPECT_TRUE(capture_.Contains("Received unrecognized remote unique [velanto_platz_hx9000]"));
  EXPECT_FALSE(WifiCompatibility::IsRegionCompatibleWithLocal("", M3));
  EXPECT_TRUE(capture_.Contains("Remote country code capability is empty for velanto_platc_hr3000"));
}

}  // namespace
