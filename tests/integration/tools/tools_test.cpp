// The orvamesh command line against orvamesh-simd on a private bus, both run as programs the
// way a user runs them, over the shipped example mesh.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/writer.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "orvamesh/client/mesh_operations.h"
#include "support/private_bus.h"
#include "support/temp_dir.h"
#include "support/wait_until.h"
#include "tool_session.h"

namespace orva::test {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr int kFastTickMs = 30;
// Long enough that work started by one command is still running for the next few.
constexpr int kSlowTickMs = 5000;

class Tools : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_PRIVATE_BUS();
    SharedPrivateBus();
  }
};

// Checks of a JSON result: a "/"-separated path ("#" for a size) and the compact JSON expected
// there, or "!" and a value it must differ from.
using Fields = std::vector<std::pair<std::string, std::string>>;

std::string At(Json::Value value, const std::string& path) {
  std::istringstream steps(path);
  for (std::string step; std::getline(steps, step, '/');) {
    value = step == "#" ? Json::Value(value.size())
                        : value.isArray() ? value[static_cast<Json::ArrayIndex>(std::stoul(step))] : value[step];
  }
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  return Json::writeString(writer, value);
}

void ExpectFields(const ToolRun& run, const Fields& fields) {
  ASSERT_EQ(run.status, 0) << run.err;
  const Json::Value json = run.Json();
  for (const auto& [path, expected] : fields) {
    if (expected[0] != '!') {
      EXPECT_EQ(At(json, path), expected) << path;
    } else {
      EXPECT_NE(At(json, path), "null") << path;
      EXPECT_NE(At(json, path), expected.substr(1)) << path;
    }
  }
}

TEST_F(Tools, EveryQueryPrintsTheMeshFileAsJson) {
  SimDaemon daemon(kFastTickMs);
  const std::vector<std::pair<std::vector<std::string>, Fields>> cases = {
      {{"get-node-ids"}, {{"", "[1,2,3,4]"}}},
      {{"get-node-infos"}, {{"1/role", R"("CAP")"}, {"3/backhaul", R"("ETHERNET")"}, {"4/online", "false"}}},
      {{"get-mesh-system-status"}, {{"meshReady", "true"}, {"nodeCount", "4"}, {"onlineCount", "3"}}},
      // The controller is the simulator's own machine: real figures, not the file's.
      {{"get-data-system-utilization"},
       {{"00:24:e7:10:00:01/memoryTotalKiB", "!524288"}, {"00:24:e7:10:00:02/cpuPercent", "7"}}},
      {{"get-data-devices"}, {{"00:24:e7:10:00:01/1/hostName", R"("nas")"}, {"00:24:e7:10:00:04/#", "0"}}},
      {{"get-data-network-info"}, {{"00:24:e7:10:00:02/gateway", R"("192.168.1.1")"}}},
      {{"get-data-mesh-topology"}, {{"ETHERNET/00:24:e7:10:00:03", R"("00:24:e7:10:00:01")"}}},
      // The controller is no repeater.
      {{"get-repeater-macs"}, {{"1", "null"}, {"2/guest", R"("02:24:e7:10:00:02")"}}},
      {{"get-repeater-access-infos"}, {{"3/address", R"("fe80::224:e7ff:fe10:3")"}}},
      {{"get-region-lock"}, {{"", "true"}}},
      {{"get-node-capabilities"}, {{"#", "4"}, {"3/nodeId", "4"}, {"3/features/0", R"("ledSchedule")"}}},
      {{"wireless-join-network", "--mac", "00:24:e7:10:00:09", "--serial", "S9"},
       {{"nodeId", "5"}, {"meshId", R"("velanto-home")"}, {"controllerAddress", R"("192.168.1.1")"}}},
      {{"ethernet-join-network", "--data", R"({"mac": "00:24:e7:10:00:09"})"},
       {{"credential", R"("sim-00:24:e7:10:00:09")"}}},
      {{"topology"}, {{"#", "1"}, {"0/children/#", "2"}, {"0/children/0/children/0/name", R"("Attic")"}}},
  };
  for (const auto& [args, fields] : cases) {
    SCOPED_TRACE(args[0]);
    ExpectFields(Cli(args), fields);
  }
}

