// The mesh client against a daemon on the generated skeleton, over a private dbus-daemon.
#include <gtest/gtest.h>

#include <boost/archive/archive_exception.hpp>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "orvamesh/client/mesh_client.h"
#include "orvamesh/client/mesh_signal_receiver.h"
#include "orvamesh/base/exception.h"
#include "support/mesh_samples.h"
#include "support/mesh_test_daemon.h"
#include "support/private_bus.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Client;
using orva::test::MeshTestDaemon;
namespace sample = orva::test::sample;

MeshTestDaemon& Daemon() {
  orva::test::SharedPrivateBus();
  static MeshTestDaemon daemon;
  return daemon;
}

struct Caught {
  std::string outer;
  std::string inner;
  std::exception_ptr nested;
};

// Runs `call`, which must throw MeshClientException with a nested cause.
Caught CatchWrapped(const std::function<void()>& call) {
  Caught caught;
  try {
    call();
    ADD_FAILURE() << "no exception";
  } catch (const Exception::MeshClientException& e) {
    caught.outer = e.what();
    try {
      std::rethrow_if_nested(e);
      ADD_FAILURE() << "nothing nested in: " << e.what();
    } catch (const std::exception& inner) {
      caught.inner = inner.what();
      caught.nested = std::current_exception();
    }
  }
  return caught;
}

class MeshClientOverBus : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_PRIVATE_BUS();
    daemon_ = &Daemon();
    daemon_->SetMode(MeshTestDaemon::Mode::kAnswer);
    if (!daemon_->Joined()) daemon_->Join();
    client_ = MeshClientFactory::GetClient();
  }

  template <typename T, typename Call>
  void ExpectResult(const std::string& method, const T& value, Call call) {
    daemon_->SetArchiveReply(method, value);
    const auto result = call();
    EXPECT_EQ(result.first, ERROR_CODE::NONE) << method;
    EXPECT_TRUE(result.second == value) << method;
  }

  template <typename T>
  T Sent(const std::string& method) {
    return Dbus::GVariantToObject<T>(daemon_->LastByteArgument(method));
  }

  MeshTestDaemon* daemon_ = nullptr;
  std::shared_ptr<MeshClient> client_;
};

TEST_F(MeshClientOverBus, GetClientHandsOutOneObject) {
  EXPECT_EQ(MeshClientFactory::GetClient().get(), client_.get());
}

