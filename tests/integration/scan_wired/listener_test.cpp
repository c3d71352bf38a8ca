// The probe listener on a real link: what it hands to callbacks, what it drops, and what ends
// its IO thread. Probes are hand-made datagrams sent from a second host on the segment.
#include <atomic>
#include <iterator>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "orvamesh/platform/ip_address.h"
#include "orvamesh/scan_wired/probe_packet.h"
#include "orvamesh/scan_wired/scan_listener.h"
#include "scan_peer.h"
#include "scan_wired/wired_scan_packet.h"
#include "support/lan.h"
#include "support/log_capture.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK::ScanWired;
using orva::net::utils::IPAddress;
using namespace orva::test;

constexpr unsigned short kPort = 7783;

class ListenerOnTheWire : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_NETNS();
    lan_ = std::make_unique<Lan>();
    re_ = &lan_->AddHost("re");
    re_->RunIn([&] { listener_ = std::make_unique<WiredScanListener>(IPAddress("ff02::1"), "eth0", kPort); });
    peer_ = std::make_unique<UdpPeer>(lan_->AddHost("cap"));
  }
  // Records the key size of every probe the listener hands on, then starts.
  void Start() {
    listener_->AddCallback([this](const ProbePacket& probe, const sockaddr_storage&) {
      std::lock_guard<std::mutex> lock(mutex_);
      keySizes_.push_back(probe.GetPublicKey().size());
    });
    re_->RunIn([&] { listener_->StartListening(); });
  }
  size_t Seen() {
    std::lock_guard<std::mutex> lock(mutex_);
    return keySizes_.size();
  }
  void Send(const std::vector<unsigned char>& bytes) { peer_->SendTo("ff02::1", kPort, bytes); }

  const std::vector<unsigned char> probe_ = BuildProbePacket(ProbePacket(std::vector<unsigned char>(32, 7)));

  // Declared so that the listener stops before what its callbacks use, and the segment goes last.
  LogCapture log_;
  std::mutex mutex_;
  std::vector<size_t> keySizes_;
  std::unique_ptr<Lan> lan_;
  const NetNs* re_ = nullptr;
  std::unique_ptr<UdpPeer> peer_;
  std::unique_ptr<WiredScanListener> listener_;
};

// A probe whose key fills the datagram to `total` bytes (4 bytes of ext 16 header).
std::vector<unsigned char> ProbeOfSize(size_t total) {
  return BuildProbePacket(ProbePacket(std::vector<unsigned char>(total - 8 - 4, 0x5a)));
}

TEST_F(ListenerOnTheWire, DropsMalformedDatagramsAndKeepsListening) {
  auto badSignature = probe_;
  badSignature[3] = 0xac;
  const struct { std::vector<unsigned char> bytes; const char* reason; } cases[] = {
      {{0xab, 0xcd, 0xef}, "Recieved packet size [3] smaller than header size"},
      {badSignature, "Signature mistmatch"},
      {{0xab, 0xcd, 0xef, 0xab, 0, 1, 0, 0}, "Missing fields in the packet: [9]"},
      {ProbeOfSize(8192), "Received packet size [8192] larger than buffer limit [8192]"},
  };
  Start();
  for (const auto& c : cases) Send(c.bytes);
  Send(ProbeOfSize(8191));
  ASSERT_TRUE(WaitUntil([&] { return Seen() == 1; }));
  EXPECT_EQ(keySizes_[0], 8191u - 12u);
  auto dropped = log_.Matching("Dropping malformed probe packet, reason: ");
  ASSERT_EQ(dropped.size(), std::size(cases));
  for (size_t i = 0; i < dropped.size(); ++i) {
    EXPECT_NE(dropped[i].text.find(cases[i].reason), std::string::npos) << dropped[i].text;
  }
}

// Every callback is called even when earlier ones throw, and one may delete itself meanwhile.
TEST_F(ListenerOnTheWire, CallsEveryCallbackWhateverTheOthersDo) {
  listener_->AddCallback([](const ProbePacket&, const sockaddr_storage&) { throw std::runtime_error("boom"); });
  listener_->AddCallback([](const ProbePacket&, const sockaddr_storage&) { throw 42; });
  std::atomic<int> calls{0};
  std::atomic<int> self{-1};
  self = listener_->AddCallback([&](const ProbePacket&, const sockaddr_storage&) {
    ++calls;
    listener_->DelCallback(self);
  });
  Start();
  Send(probe_);
  ASSERT_TRUE(WaitUntil([&] { return Seen() == 1; }));
  EXPECT_TRUE(log_.Contains("Exception thrown in callback [0]: boom"));
  EXPECT_TRUE(log_.Contains("Unrecognized exception thrown in callback [1]"));
  Send(probe_);
  ASSERT_TRUE(WaitUntil([&] { return Seen() == 2; }));
  EXPECT_EQ(calls, 1);
}

}  // namespace