TEST_F(Tools, ActionsWithoutResultPrintNothingAndSucceed) {
  SimDaemon daemon(kFastTickMs);
  const std::vector<std::vector<std::string>> actions = {
      {"stop-scan"}, {"reboot-node", "2"},
      {"notice-wps-result", "--success", "on", "--station", "3c:22:fb:01:02:03", "--interface", "ath1"},
      {"before-topology-change", R"({"node": 4, "uplink": 3})"}, {"after-topology-change", "--data", "{}"},
  };
  for (const auto& args : actions) {
    const ToolRun run = Cli(args);
    EXPECT_EQ(run.status, 0) << args[0] << ": " << run.err;
    EXPECT_EQ(run.out, "") << args[0];
  }
}

TEST_F(Tools, AChangeIsSeenByTheNextCommand) {
  SimDaemon daemon(kFastTickMs);
  // The change, the read that follows, and what the read prints (compact where JSON).
  const std::vector<std::tuple<std::vector<std::string>, std::vector<std::string>, std::string>> cases = {
      {{"set-node-name", "3", "Study \"2\""}, {"get-node-name", "3"}, R"("Study \"2\"")"},
      {{"switch-debug-log-level", "on"}, {"get-debug-log-level"}, "true"},
      {{"set-ieee1905-to-broadcast", "true"}, {"get-ieee1905-to-broadcast"}, "true"},
      {{"set-5g-backhaul-swapped", "yes"}, {"get-5g-backhaul-swapped"}, "true"},
      {{"set-led-blinkings", "2=on", "3=off"}, {"get-led-blinkings", "2", "3"}, R"({"2":true,"3":false})"},
      // Only the named setting changes; node 3 keeps its sleep mode.
      {{"set-led-configs", "3", "--blinking", "on"}, {"get-led-configs", "3"},
       R"({"3":{"blinking":true,"mode":1,"schedule":""}})"},
      // Quotes survive into the graph's labels; node 4 is offline, so dashed.
      {{"set-node-name", "3", "Dad's \"den\""}, {"topology", "--dot"},
       "digraph mesh {\n  node [shape=box, style=rounded];\n  n1 [label=\"Living room\\nCAP 1, VX-3000-EU\"];\n"
       "  n2 [label=\"Kitchen\\nRE 2, VX-1000-EU\"];\n  n3 [label=\"Dad's \\\"den\\\"\\nRE 3, VX-1000-EU\"];\n"
       "  n4 [label=\"Attic\\nRE 4, VX-500-EU\", style=\"rounded,dashed\"];\n  n1 -> n2 [label=\"WIFI_5G 78\"];\n"
       "  n1 -> n3 [label=\"ETHERNET 100\"];\n  n2 -> n4 [label=\"WIFI_5G 55\"];\n}"},
      {{"set-custom-topology-config", "4=3:ethernet"}, {"list-custom-topology"},
       R"({"2":{"backhaul":"WIFI_5G","custom":false,"uplink":1},"3":{"backhaul":"ETHERNET","custom":false,"uplink":1},)"
       R"("4":{"backhaul":"ETHERNET","custom":true,"uplink":3}})"},
  };
  for (auto [change, read, expected] : cases) {
    SCOPED_TRACE(change[0]);
    ASSERT_EQ(Cli(change).status, 0);
    read.insert(read.begin(), "--compact");
    EXPECT_EQ(Cli(read).out, expected + "\n");
  }
}

