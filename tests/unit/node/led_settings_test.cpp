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

// The one error line of a failed Deserialize, without its "file:line " prefix.
std::string OnlyError(const LogCapture& capture) {
  const auto lines = capture.Lines();
  if (lines.size() != 1) return "<" + std::to_string(lines.size()) + " lines>";
  EXPECT_EQ(lines[0].priority, LOG_ERR);
  const std::string& text = lines[0].text;
  return text.substr(text.find(' ') + 1);
}

const std::string kWeek(168, '1');

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

TEST(LedRecords, DefaultToNoNodeAndANormalOrUnknownMode) {
  EXPECT_EQ(LedConfig(), (LedConfig{false, LED_MODE::NORMAL, ""}));
  EXPECT_EQ(LedBlinkingSetting(), (LedBlinkingSetting{-1, false}));
  EXPECT_EQ(LedScheduleSetting(), (LedScheduleSetting{-1, LED_MODE::UNKNOWN, ""}));
}

TEST(LedConfig, SerializesEveryFieldAndReadsItBack) {
  LedConfig config{true, LED_MODE::SCHEDULE, kWeek};
  Json::Value out = "overwritten";
  EXPECT_EQ(config.Serialize(out), 0);
  EXPECT_EQ(out, Parse(R"({"blinking": true, "mode": 0, "schedule": ")" + kWeek + "\"}"));
  LedConfig back;
  EXPECT_EQ(back.Deserialize(out), 0);
  EXPECT_EQ(back, config);
}

TEST(LedConfig, FillsAbsentBlinkingAndScheduleWithDefaults) {
  LedConfig config{false, LED_MODE::SLEEP, kWeek};
  LogCapture capture;
  EXPECT_EQ(config.Deserialize(Parse(R"({"blinking": true, "mode": 2})")), 0);
  EXPECT_EQ(config, (LedConfig{true, LED_MODE::NORMAL, ""}));
  EXPECT_TRUE(capture.Lines().empty());
}

struct RefusedCase {
  std::string json;
  std::string error;
};

TEST(LedConfig, RefusesBadInputWithOneLine) {
  const std::vector<RefusedCase> cases = {
      {"null", "Input json value is null"},
      {R"({"blinking": true})", "Invalid led mode: [3]"},
      {R"({"mode": 7})", "Invalid led mode: [7]"},
      {R"({"mode": 1, "schedule": ")" + std::string(167, 'x') + "\"}",
       "Invalid led schedule length [167] for [" + std::string(167, 'x') + "]"},
      {R"({"mode": 1, "schedule": ")" + std::string(169, 'x') + "\"}",
       "Invalid led schedule length [169] for [" + std::string(169, 'x') + "]"},
      // A bad mode is reported before a bad schedule.
      {R"({"mode": 5, "schedule": "abc"})", "Invalid led mode: [5]"},
  };
  for (const auto& c : cases) {
    LogCapture capture;
    LedConfig config;
    EXPECT_EQ(config.Deserialize(Parse(c.json)), -1) << c.json;
    EXPECT_EQ(OnlyError(capture), c.error) << c.json;
  }
}

TEST(LedConfig, LetsNegativeModesThrough) {
  LedConfig config;
  EXPECT_EQ(config.Deserialize(Parse(R"({"mode": -4})")), 0);
  EXPECT_EQ(static_cast<int>(config.mode), -4);
}

TEST(LedConfig, KeepsTheFieldsItReadBeforeAFailedCheck) {
  LedConfig config;
  EXPECT_EQ(config.Deserialize(Parse(R"({"blinking": true, "mode": 9, "schedule": "ab"})")), -1);
  EXPECT_TRUE(config.blinking);
  EXPECT_EQ(static_cast<int>(config.mode), 9);
  EXPECT_EQ(config.schedule, "ab");
}

