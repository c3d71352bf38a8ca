// The orvamesh command line against orvamesh-simd on a private bus, both run as programs the
// way a user runs them, over the shipped example mesh.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <atomic>
#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "orvamesh/client/mesh_operations.h"
#include "orvamesh/client/mesh_signal_receiver.h"
#include "support/private_bus.h"
#include "support/temp_dir.h"
#include "support/wait_until.h"
#include "tool_session.h"

namespace orva::test {
namespace {

using ::testing::HasSubstr;

constexpr int kFastTickMs = 30;
// Long enough that work started by one command is still running for the next few.
constexpr int kSlowTickMs = 5000;

const std::string kSchedule(168, '1');

class Tools : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_PRIVATE_BUS();
    SharedPrivateBus();
  }
};

struct QueryCase {
  std::vector<std::string> args;
  std::function<void(const Json::Value&)> check;
};

TEST_F(Tools, EveryQueryPrintsTheMeshFileAsJson) {
  SimDaemon daemon(kFastTickMs);
  const std::vector<QueryCase> cases = {
      {{"get-node-ids"}, [](const Json::Value& j) {
         ASSERT_EQ(j.size(), 4u);
         EXPECT_EQ(j[0].asUInt(), 1u);
         EXPECT_EQ(j[3].asUInt(), 4u);
       }},
      {{"get-node-name", "2"}, [](const Json::Value& j) { EXPECT_EQ(j.asString(), "Kitchen"); }},
      {{"get-node-infos"},
       [](const Json::Value& j) {
         EXPECT_EQ(j["1"]["role"].asString(), "CAP");
         EXPECT_EQ(j["3"]["backhaul"].asString(), "ETHERNET");
         EXPECT_EQ(j["4"]["uplink"].asUInt(), 2u);
         EXPECT_FALSE(j["4"]["online"].asBool());
       }},
      {{"get-mesh-system-status"},
       [](const Json::Value& j) {
         EXPECT_TRUE(j["meshReady"].asBool());
         EXPECT_EQ(j["nodeCount"].asUInt(), 4u);
         EXPECT_EQ(j["onlineCount"].asUInt(), 3u);
         EXPECT_FALSE(j["setupInProgress"].asBool());
       }},
      {{"get-scan-result"},
       [](const Json::Value& j) {
         EXPECT_FALSE(j["inProgress"].asBool());
         EXPECT_TRUE(j["candidates"].empty());
       }},
      {{"get-setup-node-progress"}, [](const Json::Value& j) { EXPECT_EQ(j["stage"].asString(), "IDLE"); }},
      {{"get-data-system-utilization"},
       [](const Json::Value& j) {
         // The controller is the simulator's own machine: real figures, not the file's.
         EXPECT_NE(j["00:24:e7:10:00:01"]["memoryTotalKiB"].asUInt64(), 524288u);
         EXPECT_GT(j["00:24:e7:10:00:01"]["uptimeSeconds"].asUInt(), 0u);
         EXPECT_EQ(j["00:24:e7:10:00:02"]["cpuPercent"].asUInt(), 7u);
       }},
      {{"get-data-devices"},
       [](const Json::Value& j) {
         EXPECT_EQ(j["00:24:e7:10:00:01"][1]["hostName"].asString(), "nas");
         EXPECT_TRUE(j["00:24:e7:10:00:04"].empty());
       }},
      {{"get-data-network-info"},
       [](const Json::Value& j) { EXPECT_EQ(j["00:24:e7:10:00:02"]["gateway"].asString(), "192.168.1.1"); }},
      {{"get-data-mesh-topology"},
       [](const Json::Value& j) {
         EXPECT_EQ(j["WIFI_5G"]["00:24:e7:10:00:04"].asString(), "00:24:e7:10:00:02");
         EXPECT_EQ(j["ETHERNET"]["00:24:e7:10:00:03"].asString(), "00:24:e7:10:00:01");
       }},
      {{"get-repeater-macs"},
       [](const Json::Value& j) {
         EXPECT_FALSE(j.isMember("1")) << "the controller is no repeater";
         EXPECT_EQ(j["2"]["device"].asString(), "00:24:e7:10:00:02");
         EXPECT_EQ(j["2"]["guest"].asString(), "02:24:e7:10:00:02");
       }},
      {{"get-repeater-access-infos"},
       [](const Json::Value& j) { EXPECT_EQ(j["3"]["address"].asString(), "fe80::224:e7ff:fe10:3"); }},
      {{"get-debug-log-level"}, [](const Json::Value& j) { EXPECT_FALSE(j.asBool()); }},
      {{"get-region-lock"}, [](const Json::Value& j) { EXPECT_TRUE(j.asBool()); }},
      {{"get-led-blinkings"}, [](const Json::Value& j) { EXPECT_EQ(j.size(), 4u); }},
      {{"get-led-configs", "3"},
       [](const Json::Value& j) {
         ASSERT_EQ(j.size(), 1u);
         EXPECT_EQ(j["3"]["mode"].asInt(), 1);
       }},
      {{"get-ieee1905-to-broadcast"}, [](const Json::Value& j) { EXPECT_FALSE(j.asBool()); }},
      {{"get-5g-backhaul-swapped"}, [](const Json::Value& j) { EXPECT_FALSE(j.asBool()); }},
      {{"get-hyfi-mitigation-enabled"}, [](const Json::Value& j) { EXPECT_FALSE(j.asBool()); }},
      {{"get-node-capabilities"},
       [](const Json::Value& j) {
         ASSERT_EQ(j.size(), 4u);
         EXPECT_EQ(j[3]["nodeId"].asUInt(), 4u);
         EXPECT_EQ(j[3]["features"][0].asString(), "ledSchedule");
       }},
      {{"get-system-update-progress"}, [](const Json::Value& j) { EXPECT_EQ(j["stage"].asString(), "IDLE"); }},
      {{"get-system-update-progress-v2"}, [](const Json::Value& j) { EXPECT_EQ(j["stage"].asString(), "IDLE"); }},
      {{"get-custom-topology-scan-result"}, [](const Json::Value& j) { EXPECT_TRUE(j.empty()); }},
      {{"list-custom-topology"},
       [](const Json::Value& j) {
         EXPECT_EQ(j["4"]["uplink"].asUInt(), 2u);
         EXPECT_FALSE(j["4"]["custom"].asBool());
       }},
      {{"wireless-join-network", "--mac", "00:24:e7:10:00:09", "--serial", "S9"},
       [](const Json::Value& j) {
         EXPECT_EQ(j["nodeId"].asUInt(), 5u);
         EXPECT_EQ(j["meshId"].asString(), "velanto-home");
         EXPECT_EQ(j["controllerAddress"].asString(), "192.168.1.1");
       }},
      {{"ethernet-join-network", "--data", R"({"mac": "00:24:e7:10:00:09"})"},
       [](const Json::Value& j) { EXPECT_EQ(j["credential"].asString(), "sim-00:24:e7:10:00:09"); }},
      {{"topology"},
       [](const Json::Value& j) {
         ASSERT_EQ(j.size(), 1u);
         EXPECT_EQ(j[0]["name"].asString(), "Living room");
         EXPECT_EQ(j[0]["children"].size(), 2u);
         EXPECT_EQ(j[0]["children"][0]["children"][0]["name"].asString(), "Attic");
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args[0]);
    const ToolRun run = Cli(c.args);
    ASSERT_EQ(run.status, 0) << run.err;
    c.check(run.Json());
  }
}

TEST_F(Tools, ActionsWithoutResultPrintNothingAndSucceed) {
  SimDaemon daemon(kFastTickMs);
  const std::vector<std::vector<std::string>> actions = {
      {"stop-scan"},
      {"stop-setup-node"},
      {"notice-wps-result", "--success", "on", "--station", "3c:22:fb:01:02:03", "--interface", "ath1"},
      {"notify-join-return-info-sent"},
      {"reboot-node", "2"},
      {"prepare-restore"},
      {"trigger-synchronize"},
      {"user-confirm-wifi-adjust"},
      {"before-topology-change", R"({"node": 4, "uplink": 3})"},
      {"after-topology-change", "--data", "{}"},
      {"igmp-snooping-pre-change"},
      {"igmp-snooping-post-change"},
      {"trigger-backhaul-status-update"},
  };
  for (const auto& args : actions) {
    const ToolRun run = Cli(args);
    EXPECT_EQ(run.status, 0) << args[0] << ": " << run.err;
    EXPECT_EQ(run.out, "") << args[0];
  }
}

struct ChangeCase {
  std::vector<std::string> change;
  std::vector<std::string> read;
  std::string expected;  // the read's compact JSON
};

TEST_F(Tools, AChangeIsSeenByTheNextCommand) {
  SimDaemon daemon(kFastTickMs);
  const std::vector<ChangeCase> cases = {
      {{"set-node-name", "3", "Study \"2\""}, {"get-node-name", "3"}, R"("Study \"2\"")"},
      {{"switch-debug-log-level", "on"}, {"get-debug-log-level"}, "true"},
      {{"set-ieee1905-to-broadcast", "true"}, {"get-ieee1905-to-broadcast"}, "true"},
      {{"set-5g-backhaul-swapped", "yes"}, {"get-5g-backhaul-swapped"}, "true"},
      // Answered by the library itself: the daemon never hears of it.
      {{"set-hyfi-mitigation-enabled", "on"}, {"get-hyfi-mitigation-enabled"}, "false"},
      {{"set-led-blinkings", "2=on", "3=off"}, {"get-led-blinkings", "2", "3"}, R"({"2":true,"3":false})"},
      // Only the named setting changes; node 3 keeps its sleep mode.
      {{"set-led-configs", "3", "--blinking", "on"},
       {"get-led-configs", "3"},
       R"({"3":{"blinking":true,"mode":1,"schedule":""}})"},
      {{"set-led-configs", "--data", R"({"2": {"blinking": false, "mode": 0, "schedule": ")" + kSchedule + "\"}}"},
       {"get-led-configs", "2"},
       R"({"2":{"blinking":false,"mode":0,"schedule":")" + kSchedule + "\"}}"},
      {{"set-custom-topology-config", "4=3:ethernet"},
       {"list-custom-topology"},
       R"({"2":{"backhaul":"WIFI_5G","custom":false,"uplink":1},"3":{"backhaul":"ETHERNET","custom":false,"uplink":1},)"
       R"("4":{"backhaul":"ETHERNET","custom":true,"uplink":3}})"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.change[0]);
    const ToolRun change = Cli(c.change);
    ASSERT_EQ(change.status, 0) << change.err;
    std::vector<std::string> read = c.read;
    read.insert(read.begin(), "--compact");
    const ToolRun after = Cli(read);
    ASSERT_EQ(after.status, 0) << after.err;
    EXPECT_EQ(after.out, c.expected + "\n");
  }
}

