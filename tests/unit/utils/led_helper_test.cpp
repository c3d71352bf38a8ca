#include "orvamesh/utils/led_helper.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "orvamesh/platform/api_runner.h"
#include "orvamesh/utils/utils.h"
#include "support/fixture_root.h"
#include "support/json_text.h"
#include "support/log_capture.h"

namespace {

using ORVA::MESH::SDK::LED_MODE;
using ORVA::MESH::SDK::LedHelper;
using orva::platform::ApiRunner;
using orva::test::LogCapture;
using orva::test::TempDir;

constexpr auto Parse = orva::test::ParseJson;

// Every message of the capture without its "file:line " prefix.
std::vector<std::string> Messages(const LogCapture& capture) {
  std::vector<std::string> out;
  for (const auto& text : capture.Texts()) out.push_back(text.substr(text.find(' ') + 1));
  return out;
}

// The node's web API replaced in-process: records each call as "user api version method params"
// and gives the scripted answer.
class LedHelperTest : public ::testing::Test {
 protected:
  void SetUp() override {
    previousBackend_ = ApiRunner::SetBackend([this](Json::Value& answer, const std::string& api, int version,
                                                    const std::string& method, const Json::Value& params,
                                                    const std::string& user) {
      Json::StreamWriterBuilder compact;
      compact["indentation"] = "";
      calls_.push_back(user + " " + api + " " + std::to_string(version) + " " + method + " " +
                       Json::writeString(compact, params));
      if (throwing_) throw std::runtime_error("backend down");
      answer = answer_;
      return reachable_;
    });
  }
  void TearDown() override { ApiRunner::SetBackend(previousBackend_); }

