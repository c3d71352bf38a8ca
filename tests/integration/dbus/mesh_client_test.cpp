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

// Runs `call`, which must throw MeshClientException from `outerPlace` with a nested cause from
// `innerPlace` whose text holds `innerText` (empty: not checked). Returns the cause.
std::exception_ptr ExpectWrapped(const std::function<void()>& call, const std::string& outerPlace = "",
                                 const std::string& innerPlace = "", const std::string& innerText = "") {
  try {
    call();
    ADD_FAILURE() << "no exception";
  } catch (const Exception::MeshClientException& e) {
    const std::string outer = e.what();
    EXPECT_EQ(outer.rfind(outerPlace, 0), 0u) << outer;
    EXPECT_NE(outer.find(": Unhandled exception, underlying exception wrapped in std::nested_exception"),
              std::string::npos);
    try {
      std::rethrow_if_nested(e);
      ADD_FAILURE() << "nothing nested in: " << e.what();
    } catch (const std::exception& inner) {
      EXPECT_EQ(std::string(inner.what()).rfind(innerPlace, 0), 0u) << inner.what();
      EXPECT_NE(std::string(inner.what()).find(innerText), std::string::npos) << inner.what();
      return std::current_exception();
    }
  }
  return nullptr;
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

  // The call's code, and the archive the daemon received for `method`.
  template <typename T>
  void ExpectSent(const std::string& method, const T& value, ERROR_CODE code) {
    ASSERT_EQ(code, ERROR_CODE::NONE) << method;
    EXPECT_EQ(Dbus::GVariantToObject<T>(daemon_->LastByteArgument(method)), value) << method;
  }

  // The arguments the daemon received for `method`, as GVariant text.
  std::string Printed(const char* method) {
    GVariant* tuple = daemon_->LastArguments(method);
    gchar* text = g_variant_print(tuple, FALSE);
    const std::string printed = text;
    g_free(text);
    g_variant_unref(tuple);
    return printed;
  }

  MeshTestDaemon* daemon_ = nullptr;
  std::shared_ptr<MeshClient> client_;
};

// The daemon answers the method with the value; the client's call of the same name hands it back.
#define EXPECT_RESULT(Method, value, ...) ExpectResult(#Method, value, [&] { return client_->Method(__VA_ARGS__); })
// A method's name with a call of it.
#define NAMED_CALL(Method) {#Method, [&] { return client_->Method(); }}

TEST_F(MeshClientOverBus, ResultsArriveAsTheDaemonSentThem) {
  daemon_->SetReply("GetNodeName", g_variant_new("(s)", "Kitchen"));
  EXPECT_EQ(client_->GetNodeName(7), Result<std::string>(ERROR_CODE::NONE, "Kitchen"));

  EXPECT_RESULT(GetScanResult, sample::Scan());
  EXPECT_RESULT(GetMeshSystemStatus, (MeshSystemStatus{true, false, true, false, true, 4, 3}));
  EXPECT_RESULT(GetSetupNodeProgress, sample::Setup());
  const JoinReturnInfo joined{9, "mesh-1", "secret", "fe80::1"};
  EXPECT_RESULT(WirelessJoinNetwork, joined, sample::Join());
  EXPECT_RESULT(EthernetJoinNetwork, joined, sample::Join());
  EXPECT_RESULT(GetDataSystemUtilization, (SystemUtilizationMap{{"SN1", {55, 1 << 20, 1 << 19, 3600}}}));
  EXPECT_RESULT(GetDataDevices, (DevicesMap{{"SN1", {{sample::MacNo(0x30), "phone", "192.168.1.9", "ath0", true, -50}}},
                                            {"SN2", {}}}));
  EXPECT_RESULT(GetDataNetworkInfo, (NetworkInfoMap{{"SN1", {"192.168.1.1", "255.255.255.0", "192.168.1.254",
                                                             {"9.9.9.9"}, {"2001:db8::1"}}}}));
  const auto mac = sample::MacNo;
  EXPECT_RESULT(GetDataMeshTopology, (MeshTopologyMap{{"wifi", {{mac(2), mac(1)}, {mac(3), mac(2)}}}}));
  EXPECT_RESULT(GetNodeIds, (NodeIdList{1, 2, 0xffffffffu}));
  EXPECT_RESULT(GetNodeInfos, sample::Nodes(5));
  EXPECT_RESULT(GetRepeaterMacs, (NodeMACInfoMap{{2, {mac(2), mac(3), mac(4), mac(5)}}}));
  EXPECT_RESULT(GetRepeaterAccessInfos, (RepeaterAccessInfoMap{{2, {"fe80::2", "br-lan", "root", 2222}}}));
  EXPECT_RESULT(GetSystemUpdateProgress, sample::Update());
  EXPECT_RESULT(GetSystemUpdateProgressV2,
                (SystemUpdateProgress{UPDATE_STAGE::DONE, 100, "5.3.0", {}, ERROR_CODE::NONE}));
  EXPECT_RESULT(GetLedBlinkings, (LedBlinkingMap{{1, true}, {2, false}}), {1, 2});
  EXPECT_RESULT(GetLedConfigs, (LedConfigMap{{1, sample::Led(true)}, {2, sample::Led(false)}}), {1, 2});
  EXPECT_RESULT(GetNodeCapabilities, (NodeCapabilityList{{1, {"ledSchedule"}}, {2, {}}}));
  EXPECT_RESULT(GetCustomTopologyScanResult, (CustomTopologyScanResultMap{{3, {true, {{1, 80}, {2, 40}}}}}));
  EXPECT_RESULT(ListCustomTopology, (CustomTopologyListMap{{3, {2, BACKHAUL_TYPE::WIFI_5G, true}}}));

  const std::vector<std::pair<std::string, std::function<Result<bool>()>>> flags = {
      NAMED_CALL(GetDebugLogLevel), NAMED_CALL(GetRegionLock), NAMED_CALL(GetIeee1905ToBroadcast),
      NAMED_CALL(Get5GBackhaulSwapped)};
  for (const auto& [method, call] : flags) {
    for (const bool value : {true, false}) {
      daemon_->SetReply(method, g_variant_new("(b)", value));
      EXPECT_EQ(call(), Result<bool>(ERROR_CODE::NONE, value)) << method;
    }
  }
}

