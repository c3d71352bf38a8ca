#include "orvamesh/platform/wifi_client.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/fixture_root.h"
#include "support/log_capture.h"

namespace {

using ORVA::Wifi::WifiClient;

class WifiClientTest : public ::testing::Test {
 protected:
  void WriteRegionFile(const std::string& content) { root_.WriteFile("etc/orvawifi/region.conf", content); }

  orva::test::FixtureRoot root_;
  orva::test::LogCapture capture_;
  WifiClient client_;
};

TEST_F(WifiClientTest, ReadsTheLocalCountryFromTheRegionFile) {
  const std::pair<const char*, const char*> cases[] = {  // content, country (nullptr: none usable)
      {"country_code=US\n", "US"},
      {"# region\n\n  country_code = \"de\"  \r\nchannel=36\n", "DE"},
      {"country_code=FR\ncountry_code=IT", "IT"},
      {"#country_code=US\n", nullptr},
      {"country_code=USA\n", nullptr},
  };
  for (const auto& [content, country] : cases) {
    WriteRegionFile(content);
    capture_.Clear();
    std::string code = "untouched";
    EXPECT_EQ(client_.GetLocalCountryCode(code), country ? 0 : -1) << content;
    EXPECT_EQ(code, country ? country : "untouched");
    EXPECT_EQ(capture_.Lines().size(), country ? 0u : 1u) << content;
  }
}

TEST_F(WifiClientTest, ParsesCapabilityStrings) {
  using Codes = std::vector<std::string>;
  struct Case {
    const char* capability;
    bool ok;
    Codes codes;
  } cases[] = {
      {"US", true, {"US"}},
      {"us,Ca , pr", true, {"US", "CA", "PR"}},
      {"*", true, {"*"}},
      {"US,", false, {}},
      {"US;CA", false, {}},
  };
  for (const Case& c : cases) {
    Codes codes{"untouched"};
    EXPECT_EQ(WifiClient::ParseCountryCodeCapability(c.capability, codes), c.ok ? 0 : -1) << c.capability;
    EXPECT_EQ(codes, c.ok ? c.codes : Codes{"untouched"}) << c.capability;
  }
}

// Compatible answers, through the mesh's factory client, are the compatibility module's tests;
// here the refusals' reasons.
TEST_F(WifiClientTest, RefusesMalformedCapabilitiesUnknownModelsAndAMissingFile) {
  EXPECT_FALSE(client_.IsCountryCodeCompatible("*", ORVA::Wifi::WIFI_MODEL_HW4000));
  EXPECT_TRUE(capture_.Contains(root_.Path() + "/etc/orvawifi/region.conf"));
  WriteRegionFile("country_code=US\n");
  EXPECT_FALSE(client_.IsCountryCodeCompatible("US", static_cast<ORVA::Wifi::WIFI_MODEL>(4)));
  EXPECT_FALSE(client_.IsCountryCodeCompatible("US,,", ORVA::Wifi::WIFI_MODEL_HR1000));
  EXPECT_TRUE(capture_.Contains("Unknown remote Wi-Fi model [4]"));
  EXPECT_TRUE(capture_.Contains("Malformed country code capability [US,,]"));
}

}  // namespace