  orva::test::FixtureRoot root_;
  ApiRunner::Backend previousBackend_;
  std::vector<std::string> calls_;
  Json::Value answer_ = Parse(R"({"success": true})");
  bool reachable_ = true;
  bool throwing_ = false;
};

TEST_F(LedHelperTest, ExecWebAPIRunsAsAdminAndSortsAnswersByShape) {
  // The answer, whether the node answered at all, then the result and the success flag.
  const std::tuple<std::string, bool, int, bool> cases[] = {
      {R"({"success": true, "data": {}})", true, 0, true},
      {R"({"success": false, "error": {"code": 12}})", true, 0, false},
      {R"({"success": "yes"})", true, -1, false},
      {R"({"success": true})", false, -1, false},
  };
  LogCapture capture;
  for (const auto& [text, reachable, rc, succeeded] : cases) {
    answer_ = Parse(text);
    reachable_ = reachable;
    Json::Value answer;
    bool success = !succeeded;
    EXPECT_EQ(ORVA::MESH::SDK::Utils::ExecWebAPI(answer, success, "A.B", 3, "get", Parse(R"({"x": 1})")), rc) << text;
    EXPECT_EQ(success, succeeded) << text;
  }
  EXPECT_TRUE(capture.Contains(R"(Fail to execute [A.B][get][{"x":1}]: [12])"));
  EXPECT_EQ(calls_, std::vector<std::string>(std::size(cases), R"(admin A.B 3 get {"x":1})"));
  throwing_ = true;
  Json::Value answer;
  bool success = true;
  EXPECT_EQ(ORVA::MESH::SDK::Utils::ExecWebAPI(answer, success, "A.B", 1, "get", Json::Value()), -1);
  EXPECT_FALSE(success);
}

TEST_F(LedHelperTest, ReadsModeAndScheduleFromTheLedApiOrLeavesTheOutputsAlone) {
  // The answer, then the last line logged: none at all when the read succeeds.
  const std::vector<std::pair<std::string, std::string>> cases = {
      {R"({"success": true, "data": {"led_mode": "sleep", "schedule": "0101"}})", ""},
      {R"({"success": false, "error": {"code": 3}})", "Fail to execute [ORVA.Core.Hardware.Led][get]"},
      {R"({"success": true, "data": {"led_mode": "sleep", "schedule": {}}})", "Ill-formed LED webapi response"},
      {R"({"success": true, "data": []})", "Fail to execute [ORVA.Core.Hardware.Led][get]"},
      {R"({"success": true, "data": {"led_mode": "Normal", "schedule": ""}})", "Unknown Led mode"},
  };
  for (const auto& [answer, log] : cases) {
    answer_ = Parse(answer);
    LogCapture capture;
    LED_MODE mode = LED_MODE::SCHEDULE;
    std::string schedule = "kept";
    EXPECT_EQ(LedHelper::GetLedConfig(mode, schedule), log.empty() ? 0 : -1) << answer;
    EXPECT_EQ(mode, log.empty() ? LED_MODE::SLEEP : LED_MODE::SCHEDULE) << answer;
    EXPECT_EQ(schedule, log.empty() ? "0101" : "kept") << answer;
    const std::vector<std::string> messages = Messages(capture);
    EXPECT_EQ(messages.empty() ? "" : messages.back(), log) << answer;
  }
  EXPECT_EQ(calls_.front(), "admin ORVA.Core.Hardware.Led 1 get {}");
}

TEST_F(LedHelperTest, WritesTheModeAsTextAndRefusesModesWithoutOne) {
  ASSERT_EQ(LedHelper::SetLedConfig(LED_MODE::SCHEDULE, "sched"), 0);
  EXPECT_EQ(calls_,
            std::vector<std::string>{R"(admin ORVA.Core.Hardware.Led 1 set {"led_mode":"schedule","schedule":"sched"})"});
  for (int value : {3, -1, 99}) {
    LogCapture capture;
    EXPECT_EQ(LedHelper::SetLedConfig(static_cast<LED_MODE>(value), ""), -1);
    EXPECT_EQ(Messages(capture), std::vector<std::string>{"Invalid LED mode [" + std::to_string(value) + "]"});
  }
  EXPECT_EQ(calls_.size(), 1u);
  answer_ = Parse(R"({"success": false, "error": {"code": 1}})");
  LogCapture capture;
  EXPECT_EQ(LedHelper::SetLedConfig(LED_MODE::NORMAL, ""), -1);
  EXPECT_EQ(Messages(capture).back(), "Fail to execute [ORVA.Core.Hardware.Led][set]");
}

TEST_F(LedHelperTest, SwitchesBlinkingThroughTheBlinkApi) {
  EXPECT_EQ(LedHelper::SetLedBlinking(true), 0);
  EXPECT_EQ(LedHelper::SetLedBlinking(false), 0);
  EXPECT_EQ(calls_, (std::vector<std::string>{"admin ORVA.Core.Hardware.Led.Blink 1 start {}",
                                              "admin ORVA.Core.Hardware.Led.Blink 1 stop {}"}));
  reachable_ = false;
  LogCapture capture;
  EXPECT_EQ(LedHelper::SetLedBlinking(false), -1);
  EXPECT_EQ(Messages(capture).back(), "Fail to execute [ORVA.Core.Hardware.Led.Blink][stop]");
}

TEST_F(LedHelperTest, RunsTheLedToolWithExactArgumentsAndTrustsItsExitStatus) {
  const std::string record = root_.Join("argv.log");
  root_.WriteFile("usr/orva/bin/orvaledcontrol",
                  "#!/bin/sh\nfor a in \"$@\"; do printf '%s|' \"$a\" >> " + record +
                      "; done\necho >> " + record + "\nexit $(cat " + root_.Join("exit") + ")\n",
                  0755);
  root_.WriteFile("exit", "0");
  EXPECT_EQ(LedHelper::SetLedSequentialBlinking(true), 0);
  EXPECT_EQ(LedHelper::SetLedSequentialBlinking(false), 0);
  root_.WriteFile("exit", "1");
  LogCapture capture;
  EXPECT_EQ(LedHelper::SetLedSequentialBlinking(true), -1);
  EXPECT_EQ(Messages(capture).size(), 1u);
  EXPECT_EQ(TempDir::ReadFile(record),
            "--network-setting|processing|\n--network-setting-end|processing|\n"
            "--network-setting|processing|\n");
}

TEST_F(LedHelperTest, WritesTheBackhaulListWithATrailingNulAndRefusesAFileThatIsAbsentOrNoFile) {
  const std::string file = root_.WriteFile("proc/orvabios/orva_mesh_backhaul_iface", "previous,longer,list");
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"eth0", "ath1"}, std::string("eth0,ath1\0", 10)}, {{}, std::string("\0", 1)}};
  for (const auto& [names, bytes] : cases) {
    EXPECT_EQ(LedHelper::SetMeshBackhaulInterfaces(names), 0);
    EXPECT_EQ(TempDir::ReadFile(file), bytes);
  }
  std::filesystem::remove(file);
  for (const std::string& log : {"File [" + file + "] doesn't exists", "Failed to open file [" + file + "]"}) {
    LogCapture capture;
    EXPECT_EQ(LedHelper::SetMeshBackhaulInterfaces({"eth0"}), -1);
    EXPECT_EQ(Messages(capture), std::vector<std::string>{log});
    root_.WriteFile("proc/orvabios/orva_mesh_backhaul_iface/inside", "");  // a directory is no file
  }
}

}  // namespace
