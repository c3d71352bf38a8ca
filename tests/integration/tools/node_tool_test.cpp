// orvamesh-node as a user runs it: identity from a fixture root, utilization from this machine,
// and the command-line conventions.
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "tool_session.h"

namespace orva::test {
namespace {

ToolRun Node(const std::vector<std::string>& args) { return RunTool(ToolPath("orvamesh-node"), args); }

class NodeToolWithRoot : public ::testing::Test {
 protected:
  void SetUp() override { ::setenv("ORVAMESH_SYSTEM_ROOT", root.Path().c_str(), 1); }
  void TearDown() override { ::unsetenv("ORVAMESH_SYSTEM_ROOT"); }
  TempDir root;
};

TEST_F(NodeToolWithRoot, ShowsTheIdentityFileOrSaysWhereItLooked) {
  const ToolRun missing = Node({"identity"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find(root.Join("etc/orvamesh/identity")), std::string::npos) << missing.err;

  root.WriteFile("etc/orvamesh/identity",
                 "OS_NAME=\"OrvaOS\"\nOS_VERSION=\"5.2.1\"\nOS_BUILD=\"77\"\nOS_UPDATE=\"2\"\n"
                 "MODEL_UNIQUE=\"velanto_platb_hm2000\"\nSERIAL=\"HM2B0000001\"\n");
  const ToolRun json = Node({"identity", "--json"});
  ASSERT_EQ(json.status, 0) << json.err;
  EXPECT_EQ(json.Json()["serial"].asString(), "HM2B0000001");
  EXPECT_EQ(Node({"identity"}).out, "velanto_platb_hm2000 serial HM2B0000001, OrvaOS 5.2.1 build 77 update 2\n");
}

TEST(NodeTool, ReportsThisMachinesUtilizationAndFollowsUsageConventions) {
  const ToolRun run = Node({"utilization", "--json"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_GT(run.Json()["memoryTotalKiB"].asUInt64(), 0u);
  EXPECT_LE(run.Json()["cpuPercent"].asUInt(), 100u);
  // Help on request is ToolConventions'; a wrong command line gets its usage on stderr only.
  for (const auto& args : std::vector<std::vector<std::string>>{{}, {"identity", "--follow"}, {"uptime"}}) {
    const ToolRun r = Node(args);
    EXPECT_EQ(r.status, 2) << (args.empty() ? "" : args[0]);
    EXPECT_EQ(r.out, "") << (args.empty() ? "" : args[0]);
  }
}

}  // namespace
}  // namespace orva::test
