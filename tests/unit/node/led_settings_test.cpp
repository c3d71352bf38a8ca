#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "orvamesh/node/led_blinking_setting.h"
#include "orvamesh/node/led_config.h"
#include "orvamesh/utils/led_mode.h"
#include "orvamesh/node/led_schedule_setting.h"
#include "support/json_text.h"
#include "support/log_capture.h"

namespace {

using ORVA::MESH::SDK::LED_MODE;
using ORVA::MESH::SDK::LedBlinkingSetting;
using ORVA::MESH::SDK::LedConfig;
using ORVA::MESH::SDK::LedScheduleSetting;
using ORVA::MESH::SDK::ledModeToString;
using ORVA::MESH::SDK::stringToLedMode;
using orva::test::LogCapture;

constexpr auto Parse = orva::test::ParseJson;

const std::string kWeek(168, '1');

// Serializes `value` (over a value that is not empty), expects `json`, and reads it back.
template <typename T>
void ExpectRoundTrip(const T& value, const std::string& json) {
  Json::Value out = "overwritten";
  EXPECT_EQ(value.Serialize(out), 0);
  EXPECT_EQ(out, Parse(json));
  T back;
  EXPECT_EQ(back.Deserialize(out), 0);
  EXPECT_EQ(back, value);
}

// Reads `json` over `record`, expecting `result` and then `expected`.
template <typename T>
void ExpectRead(T record, const std::string& json, int result, const T& expected) {
  EXPECT_EQ(record.Deserialize(Parse(json)), result) << json;
  EXPECT_EQ(record, expected) << json;
}

struct RefusedCase {
  std::string json;
  std::string error;  // the one error line, or "" when any one line will do
};

template <typename T>
void ExpectRefused(const std::vector<RefusedCase>& cases) {
  for (const auto& c : cases) {
    LogCapture capture;
    T record;
    EXPECT_EQ(record.Deserialize(Parse(c.json)), -1) << c.json;
    const auto lines = capture.Lines();
    ASSERT_EQ(lines.size(), 1u) << c.json;
    EXPECT_EQ(lines[0].priority, LOG_ERR);
    const std::string error = lines[0].text.substr(lines[0].text.find(' ') + 1);  // without "file:line "
    EXPECT_EQ(error, c.error.empty() ? error : c.error) << c.json;
  }
}

TEST(LedMode, ConvertsOnlyTheThreeExactLowerCaseNames) {
  const std::vector<std::pair<LED_MODE, std::string>> named = {
      {LED_MODE::SCHEDULE, "schedule"}, {LED_MODE::SLEEP, "sleep"}, {LED_MODE::NORMAL, "normal"}};
  for (const auto& [mode, text] : named) {
    EXPECT_EQ(ledModeToString(mode), text);
    EXPECT_EQ(stringToLedMode(text), mode);
  }
  for (int value : {3, 4, -1, 0x7fffffff}) {
    EXPECT_EQ(ledModeToString(static_cast<LED_MODE>(value)), "") << value;
  }
  for (const char* text : {"Normal", "SLEEP", "", " normal", "normal "}) {
    EXPECT_EQ(stringToLedMode(text), LED_MODE::UNKNOWN) << text;
  }
}

TEST(LedRecords, SerializeEveryFieldAndReadItBack) {
  ExpectRoundTrip(LedConfig{true, LED_MODE::SCHEDULE, kWeek},
                  R"({"blinking": true, "mode": 0, "schedule": ")" + kWeek + "\"}");
  ExpectRoundTrip(LedBlinkingSetting{17, true}, R"({"id": 17, "blinking": true})");
  ExpectRoundTrip(LedScheduleSetting{3, LED_MODE::SCHEDULE, kWeek},
                  R"({"id": 3, "mode": 0, "schedule": ")" + kWeek + "\"}");
}

TEST(LedConfig, TakesWhatItReadsDefaultsTheRestAndKeepsItAfterAFailedCheck) {
  LogCapture capture;
  ExpectRead(LedConfig{false, LED_MODE::SLEEP, kWeek}, R"({"blinking": true, "mode": 2})", 0,
             {true, LED_MODE::NORMAL, ""});
  ExpectRead(LedConfig{}, R"({"blinking": true, "mode": 9, "schedule": "ab"})", -1,
             {true, static_cast<LED_MODE>(9), "ab"});
}

TEST(LedConfig, RefusesBadInputAndValuesOfTheWrongTypeWithOneLineWithoutThrowing) {
  ExpectRefused<LedConfig>({
      {"null", "Input json value is null"},
      {R"({"blinking": true})", "Invalid led mode: [3]"},
      {R"({"mode": 7})", "Invalid led mode: [7]"},
      {R"({"mode": 1, "schedule": ")" + std::string(167, 'x') + "\"}",
       "Invalid led schedule length [167] for [" + std::string(167, 'x') + "]"},
      // A bad mode is reported before a bad schedule.
      {R"({"mode": 5, "schedule": "abc"})", "Invalid led mode: [5]"},
      // Values of the wrong type: jsoncpp's own words follow the record.
      {R"({"blinking": "yes", "mode": 2})", ""}, {R"({"mode": 4294967296})", ""}, {"[1, 2]", ""},
  });
}

TEST(LedBlinkingSetting, RefusesARecordWithoutANodeAndDefaultsBlinkingToOff) {
  ExpectRefused<LedBlinkingSetting>({
      {"null", "Input json value is null"},
      {R"({"blinking": true})", R"(No node ID in [{"blinking":true}])"},
      {R"({"id": -1, "blinking": false})", R"(No node ID in [{"blinking":false,"id":-1}])"},
  });
  ExpectRead(LedBlinkingSetting{0, true}, R"({"id": 0})", 0, {0, false});
}

TEST(LedScheduleSetting, ChecksNodeThenModeThenScheduleAndTakesAnEmptyOrFullWeek) {
  ExpectRefused<LedScheduleSetting>({
      {"null", "Input json value is null"},
      {R"({"mode": 9, "schedule": "x"})", R"(No node ID in [{"mode":9,"schedule":"x"}])"},
      {R"({"id": 1, "schedule": "x"})", "Invalid led mode: [3]"},
      {R"({"id": 1, "mode": 1, "schedule": "x"})", "Invalid led schedule length [1] for [x]"},
      {R"({"id": 1, "mode": 1, "schedule": 5})", ""},
  });
  for (const std::string& schedule : {std::string(), kWeek}) {
    ExpectRead(LedScheduleSetting{}, R"({"id": 4, "mode": 1, "schedule": ")" + schedule + "\"}", 0,
               {4, LED_MODE::SLEEP, schedule});
  }
}

}  // namespace
