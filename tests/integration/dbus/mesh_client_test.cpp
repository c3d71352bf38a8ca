// The mesh client against a daemon on the generated skeleton, over a private dbus-daemon.
#include <gmock/gmock.h>
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
#include "support/thrown_text.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Client;
using orva::test::MeshTestDaemon;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
namespace sample = orva::test::sample;

MeshTestDaemon& Daemon() {
  orva::test::SharedPrivateBus();
  static MeshTestDaemon daemon;
  return daemon;
}

// The what() of the cause of type E nested in the MeshClientException that `call` throws; a
// cause of another type propagates and fails the test.
template <typename E = std::exception>
std::string NestedCause(const std::function<void()>& call) {
  try {
    call();
  } catch (const Exception::MeshClientException& e) {
    return orva::test::ThrownText<E>([&] { std::rethrow_if_nested(e); });
  }
  ADD_FAILURE() << "no MeshClientException";
  return "";
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

  MeshTestDaemon* daemon_ = nullptr;
  std::shared_ptr<MeshClient> client_;
};

#define NAMED_CALL(Method) {#Method, [&] { return client_->Method(); }}

TEST_F(MeshClientOverBus, ResultsArriveAsTheDaemonSentThem) {
  daemon_->SetReply("GetNodeName", g_variant_new("(s)", "Kitchen"));
  EXPECT_EQ(client_->GetNodeName(7), Result<std::string>(ERROR_CODE::NONE, "Kitchen"));

  // Every operation is generated from one list; a payload without and one with arguments stand
  // for all, and the tools' tests read every other one from orvamesh-simd.
  daemon_->SetArchiveReply("GetNodeInfos", sample::Nodes(5));
  EXPECT_EQ(client_->GetNodeInfos(), Result<NodeInfoMap>(ERROR_CODE::NONE, sample::Nodes(5)));
  const JoinReturnInfo joined{9, "mesh-1", "secret", "fe80::1"};
  daemon_->SetArchiveReply("WirelessJoinNetwork", joined);
  EXPECT_EQ(client_->WirelessJoinNetwork(sample::Join()), Result<JoinReturnInfo>(ERROR_CODE::NONE, joined));

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

// Names, node ids and flags travel as themselves; the tools' tests read them back from
// orvamesh-simd.
TEST_F(MeshClientOverBus, ArgumentsArriveAsTheClientSentThem) {
  auto& c = *client_;
  ASSERT_EQ(c.RemoveNodes({3, 4}), ERROR_CODE::NONE);
  EXPECT_EQ(Dbus::GVariantToObject<NodeIdList>(daemon_->LastByteArgument("RemoveNodes")), (NodeIdList{3, 4}));

  // The topology-change calls carry JSON text, not an archive.
  Json::Value change;
  change["nodes"][0] = 3;
  ASSERT_EQ(c.BeforeTopologyChange(change), ERROR_CODE::NONE);
  ASSERT_EQ(c.AfterTopologyChange(Json::Value("after")), ERROR_CODE::NONE);
  EXPECT_EQ(Dbus::GVariantAYUnwrapper(daemon_->LastByteArgument("BeforeTopologyChange")).Unwrap(),
            change.toStyledString());
  EXPECT_EQ(Dbus::GVariantAYUnwrapper(daemon_->LastByteArgument("AfterTopologyChange")).Unwrap(),
            Json::Value("after").toStyledString());
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
    EXPECT_EQ(client_->GetNodeInfos(), Result<NodeInfoMap>(code, {})) << raw;
    EXPECT_EQ(client_->GetNodeName(1), Result<std::string>(code, "")) << raw;
    EXPECT_EQ(client_->GetRegionLock(), Result<bool>(code, false)) << raw;
  }
}

TEST_F(MeshClientOverBus, ForeignErrorsAndUndecodablePayloadsAreNestedExceptionsNotCodes) {
  daemon_->SetMode(MeshTestDaemon::Mode::kForeignError);
  EXPECT_THAT(NestedCause([&] { client_->StopScan(); }),
              AllOf(StartsWith("dbus/gdbus_proxy_wrapper:InvokeMethod:"),
                    HasSubstr("Unmatched domain error received: [7][an error nobody registered]")));
  daemon_->SetMode(MeshTestDaemon::Mode::kGarbage);
  EXPECT_NE(NestedCause<boost::archive::archive_exception>([&] { client_->GetNodeInfos(); }), "");
  daemon_->SetMode(MeshTestDaemon::Mode::kAnswer);
  daemon_->SetArchiveReply("GetNodeInfos", sample::Nodes(2));
  EXPECT_EQ(client_->GetNodeInfos().second, sample::Nodes(2));
}

TEST_F(MeshClientOverBus, AnAbsentDaemonCostsOneFailedCallPerAttemptAndNothingAfterItsReturn) {
  ASSERT_EQ(client_->StartScan(), ERROR_CODE::NONE);
  daemon_->Leave();
  for (int attempt = 0; attempt < 2; ++attempt) {
    EXPECT_THAT(NestedCause([&] { client_->StartScan(); }),
                AllOf(StartsWith("dbus/gdbus_client:InvokeMethod:"),
                      HasSubstr(": Target service does not exist, proxy renewed")));
  }
  // Answered locally, so the missing daemon does not matter.
  EXPECT_EQ(client_->SetHyfiMitigationEnabled(true), ERROR_CODE::NONE);
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

// Signals are received end to end by BusLoss; a stop before the start must not hang the start.
TEST_F(MeshClientOverBus, ASignalReceiverStoppedBeforeItStartsReturnsAtOnce) {
  struct Silent : SignalHandleSpec {
    std::function<void()> GetDummyHandler() override { return [] {}; }
  };
  auto early = MeshSignalReceiverFactory::GetReceiver(std::make_shared<Silent>());
  early->StopReceiving();
  early->StartReceiving();
}

}  // namespace