TEST_F(Tools, ChangesAreAnnouncedWithTheDummySignal) {
  SimDaemon daemon(kFastTickMs);
  struct Spec : ORVA::MESH::SDK::Client::SignalHandleSpec {
    std::atomic<int> count{0};
    std::function<void()> GetDummyHandler() override {
      return [this] { ++count; };
    }
  };
  auto spec = std::make_shared<Spec>();
  auto receiver = ORVA::MESH::SDK::Client::MeshSignalReceiverFactory::GetReceiver(spec);
  std::thread loop([&] { receiver->StartReceiving(); });
  // The receiver subscribes from its own thread: keep renaming until one change is heard.
  int round = 0;
  const bool heard = WaitUntil([&] {
    Cli({"set-node-name", "2", "Kitchen " + std::to_string(++round)});
    return spec->count.load() > 0;
  });
  receiver->StopReceiving();
  loop.join();
  EXPECT_TRUE(heard);
}

TEST_F(Tools, ANodeSetupFollowedToTheEndJoinsTheNode) {
  SimDaemon daemon(kFastTickMs);
  const ToolRun setup = Cli({"start-setup-node", "--mac", "00:24:e7:10:00:05", "--name", "Study", "--link", "ethernet", "--follow"});
  ASSERT_EQ(setup.status, 0) << setup.err;
  // Plain lines when not on a terminal, never going backwards, ending with DONE.
  EXPECT_THAT(setup.out, HasSubstr("DONE 100%\n"));
  EXPECT_EQ(setup.out.substr(setup.out.size() - 10), "DONE 100%\n");
  int last = -1;
  for (size_t at = 0; (at = setup.out.find(' ', at)) != std::string::npos; ++at) {
    const int percent = std::stoi(setup.out.substr(at + 1));
    EXPECT_GE(percent, last);
    last = percent;
  }
  const Json::Value nodes = Cli({"get-node-infos"}).Json();
  EXPECT_EQ(nodes["5"]["name"].asString(), "Study");
  EXPECT_EQ(nodes["5"]["serial"].asString(), "VX10B2000005") << "taken from the scanned neighbour";
  EXPECT_EQ(Cli({"get-setup-node-progress"}).Json()["nodeId"].asUInt(), 5u);
  EXPECT_EQ(Cli({"start-setup-node", "--mac", "00:24:e7:10:00:05"}).status, 19) << "NODE_ALREADY_EXIST";
}

