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
  const auto answers = collector_->Answers();
  EXPECT_EQ(stream(answers[0]), stream(expected));
  EXPECT_EQ(answers[1].GetUptime(), 101u);
}

TEST_F(REResponderOnTheWire, DoesNotAnswerGlobalIPv6Probers) {
  cap_->MustExec({"ip", "-6", "addr", "add", "2001:db8::1/64", "dev", "eth0", "nodad"});
  UdpPeer(*cap_, "2001:db8::1").SendTo("ff02::1", 7783, BuildProbePacket(ProbePacket(keys_.publicKey)));
  ASSERT_TRUE(WaitUntil([&] { return log_.Contains("Address [2001:db8::1] not supported"); }));

  // A link-local probe sent last is answered; it is the only answer.
  SendProbe(*cap_, keys_.publicKey);
  ASSERT_TRUE(collector_->WaitFor(1));
  EXPECT_EQ(collector_->Answers().size(), 1u);
}

// The listener's own tests drop each kind of malformed datagram; the responder adds probes
// whose key it cannot seal to, which must cost it nothing but a log line.
TEST_F(REResponderOnTheWire, SkipsProbesWithAnUnusableKeyAndStillAnswers) {
  UdpPeer flooder(*cap_);
  for (int i = 0; i < 50; ++i) {
    flooder.SendTo("ff02::1", 7783, BuildProbePacket(ProbePacket(std::vector<unsigned char>(i % 32, 1))));
  }
  ASSERT_TRUE(WaitUntil([&] { return log_.Matching("Fail to answer probe").size() == 50; }));
  SendProbe(*cap_, keys_.publicKey);
  EXPECT_TRUE(collector_->WaitFor(1));
  EXPECT_EQ(collector_->Answers().size(), 1u);
}

}  // namespace
