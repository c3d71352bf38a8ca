// Starting and stopping the IO threads leaves nothing behind: no descriptor, no thread.
#include <memory>

#include <gtest/gtest.h>

#include "orvamesh/base/exception.h"
#include "orvamesh/platform/ip_address.h"
#include "orvamesh/scan_wired/scan_listener.h"
#include "orvamesh/scan_wired/scan_response_receiver.h"
#include "scan_peer.h"
#include "support/log_capture.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK::ScanWired;
using orva::net::utils::IPAddress;
using namespace orva::test;

TEST(IOThreadLifecycle, StartStopCyclesAFailedStartAndDestructionWhileRunningLeaveNothingBehind) {
  ORVA_REQUIRE_NETNS();
  LogCapture log;
  NetNs ns("life");
  AddVeth(&ns, "eth0", &ns, "eth1");
  const IPAddress linkLocal(ns.LinkLocal("eth0"));
  const KeyPair keys = MakeKeyPair();
  const size_t fds = OpenDescriptorCount(), threads = ThreadCount();
  ns.RunIn([&] {
    WiredScanListener listener(IPAddress("ff02::1"), "eth0", 0);
    WiredScanResponseReceiver receiver(linkLocal, keys.publicKey, keys.secretKey, "eth0", 0);
    EXPECT_THROW(listener.GetListeningPort(), ORVA::MESH::SDK::Exception::RuntimeException);
    listener.StopListening();  // never started: nothing to do
    for (int i = 0; i < 200; ++i) {
      listener.StartListening();
      receiver.StartReceiving();
      if (i % 2 == 0) {
        ASSERT_NE(listener.GetListeningPort(), 0);
        listener.StartListening();  // already running: nothing happens
      }
      listener.StopListening();
      receiver.StopReceiving();
    }

    auto running = std::make_unique<WiredScanListener>(IPAddress("ff02::1"), "eth0", 0);
    running->StartListening();
    EXPECT_EQ(ThreadCount(), threads + 2);  // this namespace thread and the IO thread
    WiredScanListener second(IPAddress("ff02::1"), "eth0", running->GetListeningPort());
    EXPECT_THROW(second.StartListening(), std::exception);
    EXPECT_THROW(second.GetListeningPort(), std::exception);
    second.StopListening();
    running.reset();
  });
  EXPECT_EQ(OpenDescriptorCount(), fds);
  // An emulator may list a joined thread a moment longer.
  EXPECT_TRUE(WaitUntil([&] { return ThreadCount() == threads; })) << ThreadCount() << " vs " << threads;
  EXPECT_FALSE(log.Contains("Unhandled"));
}

}  // namespace