// --follow waits for the work to be over and prints the last result, which must already say so.
TEST_F(Tools, FollowedScansAndRemovalsPrintTheirOutcome) {
  SimDaemon daemon(kFastTickMs);
  struct Case {
    std::vector<std::string> args;
    std::function<void(const Json::Value&)> check;
  };
  const std::vector<Case> cases = {
      {{"start-scan", "--follow"},
       [](const Json::Value& r) {
         EXPECT_FALSE(r["inProgress"].asBool());
         EXPECT_FALSE(r["candidates"].empty());
       }},
      {{"trigger-custom-topology-scan", "3", "--follow"},
       [](const Json::Value& r) {
         ASSERT_TRUE(r.isMember("3"));
         EXPECT_TRUE(r["3"]["done"].asBool());
         EXPECT_FALSE(r["3"]["uplinkQuality"].empty());
       }},
      {{"remove-nodes", "4", "--follow"},
       [](const Json::Value& r) { EXPECT_FALSE(r["removalInProgress"].asBool()); }},
  };
  for (const Case& c : cases) {
    const ToolRun run = Cli(c.args);
    ASSERT_EQ(run.status, 0) << c.args[0] << ": " << run.err;
    c.check(run.Json());
  }
  EXPECT_FALSE(Cli({"get-node-infos"}).Json().isMember("4")) << "removed when the follow ended";
}