// --follow waits for the work to be over and prints the last result, which must already say so;
// without it the command returns at once and the work goes on.
TEST_F(Tools, LongOperationsRunToTheirEndFollowedOrNot) {
  SimDaemon daemon(kFastTickMs);
  const ToolRun update = Cli({"start-system-update", "--follow"});
  ASSERT_EQ(update.status, 0) << update.err;
  EXPECT_THAT(update.out, HasSubstr("DOWNLOADING"));
  ExpectFields(Cli({"get-system-update-progress-v2"}), {{"nodePercent/4", "100"}});
  // The first form has no per-node share.
  ExpectFields(Cli({"get-system-update-progress"}), {{"nodePercent/#", "0"}});

  ExpectFields(Cli({"start-scan", "--follow"}),
               {{"inProgress", "false"}, {"candidates/#", "2"}, {"candidates/1/compatible", "false"}});
  // Node 4 hangs below node 2.
  ExpectFields(Cli({"trigger-custom-topology-scan", "2", "--follow"}),
               {{"2/done", "true"}, {"2/uplinkQuality/1", "!null"}, {"2/uplinkQuality/3", "!null"},
                {"2/uplinkQuality/4", "null"}});

  const ToolRun setup =
      Cli({"start-setup-node", "--mac", "00:24:e7:10:00:05", "--name", "Study", "--link", "ethernet", "--follow"});
  ASSERT_EQ(setup.status, 0) << setup.err;
  // Plain lines when not on a terminal, ending with DONE.
  EXPECT_THAT(setup.out, EndsWith("DONE 100%\n"));
  // The serial is taken from the scanned neighbour.
  ExpectFields(Cli({"get-node-infos"}), {{"5/name", R"("Study")"}, {"5/serial", R"("VX10B2000005")"}});
  ExpectFields(Cli({"get-setup-node-progress"}), {{"nodeId", "5"}});
  EXPECT_EQ(Cli({"start-setup-node", "--mac", "00:24:e7:10:00:05"}).status, 19) << "NODE_ALREADY_EXIST";

  // Removing node 2 hands its child to the controller.
  ASSERT_EQ(Cli({"remove-nodes", "2"}).status, 0);
  ASSERT_TRUE(WaitUntil([] { return Cli({"get-node-ids", "--compact"}).out == "[1,3,4,5]\n"; }));
  ExpectFields(Cli({"list-custom-topology"}), {{"4/uplink", "1"}});
  ExpectFields(Cli({"remove-nodes", "4", "--follow"}), {{"removalInProgress", "false"}});
  ExpectFields(Cli({"get-node-infos"}), {{"4", "null"}});  // removed when the follow ended
}

TEST_F(Tools, WorkInProgressRefusesConflictingCallsWithItsStatus) {
  // The work started, and the status every other long operation gets meanwhile.
  const std::vector<std::tuple<std::vector<std::string>, int, std::string>> cases = {
      {{"start-setup-node", "--mac", "00:24:e7:10:00:05"}, 13, "SETUP_IN_PROGRESS"},
      {{"remove-nodes", "3"}, 14, "REMOVAL_IN_PROGRESS"},
      {{"start-scan"}, 15, "SCANNING_IN_PROGRESS"},
      {{"start-system-update"}, 16, "UPGRADE_IN_PROGRESS"},
  };
  const std::vector<std::vector<std::string>> conflicting = {
      {"start-scan"}, {"start-setup-node", "--mac", "00:24:e7:10:00:05"}, {"remove-nodes", "2"},
      {"start-system-update"}, {"trigger-custom-topology-scan", "2"}, {"set-custom-topology-config", "4=1"},
      {"prepare-restore"},
  };
  for (const auto& [start, busyStatus, busyName] : cases) {
    SCOPED_TRACE(start[0]);
    SimDaemon daemon(kSlowTickMs);
    ASSERT_EQ(Cli(start).status, 0);
    for (const auto& other : conflicting) {
      const ToolRun run = Cli(other);
      EXPECT_EQ(run.status, busyStatus) << other[0];
      EXPECT_THAT(run.err, HasSubstr(busyName)) << other[0];
    }
    EXPECT_EQ(Cli({"set-node-name", "2", "Still here"}).status, 0) << "plain settings are never refused";
  }
}

TEST_F(Tools, AFollowerEndsWhenItsWorkIsStoppedOrItsDaemonDies) {
  SimDaemon daemon(kSlowTickMs);
  ToolRun setup, update;
  std::thread setupFollower([&] { setup = Cli({"start-setup-node", "--mac", "00:24:e7:10:00:05", "--follow"}); });
  ASSERT_TRUE(WaitUntil([] { return Cli({"get-mesh-system-status"}).Json()["setupInProgress"].asBool(); }));
  EXPECT_EQ(Cli({"stop-setup-node"}).status, 0);
  setupFollower.join();
  EXPECT_EQ(setup.status, 1);
  EXPECT_THAT(setup.err, HasSubstr("stopped"));

  // The mesh is free again for the update.
  std::thread updateFollower([&] { update = Cli({"start-system-update", "--follow"}); });
  ASSERT_TRUE(WaitUntil([] { return Cli({"get-mesh-system-status"}).Json()["upgradeInProgress"].asBool(); }));
  daemon.Kill();
  updateFollower.join();
  // Killed before or after its first poll: either way the transport fault, never a hang.
  EXPECT_EQ(update.status, 3) << update.err;
  EXPECT_THAT(update.err, HasSubstr("transport fault"));
}

