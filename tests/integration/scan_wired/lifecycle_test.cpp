// Starting and stopping the IO threads leaves nothing behind: no descriptor, no thread.
#include <memory>

#include <gtest/gtest.h>

#include "orvamesh/platform/ip_address.h"
#include "orvamesh/scan_wired/scan_listener.h"
#include "orvamesh/scan_wired/scan_response_receiver.h"
#include "scan_peer.h"
#include "support/lan.h"
#include "support/log_capture.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK::ScanWired;
using orva::net::utils::IPAddress;
using namespace orva::test;

class IOThreadLifecycle : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_NETNS();
    ns_ = std::make_unique<NetNs>("life");
    AddVeth(ns_.get(), "eth0", ns_.get(), "eth1");
    ns_->LinkLocal("eth0");
    fds_ = OpenDescriptorCount();
    threads_ = ThreadCount();
  }
  void ExpectNothingLeft() {
    EXPECT_EQ(OpenDescriptorCount(), fds_);
    // An emulator may list a joined thread a moment longer.
    EXPECT_TRUE(WaitUntil([&] { return ThreadCount() == threads_; })) << ThreadCount() << " vs " << threads_;
  }

  LogCapture log_;
  std::unique_ptr<NetNs> ns_;
  size_t fds_ = 0;
  size_t threads_ = 0;
};

TEST_F(IOThreadLifecycle, TwoHundredStartStopCyclesOfListenerAndReceiverLeaveNothingBehind) {
  const KeyPair keys = MakeKeyPair();
  const IPAddress linkLocal(ns_->LinkLocal("eth0"));
  ns_->RunIn([&] {
    WiredScanListener listener(IPAddress("ff02::1"), "eth0", 0);
    WiredScanResponseReceiver receiver(linkLocal, keys.publicKey, keys.secretKey, "eth0", 0);
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
    listener.StopListening();  // already stopped: nothing happens
  });
  ExpectNothingLeft();
  EXPECT_EQ(log_.Matching("socket IO thread terminated").size(), 400u);
  EXPECT_FALSE(log_.Contains("Unhandled"));
}

TEST_F(IOThreadLifecycle, DestroyingARunningListenerStopsItsThread) {
  ns_->RunIn([&] {
    auto listener = std::make_unique<WiredScanListener>(IPAddress("ff02::1"), "eth0", 0);
    listener->StartListening();
    EXPECT_EQ(ThreadCount(), threads_ + 2);  // this namespace thread and the IO thread
    listener.reset();
  });
  ExpectNothingLeft();
  EXPECT_TRUE(log_.Contains("socket IO thread terminated"));
}

TEST_F(IOThreadLifecycle, AFailedStartLeavesTheListenerStoppedAndClean) {
  ns_->RunIn([&] {
    WiredScanListener first(IPAddress("ff02::1"), "eth0", 0);
    first.StartListening();
    const unsigned short taken = first.GetListeningPort();
    WiredScanListener second(IPAddress("ff02::1"), "eth0", taken);
    EXPECT_THROW(second.StartListening(), std::exception);
    EXPECT_THROW(second.GetListeningPort(), std::exception);
    first.StopListening();
    second.StopListening();
  });
  ExpectNothingLeft();
}

}  // namespace