TEST_F(Tools, LongOperationsRunToTheirEnd) {
  SimDaemon daemon(kFastTickMs);
  const ToolRun update = Cli({"start-system-update", "--follow"});
  ASSERT_EQ(update.status, 0) << update.err;
  EXPECT_THAT(update.out, HasSubstr("DOWNLOADING"));
  for (const auto& id : {"1", "3"}) EXPECT_EQ(Cli({"get-node-infos"}).Json()[id]["firmwareVersion"].asString(), "5.2.1");
  EXPECT_EQ(Cli({"get-system-update-progress-v2"}).Json()["nodePercent"]["4"].asUInt(), 100u);
  EXPECT_TRUE(Cli({"get-system-update-progress"}).Json()["nodePercent"].empty()) << "the first form has no per-node share";

  ASSERT_EQ(Cli({"start-scan"}).status, 0);
  ASSERT_TRUE(WaitUntil([] { return !Cli({"get-scan-result"}).Json()["inProgress"].asBool(); }));
  const Json::Value scan = Cli({"get-scan-result"}).Json();
  ASSERT_EQ(scan["candidates"].size(), 2u);
  EXPECT_FALSE(scan["candidates"][1]["compatible"].asBool());

  ASSERT_EQ(Cli({"trigger-custom-topology-scan", "2"}).status, 0);
  ASSERT_TRUE(WaitUntil([] { return Cli({"get-custom-topology-scan-result"}).Json()["2"]["done"].asBool(); }));
  const Json::Value uplinks = Cli({"get-custom-topology-scan-result"}).Json()["2"]["uplinkQuality"];
  EXPECT_TRUE(uplinks.isMember("1") && uplinks.isMember("3"));
  EXPECT_FALSE(uplinks.isMember("4")) << "node 4 hangs below node 2";

  // Removing node 2 hands its child to the controller.
  ASSERT_EQ(Cli({"remove-nodes", "2"}).status, 0);
  ASSERT_TRUE(WaitUntil([] { return Cli({"get-node-ids", "--compact"}).out == "[1,3,4]\n"; }));
  EXPECT_EQ(Cli({"list-custom-topology"}).Json()["4"]["uplink"].asUInt(), 1u);
}

struct ConflictCase {
  std::vector<std::string> start;
  int busyStatus;  // what every other long operation gets meanwhile
  const char* busyName;
};