TEST_F(Tools, RefusalsExitWithTheirDocumentedStatus) {
  SimDaemon daemon(kFastTickMs);
  const std::vector<std::pair<std::vector<std::string>, int>> cases = {
      {{"get-node-name", "99"}, 18}, {{"remove-nodes", "2", "99"}, 18}, {{"set-led-blinkings", "99=on"}, 18},
      {{"set-custom-topology-config", "2=99"}, 18},
      {{"start-setup-node", "--mac", "00:24:e7:10:00:99"}, 18},  // not within reach
      {{"start-setup-node", "--mac", "00:24:e7:10:00:02"}, 19},  // already a member
      {{"wireless-join-network", "--mac", "00:24:e7:10:00:03"}, 19},
      {{"start-setup-node", "--mac", "00:24:e7:10:00:06"}, 20},  // incompatible neighbour
      {{"remove-nodes", "1"}, 12},                               // the controller
      {{"set-custom-topology-config", "2=4"}, 12},               // node 4 hangs below node 2
      {{"set-custom-topology-config", "1=2"}, 12},               // the controller has no uplink
  };
  for (const auto& [args, status] : cases) {
    const ToolRun run = Cli(args);
    EXPECT_EQ(run.status, status) << args[0] << " " << args[1] << ": " << run.err;
    EXPECT_EQ(run.out, "") << args[0];
    EXPECT_THAT(run.err, HasSubstr("refused: ")) << args[0];
  }
  // A refused change leaves the mesh as it was.
  ExpectFields(Cli({"list-custom-topology"}), {{"2/uplink", "1"}});
}

// Each way of missing the daemon is told in words on one line, naming the bus and the service;
// the library's nested texts with their source locations come only with --verbose.
TEST_F(Tools, TransportFaultsSayWhichBusAndWhyOnOneLine) {
  TempDir dir;
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"unix:path=" + dir.Join("nobody"), "no bus at this address"},
      // No simulator on it: the bus answers for the missing name.
      {SharedPrivateBus().Address(),
       "the daemon is not running (nobody owns its name on this bus) [Target service does not exist, proxy renewed]"},
  };
  for (const auto& [address, cause] : cases) {
    const ToolRun plain = RunTool(CliPath(), {"--bus", address, "get-node-ids"});
    EXPECT_EQ(plain.status, 3) << address;
    EXPECT_THAT(plain.err, HasSubstr("\"com.velanto.mesh\" on the bus " + address + ": " + cause));
    EXPECT_EQ(std::count(plain.err.begin(), plain.err.end(), '\n'), 1) << plain.err;
    const ToolRun verbose = RunTool(CliPath(), {"--bus", address, "get-node-ids", "--verbose"});
    EXPECT_EQ(verbose.status, 3);
    EXPECT_THAT(verbose.err, HasSubstr(plain.err));
    EXPECT_THAT(verbose.err, HasSubstr("dbus/")) << "the chain keeps its source locations";
  }
}

