// The RE role on a real segment: what it answers, to whom it does not, and how it stands a
// flood of garbage on its port.
#include <arpa/inet.h>
#include <netinet/ether.h>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvamesh/platform/ip_address.h"
#include "orvamesh/platform/system_root.h"
#include "orvamesh/scan_wired/re_scan_responder.h"
#include "orvamesh/scan_wired/response_packet_serializer.h"
#include "scan_peer.h"
#include "scan_wired/wired_scan_packet.h"
#include "support/kernel_feature.h"
#include "support/lan.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK::ScanWired;
using orva::net::utils::IPAddress;
using namespace orva::test;

const ScanResponderInitData kIdentity{"velanto_platd_hw4000", "US", "OrvaOS", "5.2.1", 4711, 3, 8443};

class REResponderOnTheWire : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_NETNS();
    ORVA_REQUIRE_KERNEL_FEATURE(orva::test::KernelFeature::kIpv6MulticastIf);
    lan_ = std::make_unique<Lan>();
    re_ = &lan_->AddHost("re");
    cap_ = &lan_->AddHost("cap");
    keys_ = MakeKeyPair();
    collector_ = std::make_unique<AnswerCollector>(*cap_, keys_);
    re_->RunIn([&] {
      responder_ = std::make_unique<REScanResponder>(kIdentity, "eth0");
      responder_->StartListening();
    });
  }

  // Declared so that the responder stops first and the segment goes last.
  LogCapture log_;
  std::unique_ptr<Lan> lan_;
  const NetNs* re_ = nullptr;
  const NetNs* cap_ = nullptr;
  KeyPair keys_;
  std::unique_ptr<AnswerCollector> collector_;
  std::unique_ptr<REScanResponder> responder_;
};

TEST_F(REResponderOnTheWire, AnswersWithItsIdentityAddressesAndTheUptimeOfTheMoment) {
  TempDir root;
  root.WriteFile("proc/uptime", "100.93 180.00\n");
  orva::platform::SystemRoot::Set(root.Path());
  SendProbe(*cap_, keys_.publicKey);
  const bool first = collector_->WaitFor(1);
  root.WriteFile("proc/uptime", "101.02 181.50\n");
  SendProbe(*cap_, keys_.publicKey);
  const bool second = first && collector_->WaitFor(2);
  orva::platform::SystemRoot::Set("");
  ASSERT_TRUE(second);

  in6_addr linkLocal{};
  ::inet_pton(AF_INET6, re_->LinkLocal("eth0").c_str(), &linkLocal);
  const ResponsePacket expected("OrvaOS", "velanto_platd_hw4000", "US", "5.2.1", 4711, 3,
                                *::ether_aton(re_->Mac("eth0").c_str()), linkLocal, 8443, 100);
  const auto stream = [](const ResponsePacket& p) { return *ResponsePacketSerializer().Serialize(p); };
  auto answers = collector_->Answers();
  EXPECT_EQ(stream(answers[0]), stream(expected));
  EXPECT_EQ(answers[1].GetUptime(), 101u);
  answers[1].SetUptime(100);
  EXPECT_EQ(stream(answers[1]), stream(expected));
}

TEST_F(REResponderOnTheWire, DoesNotAnswerIPv4OrGlobalIPv6Probers) {
  re_->MustExec({"ip", "addr", "add", "192.0.2.2/24", "dev", "eth0"});
  cap_->MustExec({"ip", "addr", "add", "192.0.2.1/24", "dev", "eth0"});
  cap_->MustExec({"ip", "-6", "addr", "add", "2001:db8::1/64", "dev", "eth0", "nodad"});
  const auto probe = BuildProbePacket(ProbePacket(keys_.publicKey));
  UdpPeer(*cap_, AF_INET).SendTo("192.0.2.2", 7783, probe);
  UdpPeer(*cap_, AF_INET6, "2001:db8::1").SendTo("ff02::1", 7783, probe);
  ASSERT_TRUE(WaitUntil([&] { return log_.Contains("Address [2001:db8::1] not supported"); }));

  // A link-local probe sent last is answered; it is the only answer.
  SendProbe(*cap_, keys_.publicKey);
  ASSERT_TRUE(collector_->WaitFor(1));
  EXPECT_EQ(collector_->Answers().size(), 1u);
  EXPECT_FALSE(log_.Contains("[192.0.2.1]"));
}

TEST_F(REResponderOnTheWire, SurvivesAFloodOfMalformedDatagramsAndStillAnswers) {
  const auto probe = BuildProbePacket(ProbePacket(keys_.publicKey));
  std::vector<std::vector<unsigned char>> kinds;
  kinds.push_back({0xab, 0xcd, 0xef});                                   // shorter than a header
  kinds.push_back(probe);
  kinds.back()[0] = 0x00;                                                // foreign signature
  kinds.push_back(probe);
  kinds.back().pop_back();                                               // shorter than the header says
  kinds.push_back({0xab, 0xcd, 0xef, 0xab, 0, 1, 0, 3, 0xc7, 0x20, 9});  // truncated msgpack
  kinds.push_back({0xab, 0xcd, 0xef, 0xab, 0, 1, 0, 3, 0xd4, 3, 7});     // a key-less probe
  kinds.push_back(BuildProbePacket(ProbePacket(std::vector<unsigned char>(8180, 1))));  // 8192 bytes
  kinds.push_back(BuildProbePacket(ProbePacket(std::vector<unsigned char>(5, 1))));     // unusable key

  UdpPeer flooder(*cap_, AF_INET6);
  constexpr size_t kTotal = 10000;
  constexpr size_t kBatch = 50;
  auto handled = [&] {
    return log_.Matching("Dropping malformed probe packet").size() + log_.Matching("Fail to answer probe").size();
  };
  for (size_t sent = 0; sent < kTotal;) {
    for (size_t i = 0; i < kBatch; ++i, ++sent) flooder.SendTo("ff02::1", 7783, kinds[sent % kinds.size()]);
    // Paced so that the socket's receive queue never overflows: every datagram is accounted for.
    ASSERT_TRUE(WaitUntil([&] { return handled() == kBatch; })) << "after " << sent << ": " << handled();
    if (sent == kBatch) {
      EXPECT_TRUE(log_.Contains("Signature mistmatch"));
      EXPECT_TRUE(log_.Contains("Fail to unpack message"));
      EXPECT_TRUE(log_.Contains("Missing fields in the packet: [9]"));
      EXPECT_TRUE(log_.Contains("larger than buffer limit [8192]"));
      EXPECT_TRUE(log_.Contains("Invalid key size"));
    }
    log_.Clear();
  }
  EXPECT_EQ(collector_->Answers().size(), 0u);
  SendProbe(*cap_, keys_.publicKey);
  EXPECT_TRUE(collector_->WaitFor(1));
}

}  // namespace