TEST_F(MeshClientOverBus, ResultsArriveAsTheDaemonSentThem) {
  auto& c = *client_;
  daemon_->SetReply("GetNodeName", g_variant_new("(s)", "Kitchen"));
  EXPECT_EQ(c.GetNodeName(7), Result<std::string>(ERROR_CODE::NONE, "Kitchen"));

  ExpectResult("GetScanResult", sample::Scan(), [&] { return c.GetScanResult(); });
  ExpectResult("GetMeshSystemStatus", MeshSystemStatus{true, false, true, false, true, 4, 3},
               [&] { return c.GetMeshSystemStatus(); });
  ExpectResult("GetSetupNodeProgress", sample::Setup(), [&] { return c.GetSetupNodeProgress(); });
  const JoinReturnInfo joined{9, "mesh-1", "secret", "fe80::1"};
  ExpectResult("WirelessJoinNetwork", joined, [&] { return c.WirelessJoinNetwork(sample::Join()); });
  ExpectResult("EthernetJoinNetwork", joined, [&] { return c.EthernetJoinNetwork(sample::Join()); });
  ExpectResult("GetDataSystemUtilization", SystemUtilizationMap{{"SN1", {55, 1 << 20, 1 << 19, 3600}}},
               [&] { return c.GetDataSystemUtilization(); });
  ExpectResult("GetDataDevices",
               DevicesMap{{"SN1", {{sample::MacNo(0x30), "phone", "192.168.1.9", "ath0", true, -50}}},
                          {"SN2", {}}},
               [&] { return c.GetDataDevices(); });
  ExpectResult("GetDataNetworkInfo",
               NetworkInfoMap{{"SN1", {"192.168.1.1", "255.255.255.0", "192.168.1.254", {"9.9.9.9"}, {"2001:db8::1"}}}},
               [&] { return c.GetDataNetworkInfo(); });
  ExpectResult("GetDataMeshTopology",
               MeshTopologyMap{{"wifi", {{sample::MacNo(2), sample::MacNo(1)}, {sample::MacNo(3), sample::MacNo(2)}}}},
               [&] { return c.GetDataMeshTopology(); });
  ExpectResult("GetNodeIds", NodeIdList{1, 2, 0xffffffffu}, [&] { return c.GetNodeIds(); });
  ExpectResult("GetNodeInfos", sample::Nodes(5), [&] { return c.GetNodeInfos(); });
  ExpectResult("GetRepeaterMacs",
               NodeMACInfoMap{{2, {sample::MacNo(2), sample::MacNo(3), sample::MacNo(4), sample::MacNo(5)}}},
               [&] { return c.GetRepeaterMacs(); });
  ExpectResult("GetRepeaterAccessInfos", RepeaterAccessInfoMap{{2, {"fe80::2", "br-lan", "root", 2222}}},
               [&] { return c.GetRepeaterAccessInfos(); });
  ExpectResult("GetSystemUpdateProgress", sample::Update(), [&] { return c.GetSystemUpdateProgress(); });
  ExpectResult("GetSystemUpdateProgressV2", SystemUpdateProgress{UPDATE_STAGE::DONE, 100, "5.3.0", {}, ERROR_CODE::NONE},
               [&] { return c.GetSystemUpdateProgressV2(); });
  ExpectResult("GetLedBlinkings", LedBlinkingMap{{1, true}, {2, false}}, [&] { return c.GetLedBlinkings({1, 2}); });
  ExpectResult("GetLedConfigs", LedConfigMap{{1, sample::Led(true)}, {2, sample::Led(false)}},
               [&] { return c.GetLedConfigs({1, 2}); });
  ExpectResult("GetNodeCapabilities", NodeCapabilityList{{1, {"ledSchedule"}}, {2, {}}},
               [&] { return c.GetNodeCapabilities(); });
  ExpectResult("GetCustomTopologyScanResult", CustomTopologyScanResultMap{{3, {true, {{1, 80}, {2, 40}}}}},
               [&] { return c.GetCustomTopologyScanResult(); });
  ExpectResult("ListCustomTopology", CustomTopologyListMap{{3, {2, BACKHAUL_TYPE::WIFI_5G, true}}},
               [&] { return c.ListCustomTopology(); });

  const std::vector<std::pair<std::string, std::function<Result<bool>()>>> flags = {
      {"GetDebugLogLevel", [&] { return c.GetDebugLogLevel(); }},
      {"GetRegionLock", [&] { return c.GetRegionLock(); }},
      {"GetIeee1905ToBroadcast", [&] { return c.GetIeee1905ToBroadcast(); }},
      {"Get5GBackhaulSwapped", [&] { return c.Get5GBackhaulSwapped(); }},
  };
  for (const auto& [method, call] : flags) {
    for (const bool value : {true, false}) {
      daemon_->SetReply(method, g_variant_new("(b)", value));
      EXPECT_EQ(call(), Result<bool>(ERROR_CODE::NONE, value)) << method;
    }
  }
}