TEST_F(Tools, WorkInProgressRefusesConflictingCallsWithItsStatus) {
  const std::vector<ConflictCase> cases = {
      {{"start-setup-node", "--mac", "00:24:e7:10:00:05"}, 13, "SETUP_IN_PROGRESS"},
      {{"remove-nodes", "3"}, 14, "REMOVAL_IN_PROGRESS"},
      {{"start-scan"}, 15, "SCANNING_IN_PROGRESS"},
      {{"trigger-custom-topology-scan"}, 15, "SCANNING_IN_PROGRESS"},
      {{"start-system-update"}, 16, "UPGRADE_IN_PROGRESS"},
  };
  const std::vector<std::vector<std::string>> conflicting = {
      {"start-scan"},
      {"start-setup-node", "--mac", "00:24:e7:10:00:05"},
      {"remove-nodes", "2"},
      {"start-system-update"},
      {"trigger-custom-topology-scan", "2"},
      {"set-custom-topology-config", "4=1"},
      {"prepare-restore"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.start[0]);
    SimDaemon daemon(kSlowTickMs);
    ASSERT_EQ(Cli(c.start).status, 0);
    for (const auto& other : conflicting) {
      const ToolRun run = Cli(other);
      EXPECT_EQ(run.status, c.busyStatus) << other[0];
      EXPECT_THAT(run.err, HasSubstr(c.busyName)) << other[0];
    }
    EXPECT_EQ(Cli({"set-node-name", "2", "Still here"}).status, 0) << "plain settings are never refused";
  }
}

TEST_F(Tools, StoppingASetupEndsItsFollower) {
  SimDaemon daemon(kSlowTickMs);
  ToolRun follow;
  std::thread follower([&] { follow = Cli({"start-setup-node", "--mac", "00:24:e7:10:00:05", "--follow"}); });
  ASSERT_TRUE(WaitUntil([] { return Cli({"get-mesh-system-status"}).Json()["setupInProgress"].asBool(); }));
  EXPECT_EQ(Cli({"stop-setup-node"}).status, 0);
  follower.join();
  EXPECT_EQ(follow.status, 1);
  EXPECT_THAT(follow.err, HasSubstr("stopped"));
  EXPECT_EQ(Cli({"start-scan"}).status, 0) << "the mesh is free again";
}