TEST_F(MeshClientOverBus, ArgumentsArriveAsTheClientSentThem) {
  auto& c = *client_;
  ExpectSent("RemoveNodes", NodeIdList{3, 4}, c.RemoveNodes({3, 4}));
  const SetupNodeInfo setup{sample::MacNo(0x10), "SN9", BACKHAUL_TYPE::ETHERNET, "Hall"};
  ExpectSent("StartSetupNode", setup, c.StartSetupNode(setup));
  const WPSResultInfo wps{true, sample::MacNo(0x40), "ath1"};
  ExpectSent("NoticeWPSResult", wps, c.NoticeWPSResult(wps));
  daemon_->SetArchiveReply("EthernetJoinNetwork", JoinReturnInfo{});
  ExpectSent("EthernetJoinNetwork", sample::Join(), c.EthernetJoinNetwork(sample::Join()).first);
  daemon_->SetArchiveReply("GetLedConfigs", LedConfigMap{});
  ExpectSent("GetLedConfigs", NodeIdList{8, 9}, c.GetLedConfigs({8, 9}).first);
  ExpectSent("SetLedBlinkings", LedBlinkingMap{{1, true}}, c.SetLedBlinkings({{1, true}}));
  ExpectSent("SetLedConfigs", LedConfigMap{{2, sample::Led(true)}}, c.SetLedConfigs({{2, sample::Led(true)}}));
  ExpectSent("TriggerCustomTopologyScan", NodeIdList{}, c.TriggerCustomTopologyScan({}));
  const CustomTopologySetMap topology{{3, {1, BACKHAUL_TYPE::ETHERNET}}};
  ExpectSent("SetCustomTopologyConfig", topology, c.SetCustomTopologyConfig(topology));

  // The topology-change calls carry JSON text, not an archive.
  Json::Value change;
  change["nodes"][0] = 3;
  ASSERT_EQ(c.BeforeTopologyChange(change), ERROR_CODE::NONE);
  ASSERT_EQ(c.AfterTopologyChange(Json::Value("after")), ERROR_CODE::NONE);
  EXPECT_EQ(Dbus::GVariantAYUnwrapper(daemon_->LastByteArgument("BeforeTopologyChange")).Unwrap(),
            change.toStyledString());
  EXPECT_EQ(Dbus::GVariantAYUnwrapper(daemon_->LastByteArgument("AfterTopologyChange")).Unwrap(),
            Json::Value("after").toStyledString());

  const std::tuple<const char*, ERROR_CODE, const char*> plain[] = {
      {"SetNodeName", c.SetNodeName(6, "Attic \"east\""), "(6, 'Attic \"east\"')"},
      {"RebootNode", c.RebootNode(0xfffffffeu), "(4294967294,)"},
      {"SwitchDebugLogLevel", c.SwitchDebugLogLevel(true), "(true,)"},
      {"SetIeee1905ToBroadcast", c.SetIeee1905ToBroadcast(false), "(false,)"},
      {"Set5GBackhaulSwapped", c.Set5GBackhaulSwapped(true), "(true,)"},
  };
  for (const auto& [method, code, printed] : plain) {
    EXPECT_EQ(code, ERROR_CODE::NONE) << method;
    EXPECT_EQ(Printed(method), printed);
  }
}