TEST_F(MeshClientOverBus, ArgumentsArriveAsTheClientSentThem) {
  auto& c = *client_;
  ASSERT_EQ(c.RemoveNodes({3, 4}), ERROR_CODE::NONE);
  EXPECT_EQ(Sent<NodeIdList>("RemoveNodes"), (NodeIdList{3, 4}));
  const SetupNodeInfo setup{sample::MacNo(0x10), "SN9", BACKHAUL_TYPE::ETHERNET, "Hall"};
  ASSERT_EQ(c.StartSetupNode(setup), ERROR_CODE::NONE);
  EXPECT_EQ(Sent<SetupNodeInfo>("StartSetupNode"), setup);
  const WPSResultInfo wps{true, sample::MacNo(0x40), "ath1"};
  ASSERT_EQ(c.NoticeWPSResult(wps), ERROR_CODE::NONE);
  EXPECT_EQ(Sent<WPSResultInfo>("NoticeWPSResult"), wps);
  daemon_->SetArchiveReply("EthernetJoinNetwork", JoinReturnInfo{});
  ASSERT_EQ(c.EthernetJoinNetwork(sample::Join()).first, ERROR_CODE::NONE);
  EXPECT_EQ(Sent<JoinNetworkInfo>("EthernetJoinNetwork"), sample::Join());
  daemon_->SetArchiveReply("GetLedConfigs", LedConfigMap{});
  ASSERT_EQ(c.GetLedConfigs({8, 9}).first, ERROR_CODE::NONE);
  EXPECT_EQ(Sent<NodeIdList>("GetLedConfigs"), (NodeIdList{8, 9}));
  ASSERT_EQ(c.SetLedBlinkings({{1, true}}), ERROR_CODE::NONE);
  EXPECT_EQ(Sent<LedBlinkingMap>("SetLedBlinkings"), (LedBlinkingMap{{1, true}}));
  ASSERT_EQ(c.SetLedConfigs({{2, sample::Led(true)}}), ERROR_CODE::NONE);
  EXPECT_EQ(Sent<LedConfigMap>("SetLedConfigs"), (LedConfigMap{{2, sample::Led(true)}}));
  ASSERT_EQ(c.TriggerCustomTopologyScan({}), ERROR_CODE::NONE);
  EXPECT_TRUE(Sent<NodeIdList>("TriggerCustomTopologyScan").empty());
  const CustomTopologySetMap topology{{3, {1, BACKHAUL_TYPE::ETHERNET}}};
  ASSERT_EQ(c.SetCustomTopologyConfig(topology), ERROR_CODE::NONE);
  EXPECT_EQ(Sent<CustomTopologySetMap>("SetCustomTopologyConfig"), topology);

  // The topology-change calls carry JSON text, not an archive.
  Json::Value change;
  change["nodes"][0] = 3;
  ASSERT_EQ(c.BeforeTopologyChange(change), ERROR_CODE::NONE);
  ASSERT_EQ(c.AfterTopologyChange(Json::Value("after")), ERROR_CODE::NONE);
  EXPECT_EQ(Dbus::GVariantAYUnwrapper(daemon_->LastByteArgument("BeforeTopologyChange")).Unwrap(),
            change.toStyledString());
  EXPECT_EQ(Dbus::GVariantAYUnwrapper(daemon_->LastByteArgument("AfterTopologyChange")).Unwrap(),
            Json::Value("after").toStyledString());

  auto arguments = [&](const char* method) {
    GVariant* tuple = daemon_->LastArguments(method);
    gchar* text = g_variant_print(tuple, FALSE);
    std::string printed = text;
    g_free(text);
    g_variant_unref(tuple);
    return printed;
  };
  ASSERT_EQ(c.SetNodeName(6, "Attic \"east\""), ERROR_CODE::NONE);
  EXPECT_EQ(arguments("SetNodeName"), "(6, 'Attic \"east\"')");
  ASSERT_EQ(c.RebootNode(0xfffffffeu), ERROR_CODE::NONE);
  EXPECT_EQ(arguments("RebootNode"), "(4294967294,)");
  ASSERT_EQ(c.SwitchDebugLogLevel(true), ERROR_CODE::NONE);
  EXPECT_EQ(arguments("SwitchDebugLogLevel"), "(true,)");
  ASSERT_EQ(c.SetIeee1905ToBroadcast(false), ERROR_CODE::NONE);
  EXPECT_EQ(arguments("SetIeee1905ToBroadcast"), "(false,)");
  ASSERT_EQ(c.Set5GBackhaulSwapped(true), ERROR_CODE::NONE);
  EXPECT_EQ(arguments("Set5GBackhaulSwapped"), "(true,)");
}

TEST_F(MeshClientOverBus, OperationsWithoutPayloadCallTheirMethodOnce) {
  auto& c = *client_;
  const std::vector<std::pair<std::string, std::function<ERROR_CODE()>>> table = {
      {"StartScan", [&] { return c.StartScan(); }},
      {"StopScan", [&] { return c.StopScan(); }},
      {"StopSetupNode", [&] { return c.StopSetupNode(); }},
      {"NotifyJoinReturnSent", [&] { return c.NotifyJoinReturnInfoSent(); }},
      {"IgmpSnoopingPreChange", [&] { return c.IgmpSnoopingPreChange(); }},
      {"IgmpSnoopingPostChange", [&] { return c.IgmpSnoopingPostChange(); }},
      {"StartSystemUpdate", [&] { return c.StartSystemUpdate(); }},
      {"PrepareRestore", [&] { return c.PrepareRestore(); }},
      {"TriggerSynchronize", [&] { return c.TriggerSynchronize(); }},
      {"UserConfirmWifiAdjust", [&] { return c.UserConfirmWifiAdjust(); }},
      {"TriggerBackhaulStatusUpdate", [&] { return c.TriggerBackhaulStatusUpdate(); }},
  };
  for (const auto& [method, call] : table) {
    const int before = daemon_->Calls(method);
    EXPECT_EQ(call(), ERROR_CODE::NONE) << method;
    EXPECT_EQ(daemon_->Calls(method), before + 1) << method;
  }
}

TEST_F(MeshClientOverBus, EveryRefusalArrivesAsItsClientCodeAndNeverAsAnException) {
  // Raw 0 is the "None" row: a refusal all the same, whose payload never came. UNKNOWN_ERROR
  // (1) has no row of its own on the bus.
  for (uint16_t raw : {0, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}) {
    const auto code = static_cast<ERROR_CODE>(raw);
    daemon_->RefuseWith(code);
    EXPECT_EQ(client_->StartScan(), code) << raw;
    const auto nodes = client_->GetNodeInfos();
    EXPECT_EQ(nodes.first, code) << raw;
    EXPECT_TRUE(nodes.second.empty());
    EXPECT_EQ(client_->GetNodeName(1), Result<std::string>(code, "")) << raw;
    EXPECT_EQ(client_->GetRegionLock(), Result<bool>(code, false)) << raw;
    EXPECT_EQ(client_->WirelessJoinNetwork(sample::Join()).first, code) << raw;
    EXPECT_EQ(client_->GetLedConfigs({1}).first, code) << raw;
  }
}

