// The CAP's scan against real REs and against hand-driven answers on a bridged segment.
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvamesh/base/exception.h"
#include "orvamesh/platform/ip_address.h"
#include "orvamesh/platform/system_root.h"
#include "orvamesh/scan_wired/cap_scan_sender.h"
#include "orvamesh/scan_wired/probe_packet.h"
#include "orvamesh/scan_wired/re_scan_responder.h"
#include "orvamesh/scan_wired/scan_listener.h"
#include "orvamesh/scan_wired/scan_responder.h"
#include "scan_peer.h"
#include "support/kernel_feature.h"
#include "support/lan.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"
#include "support/thrown_text.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK::ScanWired;
using orva::net::utils::IPAddress;
using namespace orva::test;

class CAPScanOnABridge : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_NETNS();
    ORVA_REQUIRE_KERNEL_FEATURE(orva::test::KernelFeature::kIpv6MulticastIf);
    lan_ = std::make_unique<Lan>();
    cap_ = &lan_->AddHost("cap");
    // A global source text: REs answer only link-local probers, so every scan below that finds
    // an RE shows the probe left from the link-local address all the same.
    cap_->RunIn([&] { scan_ = std::make_unique<CAPScanSender>("eth0", "fd00:77::1"); });
  }

  const NetNs& AddRE(const std::string& serial) {
    const NetNs& re = lan_->AddHost("re");
    re.RunIn([&] {
      responders_.push_back(std::make_unique<REScanResponder>(
          ScanResponderInitData{"velanto_platb_hm2000", serial, "OrvaOS", "5.2.0", 100, 0, 443}, "eth0"));
      responders_.back()->StartListening();
    });
    return re;
  }
  void StartScan() {
    cap_->RunIn([&] { scan_->StartScan(); });
  }
  size_t Found() { return scan_->GetScanResult().size(); }

  // An RE driven by the test, which has already seen the first scan's probe: every probe's key
  // is kept, answers are sent by hand.
  const NetNs& ProbedManualRE() {
    const NetNs& re = lan_->AddHost("manual");
    re.RunIn([&] {
      listeners_.push_back(std::make_unique<WiredScanListener>(IPAddress("ff02::1"), "eth0", 7783));
      listeners_.back()->AddCallback([this](const ProbePacket& probe, const sockaddr_storage&) {
        std::lock_guard<std::mutex> lock(mutex_);
        keys_.push_back(probe.GetPublicKey());
      });
      listeners_.back()->StartListening();
    });
    StartScan();
    EXPECT_TRUE(WaitUntil([&] { return Keys().size() == 1; }));
    return re;
  }
  std::vector<std::vector<unsigned char>> Keys() {
    std::lock_guard<std::mutex> lock(mutex_);
    return keys_;
  }
  void Answer(const NetNs& re, unsigned long uptime, const std::vector<unsigned char>& key) {
    const ResponsePacket response("OrvaOS", "velanto_platb_hm2000", "SN1", "5.2.0", 1, 0,
                                  ether_addr{{2, 0x24, 0xe7, 0, 0, 1}}, in6_addr{}, 443, uptime);
    const IPAddress capAddress(cap_->LinkLocal("eth0"));
    re.RunIn([&] { WiredScanResponder(capAddress, 7784, "eth0").Respond(response, key); });
  }

  // Declared so that the scan and the REs stop before the segment and what their callbacks use.
  LogCapture log_;
  std::mutex mutex_;
  std::vector<std::vector<unsigned char>> keys_;
  std::unique_ptr<Lan> lan_;
  const NetNs* cap_ = nullptr;
  std::vector<std::unique_ptr<WiredScanListener>> listeners_;
  std::vector<std::unique_ptr<REScanResponder>> responders_;
  std::unique_ptr<CAPScanSender> scan_;
};

TEST_F(CAPScanOnABridge, OneScanFindsEveryREOnceUnderItsMacAndJudgesItsRegionBySerial) {
  TempDir root;
  root.WriteFile("etc/orvawifi/region.conf", "country_code=US\n");
  root.WriteFile("proc/uptime", "42.00 1.00\n");
  orva::platform::SystemRoot::Set(root.Path());
  const char* const serials[] = {"US,CA", "JP", "US"};
  std::vector<const NetNs*> res;
  for (const char* serial : serials) res.push_back(&AddRE(serial));
  StartScan();
  const bool found = WaitUntil([&] { return Found() == 3; });
  orva::platform::SystemRoot::Set("");
  ASSERT_TRUE(found);
  const auto result = scan_->GetScanResult();
  for (size_t i = 0; i < res.size(); ++i) {
    EXPECT_EQ(result.at(res[i]->Mac("eth0")).GetCountryCompatibility(), i != 1) << serials[i];
  }
  cap_->RunIn([&] { scan_->StopScan(); });
  EXPECT_EQ(Found(), 3u);  // kept after the stop
}

TEST_F(CAPScanOnABridge, KeepsTheFirstAnswerSealedToTheCurrentScansKey) {
  const NetNs& re = ProbedManualRE();
  Answer(re, 1, Keys()[0]);
  ASSERT_TRUE(WaitUntil([&] { return Found() == 1; }));

  // A new scan forgets the old result, refuses answers sealed to the old key and keeps the
  // first of the others.
  StartScan();
  EXPECT_EQ(Found(), 0u);
  ASSERT_TRUE(WaitUntil([&] { return Keys().size() == 2; }));
  Answer(re, 2, Keys()[0]);
  Answer(re, 3, Keys()[1]);
  Answer(re, 4, Keys()[1]);
  ASSERT_TRUE(WaitUntil([&] { return log_.Contains("Fail to insert response into vector"); }));
  EXPECT_EQ(Found(), 1u);
  EXPECT_EQ(scan_->GetScanResult().at("02:24:e7:00:00:01").GetUptime(), 3u);  // the MAC of Answer()
}

TEST(WiredScanSetUp, BothRolesFailCleanlyOnAnInterfaceWithoutALinkLocalAddress) {
  ORVA_REQUIRE_NETNS();
  LogCapture log;
  NetNs lonely("lonely");
  lonely.MustExec({"sysctl", "-q", "-w", "net.ipv6.conf.default.disable_ipv6=1"});
  AddVeth(&lonely, "d0", &lonely, "d1");
  const size_t fds = OpenDescriptorCount();
  lonely.RunIn([] {
    CAPScanSender scan("d0", "fe80::1");
    EXPECT_THAT(ThrownText<std::exception>([&] { scan.StartScan(); }),
                testing::HasSubstr("Fail to get [d0] IPv6 link-local address"));
    const ScanResponderInitData identity{"velanto_platd_hw4000", "US", "OrvaOS", "5.2.1", 4711, 3, 8443};
    EXPECT_THROW(REScanResponder(identity, "d0"), ORVA::MESH::SDK::Exception::IpAddressNotExistException);
  });
  EXPECT_EQ(OpenDescriptorCount(), fds);
}

}  // namespace
