#include <gtest/gtest.h>

#include <string>

#include "integration/webapi/webapi_env.h"
#include "orvamesh/utils/led_helper.h"

namespace {

using ORVA::MESH::SDK::LED_MODE;
using ORVA::MESH::SDK::LedHelper;
using orva::test::WebapiEnv;

// The default local runner: the node's own web server over loopback HTTPS as "admin".
using LocalLedApi = WebapiEnv;

TEST_F(LocalLedApi, ReadsAndWritesTheLedsThroughTheNodesOwnWebServer) {
  server_->Script("ORVA.Core.Hardware.Led", "get",
                  R"({"success": true, "data": {"led_mode": "schedule", "schedule": ")" +
                      std::string(168, '1') + "\"}}");
  LED_MODE mode = LED_MODE::NORMAL;
  std::string schedule;
  ASSERT_EQ(LedHelper::GetLedConfig(mode, schedule), 0);
  EXPECT_EQ(mode, LED_MODE::SCHEDULE);
  EXPECT_EQ(schedule, std::string(168, '1'));

  ASSERT_EQ(LedHelper::SetLedConfig(LED_MODE::SLEEP, ""), 0);
  const auto calls = server_->Calls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[1]["method"], "set");
  EXPECT_EQ(calls[1]["params"]["led_mode"], "sleep");
  EXPECT_EQ(calls[1]["user"], "admin");
}

}  // namespace