TEST_F(Tools, BadCommandLinesExitWithStatusTwoAndSayWhy) {
  TempDir dir;
  const std::string malformed = dir.WriteFile("bad.json", R"({"mac": "00:24:e7:10:00:05",)");
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{}, "Usage: orvamesh"}, {{"frob"}, "unknown subcommand 'frob'"},
      {{"--frob", "get-node-ids"}, "unknown option --frob"}, {{"stop-scan", "--follow"}, "unknown option --follow"},
      {{"get-node-name"}, "missing argument"}, {{"get-node-name", "1", "2"}, "unexpected argument '2'"},
      {{"get-node-name", "-1"}, "'-1' is no node id"}, {{"reboot-node", "4294967296"}, "is no node id"},
      {{"start-setup-node"}, "--mac needs a MAC address"},
      {{"switch-debug-log-level", "maybe"}, "'maybe' is no switch value"},
      {{"start-setup-node", "--mac", "00:24:e7:10:00"}, "Field [mac] is not a MAC address"},
      {{"start-setup-node", "--file", malformed}, "bad.json is not valid JSON"},
      {{"start-setup-node", "--file", dir.Join("missing.json")}, "cannot read"},
      {{"start-setup-node", "--data", R"({"mac": 5})"}, "start-setup-node: Field [mac]"},
      {{"notice-wps-result", "--station"}, "--station needs a value"},
      {{"set-led-blinkings", "2"}, "is not of the form ID=VALUE"}, {{"set-led-blinkings"}, "nothing to set"},
      {{"set-led-configs", "2", "--mode", "dim"}, "--mode must be schedule, sleep or normal"},
      {{"set-led-configs", "2", "--schedule", "abc"}, "168 characters"},
      {{"set-led-configs", "--data", R"({"2": {"blinking": true}})"}, "node 2: LED settings"},
      {{"set-led-configs", "--data", R"({"two": {"mode": 2}})"}, "JSON key 'two' is no node id"},
      {{"before-topology-change"}, "missing the change"},
      {{"get-node-ids", "--compact=yes"}, "--compact takes no value"},
      {{"--bus"}, "--bus needs a D-Bus address"},
  };
  for (const auto& [args, message] : cases) {
    const ToolRun run = RunTool(CliPath(), args);
    EXPECT_EQ(run.status, 2) << (args.empty() ? "(none)" : args[0]) << ": " << run.err;
    EXPECT_THAT(run.err, HasSubstr(message)) << (args.empty() ? "(none)" : args[0]);
  }
}

TEST_F(Tools, EverySubcommandExplainsItself) {
  const ToolRun list = RunTool(CliPath(), {"--help"});
  ASSERT_EQ(list.status, 0);
  const std::vector<std::string> names = SubcommandsInHelp("orvamesh", list.out);
  // One subcommand per client operation, named like it (get-5g-backhaul-swapped for
  // Get5GBackhaulSwapped), and topology.
  const auto squeezed = [](const std::string& text) {
    std::string out;
    for (char c : text) out += c == '-' ? "" : std::string(1, static_cast<char>(std::tolower(c)));
    return out;
  };
  std::set<std::string> operations{"topology"}, commands;
#define ORVA_OPERATION(Return, Operation, ...) operations.insert(squeezed(#Operation));
  ORVA_MESH_CLIENT_OPERATIONS(ORVA_OPERATION, ORVA_OPERATION)
#undef ORVA_OPERATION
  for (const auto& name : names) commands.insert(squeezed(name));
  EXPECT_EQ(commands, operations);
}

TEST_F(Tools, TheSimulatorRefusesBadMeshFilesAndASecondInstance) {
  TempDir dir;
  const std::vector<std::pair<std::string, std::string>> files = {
      {"{", "is not valid JSON"},
      {R"({"nodes": [{"id": 1, "mac": "00:24:e7:00:00:01", "role": "RE"}]})", "exactly one node"},
      {R"({"nodes": [{"id": 1, "mac": "00:24:e7:00:00:01", "role": "CAP"},
                     {"id": 2, "mac": "00:24:e7:00:00:02", "role": "RE", "uplink": 3},
                     {"id": 3, "mac": "00:24:e7:00:00:03", "role": "RE", "uplink": 2}]})",
       "does not lead to the controller"},
      {R"({"nodes": [{"id": "one", "mac": "00:24:e7:00:00:01", "role": "CAP"}]})", "nodes[0]"},
  };
  const std::string bus = SharedPrivateBus().Address();
  for (const auto& [content, message] : files) {
    const ToolRun run = RunTool(SimdPath(), {"--bus", bus, dir.WriteFile("mesh.json", content)});
    EXPECT_EQ(run.status, 2) << content;
    EXPECT_THAT(run.err, HasSubstr(message)) << content;
  }
  EXPECT_EQ(RunTool(SimdPath(), {"--tick-ms", "0", ExampleMesh()}).status, 2);

  SimDaemon first(kFastTickMs);
  const ToolRun second = RunTool(SimdPath(), {"--bus", bus, ExampleMesh()});
  EXPECT_EQ(second.status, 1);
  EXPECT_THAT(second.err, HasSubstr("cannot own com.velanto.mesh"));
  EXPECT_EQ(Cli({"get-node-ids"}).status, 0) << "the first keeps serving";
}

}  // namespace
}  // namespace orva::test