TEST_F(MeshClientOverBus, AnErrorOfAForeignDomainIsANestedExceptionNotACode) {
  daemon_->SetMode(MeshTestDaemon::Mode::kForeignError);
  const Caught caught = CatchWrapped([&] { client_->StopScan(); });
  EXPECT_EQ(caught.outer.rfind("client/mesh_client:StopScan:", 0), 0u) << caught.outer;
  EXPECT_NE(caught.outer.find(": Unhandled exception, underlying exception wrapped in std::nested_exception"),
            std::string::npos);
  EXPECT_EQ(caught.inner.rfind("dbus/gdbus_proxy_wrapper:InvokeMethod:", 0), 0u) << caught.inner;
  EXPECT_NE(caught.inner.find("Unmatched domain error received: [7][an error nobody registered]"),
            std::string::npos)
      << caught.inner;
}

TEST_F(MeshClientOverBus, AnUndecodablePayloadIsANestedArchiveException) {
  daemon_->SetMode(MeshTestDaemon::Mode::kGarbage);
  const Caught caught = CatchWrapped([&] { client_->GetNodeInfos(); });
  ASSERT_TRUE(caught.nested);
  EXPECT_THROW(std::rethrow_exception(caught.nested), boost::archive::archive_exception);
  daemon_->SetMode(MeshTestDaemon::Mode::kAnswer);
  daemon_->SetArchiveReply("GetNodeInfos", sample::Nodes(2));
  EXPECT_EQ(client_->GetNodeInfos().second, sample::Nodes(2));
}

TEST_F(MeshClientOverBus, AnAbsentDaemonCostsOneFailedCallPerAttemptAndNothingAfterItsReturn) {
  ASSERT_EQ(client_->StartScan(), ERROR_CODE::NONE);
  daemon_->Leave();
  for (int attempt = 0; attempt < 2; ++attempt) {
    const Caught caught = CatchWrapped([&] { client_->StartScan(); });
    EXPECT_EQ(caught.outer.rfind("client/mesh_client:StartScan:", 0), 0u) << caught.outer;
    EXPECT_EQ(caught.inner.rfind("dbus/gdbus_client:InvokeMethod:", 0), 0u) << caught.inner;
    EXPECT_NE(caught.inner.find(": Target service does not exist, proxy renewed"), std::string::npos);
  }
  // Answered locally, so the missing daemon does not matter.
  EXPECT_EQ(client_->GetHyfiMitigationEnabled(), Result<bool>(ERROR_CODE::NONE, false));
  EXPECT_EQ(client_->SetHyfiMitigationEnabled(true), ERROR_CODE::NONE);
  EXPECT_EQ(client_->GetHyfiMitigationEnabled(), Result<bool>(ERROR_CODE::NONE, false));

  daemon_->Join();
  EXPECT_EQ(client_->StartScan(), ERROR_CODE::NONE);
}

TEST_F(MeshClientOverBus, ConcurrentCallersAreServedOneAfterAnother) {
  daemon_->SetReply("GetNodeName", g_variant_new("(s)", "Shared"));
  std::atomic<int> good{0};
  std::atomic<int> bad{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 40; ++i) {
        try {
          (client_->GetNodeName(static_cast<NodeId>(t)) == Result<std::string>(ERROR_CODE::NONE, "Shared") ? good : bad)++;
        } catch (...) {
          bad++;
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(good.load(), 8 * 40);
  EXPECT_EQ(bad.load(), 0);
}

class CountingSpec : public SignalHandleSpec {
 public:
  std::function<void()> GetDummyHandler() override {
    return [this] { ++count; };
  }
  std::atomic<int> count{0};
};

TEST_F(MeshClientOverBus, ASignalReceiverRunsItsHandlerUntilStopped) {
  auto spec = std::make_shared<CountingSpec>();
  auto receiver = MeshSignalReceiverFactory::GetReceiver(spec);
  std::thread loop([&] { receiver->StartReceiving(); });
  // The subscription is made inside StartReceiving; emit until one arrives.
  EXPECT_TRUE(orva::test::WaitUntil([&] {
    daemon_->EmitDummySignal();
    return spec->count.load() > 0;
  }));
  receiver->StopReceiving();
  loop.join();
}

TEST_F(MeshClientOverBus, AStopBeforeTheStartMakesTheStartReturnAtOnce) {
  auto receiver = MeshSignalReceiverFactory::GetReceiver(std::make_shared<CountingSpec>());
  receiver->StopReceiving();
  receiver->StartReceiving();
  SUCCEED();
}

}  // namespace