TEST(LedConfig, RefusesValuesOfTheWrongTypeWithoutThrowing) {
  for (const char* json : {R"({"blinking": "yes", "mode": 2})", R"({"mode": "normal"})",
                           R"({"mode": 2, "schedule": {}})", R"({"mode": 4294967296})", "[1, 2]",
                           "\"text\""}) {
    LogCapture capture;
    LedConfig config;
    EXPECT_EQ(config.Deserialize(Parse(json)), -1) << json;
    EXPECT_EQ(capture.Lines().size(), 1u) << json;
  }
}

TEST(LedBlinkingSetting, RoundTripsThroughJson) {
  LedBlinkingSetting setting{17, true};
  Json::Value out;
  EXPECT_EQ(setting.Serialize(out), 0);
  EXPECT_EQ(out, Parse(R"({"id": 17, "blinking": true})"));
  LedBlinkingSetting back;
  EXPECT_EQ(back.Deserialize(out), 0);
  EXPECT_EQ(back, setting);
}

TEST(LedBlinkingSetting, RefusesARecordWithoutANode) {
  const std::vector<RefusedCase> cases = {
      {"null", "Input json value is null"},
      {R"({"blinking": true})", R"(No node ID in [{"blinking":true}])"},
      {R"({"id": -1, "blinking": false})", R"(No node ID in [{"blinking":false,"id":-1}])"},
  };
  for (const auto& c : cases) {
    LogCapture capture;
    LedBlinkingSetting setting;
    EXPECT_EQ(setting.Deserialize(Parse(c.json)), -1) << c.json;
    EXPECT_EQ(OnlyError(capture), c.error) << c.json;
  }
}

TEST(LedBlinkingSetting, AcceptsAnyOtherNodeIdAndDefaultsBlinkingToOff) {
  LedBlinkingSetting setting{0, true};
  EXPECT_EQ(setting.Deserialize(Parse(R"({"id": 0})")), 0);
  EXPECT_EQ(setting, (LedBlinkingSetting{0, false}));
  EXPECT_EQ(setting.Deserialize(Parse(R"({"id": -2, "blinking": true})")), 0);
  EXPECT_EQ(setting, (LedBlinkingSetting{-2, true}));
}

TEST(LedScheduleSetting, RoundTripsThroughJson) {
  LedScheduleSetting setting{3, LED_MODE::SCHEDULE, kWeek};
  Json::Value out;
  EXPECT_EQ(setting.Serialize(out), 0);
  EXPECT_EQ(out, Parse(R"({"id": 3, "mode": 0, "schedule": ")" + kWeek + "\"}"));
  LedScheduleSetting back;
  EXPECT_EQ(back.Deserialize(out), 0);
  EXPECT_EQ(back, setting);
}

TEST(LedScheduleSetting, ChecksNodeThenModeThenSchedule) {
  const std::vector<RefusedCase> cases = {
      {"null", "Input json value is null"},
      {R"({"mode": 9, "schedule": "x"})", R"(No node ID in [{"mode":9,"schedule":"x"}])"},
      {R"({"id": 1, "schedule": "x"})", "Invalid led mode: [3]"},
      {R"({"id": 1, "mode": 1, "schedule": "x"})", "Invalid led schedule length [1] for [x]"},
      {R"({"id": 1, "mode": 1, "schedule": 5})", ""},
  };
  for (const auto& c : cases) {
    LogCapture capture;
    LedScheduleSetting setting;
    EXPECT_EQ(setting.Deserialize(Parse(c.json)), -1) << c.json;
    if (!c.error.empty()) {
      EXPECT_EQ(OnlyError(capture), c.error) << c.json;
    }
  }
}

TEST(LedScheduleSetting, AcceptsAnEmptyOrFullWeekSchedule) {
  for (const std::string& schedule : {std::string(), kWeek}) {
    LedScheduleSetting setting;
    EXPECT_EQ(setting.Deserialize(Parse(R"({"id": 4, "mode": 1, "schedule": ")" + schedule + "\"}")), 0);
    EXPECT_EQ(setting, (LedScheduleSetting{4, LED_MODE::SLEEP, schedule}));
  }
}

}  // namespace