TEST_F(MeshClientOverBus, OperationsWithoutPayloadCallTheirMethodOnce) {
  const std::vector<std::pair<std::string, std::function<ERROR_CODE()>>> table = {
      NAMED_CALL(StartScan), NAMED_CALL(StopScan), NAMED_CALL(StopSetupNode), NAMED_CALL(IgmpSnoopingPreChange),
      NAMED_CALL(IgmpSnoopingPostChange), NAMED_CALL(StartSystemUpdate), NAMED_CALL(PrepareRestore),
      NAMED_CALL(TriggerSynchronize), NAMED_CALL(UserConfirmWifiAdjust), NAMED_CALL(TriggerBackhaulStatusUpdate),
      {"NotifyJoinReturnSent", [&] { return client_->NotifyJoinReturnInfoSent(); }}};
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

TEST_F(MeshClientOverBus, ForeignErrorsAndUndecodablePayloadsAreNestedExceptionsNotCodes) {
  daemon_->SetMode(MeshTestDaemon::Mode::kForeignError);
  ExpectWrapped([&] { client_->StopScan(); }, "client/mesh_client:StopScan:", "dbus/gdbus_proxy_wrapper:InvokeMethod:",
                "Unmatched domain error received: [7][an error nobody registered]");
  daemon_->SetMode(MeshTestDaemon::Mode::kGarbage);
  const std::exception_ptr cause = ExpectWrapped([&] { client_->GetNodeInfos(); });
  ASSERT_TRUE(cause);
  EXPECT_THROW(std::rethrow_exception(cause), boost::archive::archive_exception);
  daemon_->SetMode(MeshTestDaemon::Mode::kAnswer);
  daemon_->SetArchiveReply("GetNodeInfos", sample::Nodes(2));
  EXPECT_EQ(client_->GetNodeInfos().second, sample::Nodes(2));
}

TEST_F(MeshClientOverBus, AnAbsentDaemonCostsOneFailedCallPerAttemptAndNothingAfterItsReturn) {
  ASSERT_EQ(client_->StartScan(), ERROR_CODE::NONE);
  daemon_->Leave();
  for (int attempt = 0; attempt < 2; ++attempt) {
    ExpectWrapped([&] { client_->StartScan(); }, "client/mesh_client:StartScan:", "dbus/gdbus_client:InvokeMethod:",
                  ": Target service does not exist, proxy renewed");
  }
  // Answered locally, so the missing daemon does not matter.
  EXPECT_EQ(client_->SetHyfiMitigationEnabled(true), ERROR_CODE::NONE);
  EXPECT_EQ(client_->GetHyfiMitigationEnabled(), Result<bool>(ERROR_CODE::NONE, false));

  daemon_->Join();
  EXPECT_EQ(client_->StartScan(), ERROR_CODE::NONE);
}

TEST_F(MeshClientOverBus, ConcurrentCallersShareOneClientAndAreServedOneAfterAnother) {
  EXPECT_EQ(MeshClientFactory::GetClient().get(), client_.get());
  daemon_->SetReply("GetNodeName", g_variant_new("(s)", "Shared"));
  std::atomic<int> good{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 40; ++i) {
        try {
          good += client_->GetNodeName(static_cast<NodeId>(t)) == Result<std::string>(ERROR_CODE::NONE, "Shared");
        } catch (...) {
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(good.load(), 8 * 40);
}

TEST_F(MeshClientOverBus, ASignalReceiverRunsItsHandlerUntilStoppedAndAnEarlyStopEndsTheNextStart) {
  struct CountingSpec : SignalHandleSpec {
    std::atomic<int> count{0};
    std::function<void()> GetDummyHandler() override {
      return [this] { ++count; };
    }
  };
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

  // A stop before the start makes the start return at once instead of hanging the test.
  auto early = MeshSignalReceiverFactory::GetReceiver(std::make_shared<CountingSpec>());
  early->StopReceiving();
  early->StartReceiving();
}

}  // namespace
