// orvamesh-node as a user runs it: identity from a fixture root, utilization from this machine,
// and the command-line conventions.
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "tool_session.h"

namespace {

using orva::test::RunTool;

std::string NodeTool() { return ORVAMESH_BINARY_DIR "/tools/orvamesh-node"; }

class NodeToolWithRoot : public ::testing::Test {
 protected:
  void SetUp() override { ::setenv("ORVAMESH_SYSTEM_ROOT", root_.Path().c_str(), 1); }
  void TearDown() override { ::unsetenv("ORVAMESH_SYSTEM_ROOT"); }
  orva::test::TempDir root_;
};

TEST_F(NodeToolWithRoot, ShowsTheIdentityFileOrSaysWhereItLooked) {
  auto missing = RunTool(NodeTool(), {"identity"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find(root_.Join("etc/orvamesh/identity")), std::string::npos) << missing.err;

  root_.WriteFile("etc/orvamesh/identity",
                  "OS_NAME=\"OrvaOS\"\nOS_VERSION=\"5.2.1\"\nOS_BUILD=\"77\"\nOS_UPDATE=\"2\"\n"
                  "MODEL_UNIQUE=\"velanto_platb_hm2000\"\nSERIAL=\"HM2B0000001\"\n");
  auto json = RunTool(NodeTool(), {"identity", "--json"});
  ASSERT_EQ(json.status, 0) << json.err;
  EXPECT_EQ(json.Json()["serial"].asString(), "HM2B0000001");
  EXPECT_EQ(json.Json()["osBuildNumber"].asUInt(), 77u);
  EXPECT_EQ(RunTool(NodeTool(), {"identity"}).out,
            "velanto_platb_hm2000 serial HM2B0000001, OrvaOS 5.2.1 build 77 update 2\n");
}

TEST(NodeTool, ReportsThisMachinesUtilizationAndFollowsUsageConventions) {
  auto run = RunTool(NodeTool(), {"utilization", "--json"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_GT(run.Json()["memoryTotalKiB"].asUInt64(), 0u);
  EXPECT_LE(run.Json()["cpuPercent"].asUInt(), 100u);

  struct Case {
    std::vector<std::string> args;
    int status;
    bool usageOnStdout;
  };
  for (const Case& c : {Case{{"--help"}, 0, true}, Case{{"-h"}, 0, true}, Case{{}, 2, false},
                        Case{{"identity", "--follow"}, 2, false}, Case{{"uptime"}, 2, false}}) {
    auto r = RunTool(NodeTool(), c.args);
    EXPECT_EQ(r.status, c.status) << (c.args.empty() ? "" : c.args[0]);
    EXPECT_EQ(r.out.find("Usage:") != std::string::npos, c.usageOnStdout);
  }
}

}  // namespace