TEST_F(Tools, RefusalsExitWithTheirDocumentedStatus) {
  SimDaemon daemon(kFastTickMs);
  const std::vector<std::pair<std::vector<std::string>, int>> cases = {
      {{"get-node-name", "99"}, 18},
      {{"set-node-name", "99", "x"}, 18},
      {{"remove-nodes", "2", "99"}, 18},
      {{"reboot-node", "99"}, 18},
      {{"get-led-blinkings", "1", "99"}, 18},
      {{"get-led-configs", "99"}, 18},
      {{"set-led-blinkings", "99=on"}, 18},
      {{"set-led-configs", "99", "--mode", "sleep"}, 18},
      {{"trigger-custom-topology-scan", "99"}, 18},
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
  EXPECT_EQ(Cli({"list-custom-topology"}).Json()["2"]["uplink"].asUInt(), 1u);
}

TEST_F(Tools, AKilledDaemonIsATransportFaultUntilItIsBack) {
  SimDaemon daemon(kFastTickMs);
  daemon.Kill();
  const ToolRun lost = Cli({"get-node-ids"});
  EXPECT_EQ(lost.status, 3);
  EXPECT_THAT(lost.err, HasSubstr("transport fault"));
  // Once the bus has noticed, the fault names the missing daemon.
  ToolRun gone;
  EXPECT_TRUE(WaitUntil([&] {
    gone = Cli({"get-node-ids"});
    return gone.err.find("Target service does not exist, proxy renewed") != std::string::npos;
  })) << gone.err;
  EXPECT_EQ(gone.status, 3);
  daemon.Restart();
  EXPECT_EQ(Cli({"get-node-ids"}).status, 0);
}

TEST_F(Tools, AFollowerSeesTheTransportFaultWhenTheDaemonDies) {
  SimDaemon daemon(kSlowTickMs);
  ToolRun follow;
  std::thread follower([&] { follow = Cli({"start-system-update", "--follow"}); });
  ASSERT_TRUE(WaitUntil([] { return Cli({"get-mesh-system-status"}).Json()["upgradeInProgress"].asBool(); }));
  daemon.Kill();
  follower.join();
  // Killed before or after its first poll: either way the transport fault, never a hang.
  EXPECT_EQ(follow.status, 3) << follow.err;
  EXPECT_THAT(follow.err, HasSubstr("transport fault"));
}

// Each way of missing the daemon is told in words on one line, naming the bus and the service;
// the library's nested texts with their source locations come only with --verbose.
TEST_F(Tools, TransportFaultsSayWhichBusAndWhyOnOneLine) {
  TempDir dir;
  PrivateBus stopped;
  const std::string stoppedAddress = stopped.Address();
  stopped.Kill();
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"unix:path=" + dir.Join("nobody"), "no bus at this address"},
      {stoppedAddress, "no bus at this address"},
      {SharedPrivateBus().Address(), "the daemon is not running"},  // no simulator on it
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
      {{}, "Usage: orvamesh"},
      {{"frob"}, "unknown subcommand 'frob'"},
      {{"--frob", "get-node-ids"}, "unknown option --frob"},
      {{"get-node-name"}, "missing argument"},
      {{"get-node-name", "1", "2"}, "unexpected argument '2'"},
      {{"get-node-name", "kitchen"}, "'kitchen' is no node id"},
      {{"get-node-name", "-1"}, "'-1' is no node id"},
      {{"reboot-node", "4294967296"}, "is no node id"},
      {{"switch-debug-log-level", "maybe"}, "'maybe' is no switch value"},
      {{"stop-scan", "--follow"}, "unknown option --follow"},
      {{"start-setup-node"}, "--mac needs a MAC address"},
      {{"start-setup-node", "--mac", "00:24:e7:10:00"}, "Field [mac] is not a MAC address"},
      {{"start-setup-node", "--mac", "00:24:e7:10:00:05", "--link", "carrier-pigeon"}, "Field [link] is not a known name (one of NONE, ETHERNET, WIFI_2G, WIFI_5G, WIFI_6G)"},
      {{"start-setup-node", "--file", malformed}, "bad.json is not valid JSON"},
      {{"start-setup-node", "--file", dir.Join("missing.json")}, "cannot read"},
      {{"start-setup-node", "--data", R"({"mac": 5})"}, "start-setup-node: Field [mac]"},
      {{"start-setup-node", "--data", "[]"}, "must be an object"},
      {{"notice-wps-result", "--station", "3c:22:fb:01:02:03", "--success", "sometimes"}, "--success"},
      {{"notice-wps-result", "--station"}, "--station needs a value"},
      {{"set-led-blinkings", "2"}, "is not of the form ID=VALUE"},
      {{"set-led-blinkings"}, "nothing to set"},
      {{"set-led-configs", "2", "--mode", "dim"}, "--mode must be schedule, sleep or normal"},
      {{"set-led-configs", "2", "--schedule", "abc"}, "168 characters"},
      {{"set-led-configs", "--data", R"({"2": {"blinking": true}})"}, "node 2: LED settings"},
      {{"set-led-configs", "--data", R"({"two": {"mode": 2}})"}, "JSON key 'two' is no node id"},
      {{"set-custom-topology-config", "4=3:fast"}, "'4=3:fast': Field [backhaul]"},
      {{"before-topology-change", "{"}, "the argument is not valid JSON"},
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
  std::vector<std::string> names;
  for (size_t at = list.out.find("Subcommands:\n"); (at = list.out.find("\n  ", at)) != std::string::npos;) {
    at += 3;
    const std::string name = list.out.substr(at, list.out.find(' ', at) - at);
    if (name.empty() || !std::islower(static_cast<unsigned char>(name[0]))) break;
    names.push_back(name);
  }
  // One subcommand per client operation, named like it (get-5g-backhaul-swapped for
  // Get5GBackhaulSwapped), and topology.
  const auto squeezed = [](const std::string& text) {
    std::string out;
    for (char c : text) {
      if (c != '-') out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return out;
  };
  std::set<std::string> operations{"topology"}, commands;
#define ORVA_OPERATION(Return, Operation, ...) operations.insert(squeezed(#Operation));
  ORVA_MESH_CLIENT_OPERATIONS(ORVA_OPERATION, ORVA_OPERATION)
#undef ORVA_OPERATION
  for (const auto& name : names) commands.insert(squeezed(name));
  EXPECT_EQ(commands, operations);
  for (const auto& name : names) {
    const ToolRun help = RunTool(CliPath(), {name, "--help"});
    EXPECT_EQ(help.status, 0) << name;
    EXPECT_THAT(help.out, HasSubstr("orvamesh [--bus ADDRESS] [--compact] [--verbose] " + name)) << name;
    EXPECT_THAT(help.out, HasSubstr("18  NODE_NOT_EXIST")) << name;
  }
}

TEST_F(Tools, TopologyDrawsAGraphvizGraph) {
  SimDaemon daemon(kFastTickMs);
  ASSERT_EQ(Cli({"set-node-name", "3", "Dad's \"den\""}).status, 0);
  const ToolRun dot = Cli({"topology", "--dot"});
  ASSERT_EQ(dot.status, 0) << dot.err;
  EXPECT_EQ(dot.out.rfind("digraph mesh {\n", 0), 0u);
  EXPECT_THAT(dot.out, HasSubstr("  n2 -> n4 [label=\"WIFI_5G 55\"];\n"));
  EXPECT_THAT(dot.out, HasSubstr("Dad's \\\"den\\\""));
  EXPECT_THAT(dot.out, HasSubstr("n4 [label=\"Attic\\nRE 4, VX-500-EU\", style=\"rounded,dashed\"]"));
  EXPECT_EQ(dot.out.substr(dot.out.size() - 2), "}\n");
}

TEST_F(Tools, TheSimulatorRefusesBadMeshFilesAndASecondInstance) {
  TempDir dir;
  const std::vector<std::pair<std::string, std::string>> files = {
      {"{", "is not valid JSON"},
      {R"({"nodes": []})", "at least one node"},
      {R"({"nodes": [{"id": 1, "mac": "00:24:e7:00:00:01", "role": "RE"}]})", "exactly one node"},
      {R"({"nodes": [{"id": 1, "mac": "00:24:e7:00:00:01", "role": "CAP"},
                     {"id": 1, "mac": "00:24:e7:00:00:02", "role": "RE", "uplink": 1}]})", "duplicate id 1"},
      {R"({"nodes": [{"id": 1, "mac": "00:24:e7:00:00:01", "role": "CAP"},
                     {"id": 2, "mac": "00:24:e7:00:00:02", "role": "RE", "uplink": 3},
                     {"id": 3, "mac": "00:24:e7:00:00:03", "role": "RE", "uplink": 2}]})", "does not lead to the controller"},
      {R"({"nodes": [{"id": 1, "mac": "00:24:e7:00:00:01", "role": "CAP", "led": {"mode": 7}}]})", "invalid \"led\""},
      {R"({"nodes": [{"id": "one", "mac": "00:24:e7:00:00:01", "role": "CAP"}]})", "nodes[0]"},
      {R"({"nodes": [{"id": 1, "mac": "00:24:e7:00:00:01", "role": "BOSS"}]})", "one of UNKNOWN, CAP, RE"},
      {R"({"nodes": [{"id": 1, "mac": "00:24:e7:00:00:01", "role": "CAP", "uplnk": 0}]})", "Unknown field [uplnk]"},
  };
  for (const auto& [content, message] : files) {
    const ToolRun run = RunTool(SimdPath(), {"--bus", SharedPrivateBus().Address(), dir.WriteFile("mesh.json", content)});
    EXPECT_EQ(run.status, 2) << content;
    EXPECT_THAT(run.err, HasSubstr(message)) << content;
  }
  EXPECT_EQ(RunTool(SimdPath(), {}).status, 2);
  EXPECT_EQ(RunTool(SimdPath(), {"--tick-ms", "0", ExampleMesh()}).status, 2);

  SimDaemon first(kFastTickMs);
  const ToolRun second = RunTool(SimdPath(), {"--bus", SharedPrivateBus().Address(), ExampleMesh()});
  EXPECT_EQ(second.status, 1);
  EXPECT_THAT(second.err, HasSubstr("cannot own com.velanto.mesh"));
  EXPECT_EQ(Cli({"get-node-ids"}).status, 0) << "the first keeps serving";
}

}  // namespace
}  // namespace orva::test
