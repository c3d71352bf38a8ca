// The system bus dies under a running client. This program owns its bus (the bus cannot come
// back for the rest of the program), so it holds this one scenario only.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "orvamesh/client/mesh_client.h"
#include "orvamesh/client/mesh_signal_receiver.h"
#include "orvamesh/base/exception.h"
#include "support/mesh_test_daemon.h"
#include "support/private_bus.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Client;

struct CountingSpec : SignalHandleSpec {
  std::atomic<int> count{0};
  std::function<void()> GetDummyHandler() override {
    return [this] { ++count; };
  }
};

TEST(BusLoss, AKilledBusLeavesTheClientProcessAliveWithExceptions) {
  ORVA_REQUIRE_PRIVATE_BUS();
  orva::test::PrivateBus bus;
  ASSERT_EQ(::setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.Address().c_str(), 1), 0);
  auto daemon = std::make_unique<orva::test::MeshTestDaemon>();
  auto client = MeshClientFactory::GetClient();
  ASSERT_EQ(client->StartScan(), ERROR_CODE::NONE);

  // The receiver runs the default main context, where GIO would act on the closed
  // connection; our own "closed" handler runs after GIO's and proves it did not exit.
  auto spec = std::make_shared<CountingSpec>();
  auto receiver = MeshSignalReceiverFactory::GetReceiver(spec);
  std::thread loop([&] { receiver->StartReceiving(); });
  EXPECT_TRUE(orva::test::WaitUntil([&] {
    daemon->EmitDummySignal();
    return spec->count.load() > 0;
  }));
  GDBusConnection* shared = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
  std::atomic<bool> closedHandled{false};
  g_signal_connect_after(shared, "closed", G_CALLBACK(+[](GDBusConnection*, gboolean, GError*, gpointer flag) {
                           static_cast<std::atomic<bool>*>(flag)->store(true);
                         }),
                         &closedHandled);

  bus.Kill();
  EXPECT_TRUE(orva::test::WaitUntil([&] { return closedHandled.load(); }));

  // How GIO's local errors read is ProxyFailures'; here every attempt must fail, not exit.
  for (int attempt = 0; attempt < 3; ++attempt) {
    EXPECT_THROW(client->StartScan(), Exception::MeshClientException);
  }
  EXPECT_EQ(client->GetHyfiMitigationEnabled(), Result<bool>(ERROR_CODE::NONE, false));

  receiver->StopReceiving();
  loop.join();
  daemon.reset();
  g_object_unref(shared);
}

}  // namespace
