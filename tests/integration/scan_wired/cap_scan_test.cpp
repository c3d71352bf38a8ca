// The CAP's scan against real REs and against hand-driven answers on a bridged segment.
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvamesh/platform/ip_address.h"
#include "orvamesh/platform/system_root.h"
#include "orvamesh/scan_wired/cap_scan_sender.h"
#include "orvamesh/scan_wired/probe_packet.h"
#include "orvamesh/scan_wired/re_scan_responder.h"
#include "orvamesh/scan_wired/response_packet.h"
#include "orvamesh/scan_wired/scan_listener.h"
#include "orvamesh/scan_wired/scan_responder.h"
#include "scan_peer.h"
#include "support/kernel_feature.h"
#include "support/lan.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"
#include "support/wait_until.h"

namespace {

using ORVA::MESH::SDK::ScanWired::CAPScanSender;
using ORVA::MESH::SDK::ScanWired::EthernetScanReplyEntry;
using ORVA::MESH::SDK::ScanWired::ProbePacket;
using ORVA::MESH::SDK::ScanWired::REScanResponder;
using ORVA::MESH::SDK::ScanWired::ResponsePacket;
using ORVA::MESH::SDK::ScanWired::ScanResponderInitData;
using ORVA::MESH::SDK::ScanWired::WiredScanListener;
using ORVA::MESH::SDK::ScanWired::WiredScanResponder;
using orva::net::utils::IPAddress;
using namespace orva::test;

ScanResponderInitData Identity(int n, const std::string& serial) {
  ScanResponderInitData data;
  data.unique = "velanto_platb_hm2000";
  data.serial = serial;
  data.os_name = "OrvaOS";
  data.os_version = "5.2." + std::to_string(n);
  data.os_build_num = 100 + n;
  data.access_port = 443;
  return data;
}

std::string Ipv6Text(const EthernetScanReplyEntry& entry) { return IPAddress(entry.GetIpv6Address()).ToString(); }

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
    EXPECT_EQ(scan_->SourceAddress(), "fd00:77::1");
  }
  void TearDown() override {
    scan_.reset();
    responders_.clear();
    listeners_.clear();
    lan_.reset();
  }

  const NetNs& AddRE(const std::string& serial) {
    const NetNs& re = lan_->AddHost("re");
    re.RunIn([&] {
      responders_.push_back(std::make_unique<REScanResponder>(Identity(responders_.size(), serial), "eth0"));
      responders_.back()->StartListening();
    });
    return re;
  }
  void StartScan() {
    cap_->RunIn([&] { scan_->StartScan(); });
  }
  size_t Found() { return scan_->GetScanResult().size(); }

  // An RE driven by the test: every probe's key is kept, answers are sent by hand.
  const NetNs& AddManualRE() {
    const NetNs& re = lan_->AddHost("manual");
    re.RunIn([&] {
      listeners_.push_back(std::make_unique<WiredScanListener>(IPAddress("ff02::1"), "eth0", 7783));
      listeners_.back()->AddCallback([this](const ProbePacket& probe, const sockaddr_storage&) {
        std::lock_guard<std::mutex> lock(mutex_);
        keys_.push_back(probe.GetPublicKey());
      });
      listeners_.back()->StartListening();
    });
    return re;
  }
  std::vector<std::vector<unsigned char>> Keys() {
    std::lock_guard<std::mutex> lock(mutex_);
    return keys_;
  }
  void Answer(const NetNs& re, unsigned long uptime, const std::vector<unsigned char>& key) {
    ether_addr mac{{0x02, 0x24, 0xe7, 0x00, 0x00, 0x01}};
    ResponsePacket response("OrvaOS", "velanto_platb_hm2000", "SN1", "5.2.0", 1, 0, mac, in6_addr{}, 443, uptime);
    const IPAddress capAddress(cap_->LinkLocal("eth0"));
    re.RunIn([&] { WiredScanResponder(capAddress, 7784, "eth0").Respond(response, key); });
  }

  LogCapture log_;
  std::unique_ptr<Lan> lan_;
  const NetNs* cap_ = nullptr;
  std::unique_ptr<CAPScanSender> scan_;
  std::vector<std::unique_ptr<REScanResponder>> responders_;
  std::vector<std::unique_ptr<WiredScanListener>> listeners_;
  std::mutex mutex_;
  std::vector<std::vector<unsigned char>> keys_;
};

TEST_F(CAPScanOnABridge, OneScanFindsEveryREOnceUnderItsMacWithItsRealAddresses) {
  std::vector<const NetNs*> res;
  for (int i = 0; i < 3; ++i) res.push_back(&AddRE("SN" + std::to_string(i)));
  const unsigned long before = UptimeNow();
  StartScan();
  ASSERT_TRUE(WaitUntil([&] { return Found() == 3; }));
  const unsigned long after = UptimeNow();
  const auto result = scan_->GetScanResult();
  for (size_t i = 0; i < res.size(); ++i) {
    auto found = result.find(res[i]->Mac("eth0"));
    ASSERT_NE(found, result.end()) << res[i]->Mac("eth0");
    const EthernetScanReplyEntry& entry = found->second;
    EXPECT_EQ(Ipv6Text(entry), IPAddress(res[i]->LinkLocal("eth0")).ToString());
    EXPECT_EQ(entry.GetOsVersion(), "5.2." + std::to_string(i));
    EXPECT_EQ(entry.GetSerial(), "SN" + std::to_string(i));
    EXPECT_GE(entry.GetUptime(), before);
    EXPECT_LE(entry.GetUptime(), after);
  }
  cap_->RunIn([&] { scan_->StopScan(); });
  EXPECT_EQ(scan_->GetScanResult().size(), 3u);  // kept after the stop
  cap_->RunIn([&] { scan_->StopScan(); });
}

TEST_F(CAPScanOnABridge, JudgesEachREsRegionBySerialAndUnique) {
  TempDir root;
  root.WriteFile("etc/orvawifi/region.conf", "country_code=US\n");
  root.WriteFile("proc/uptime", "42.00 1.00\n");
  orva::platform::SystemRoot::Set(root.Path());
  const NetNs& certified = AddRE("US,CA");
  const NetNs& foreign = AddRE("JP");
  StartScan();
  const bool found = WaitUntil([&] { return Found() == 2; });
  orva::platform::SystemRoot::Set("");
  ASSERT_TRUE(found);
  const auto result = scan_->GetScanResult();
  EXPECT_TRUE(result.at(certified.Mac("eth0")).GetCountryCompatibility());
  EXPECT_FALSE(result.at(foreign.Mac("eth0")).GetCountryCompatibility());
  EXPECT_EQ(result.at(foreign.Mac("eth0")).GetUptime(), 42u);
}

TEST_F(CAPScanOnABridge, KeepsTheFirstOfTwoAnswersFromOneREAndLogsTheSecond) {
  const NetNs& re = AddManualRE();
  StartScan();
  ASSERT_TRUE(WaitUntil([&] { return Keys().size() == 1; }));
  Answer(re, 1, Keys()[0]);
  Answer(re, 2, Keys()[0]);
  ASSERT_TRUE(WaitUntil([&] { return log_.Contains("Fail to insert response into vector"); }));
  EXPECT_TRUE(log_.Contains("Exception thrown in callback [0]: "));
  const auto result = scan_->GetScanResult();
  ASSERT_EQ(result.size(), 1u);
  EXPECT_EQ(result.at("02:24:e7:00:00:01").GetUptime(), 1u);
}

TEST_F(CAPScanOnABridge, DropsAnAnswerSealedToAnotherKeyAndGoesOn) {
  const NetNs& re = AddManualRE();
  StartScan();
  ASSERT_TRUE(WaitUntil([&] { return Keys().size() == 1; }));
  Answer(re, 7, MakeKeyPair().publicKey);
  Answer(re, 8, Keys()[0]);
  ASSERT_TRUE(WaitUntil([&] { return Found() == 1; }));
  EXPECT_EQ(scan_->GetScanResult().at("02:24:e7:00:00:01").GetUptime(), 8u);
  auto dropped = log_.Matching("Dropping malformed response packet, reason: ");
  ASSERT_EQ(dropped.size(), 1u);
  EXPECT_NE(dropped[0].text.find("Fail to decrypt response"), std::string::npos);
}

TEST_F(CAPScanOnABridge, ANewScanForgetsTheOldResultAndRefusesAnswersToTheOldKey) {
  const NetNs& re = AddManualRE();
  StartScan();
  ASSERT_TRUE(WaitUntil([&] { return Keys().size() == 1; }));
  Answer(re, 1, Keys()[0]);
  ASSERT_TRUE(WaitUntil([&] { return Found() == 1; }));

  StartScan();
  EXPECT_EQ(Found(), 0u);
  ASSERT_TRUE(WaitUntil([&] { return Keys().size() == 2; }));
  EXPECT_NE(Keys()[0], Keys()[1]);
  Answer(re, 2, Keys()[0]);
  Answer(re, 3, Keys()[1]);
  ASSERT_TRUE(WaitUntil([&] { return Found() == 1; }));
  EXPECT_EQ(scan_->GetScanResult().at("02:24:e7:00:00:01").GetUptime(), 3u);
  EXPECT_EQ(log_.Matching("Fail to decrypt response").size(), 1u);
}

TEST(CAPScanSetUp, FailsCleanlyOnAnInterfaceWithoutALinkLocalAddress) {
  ORVA_REQUIRE_NETNS();
  LogCapture log;
  NetNs lonely("lonely");
  lonely.MustExec({"sysctl", "-q", "-w", "net.ipv6.conf.default.disable_ipv6=1"});
  AddVeth(&lonely, "d0", &lonely, "d1");
  const size_t fds = OpenDescriptorCount();
  lonely.RunIn([] {
    CAPScanSender scan("d0", "fe80::1");
    try {
      scan.StartScan();
      ADD_FAILURE() << "StartScan did not throw";
    } catch (const std::exception& e) {
      EXPECT_NE(std::string(e.what()).find("Fail to get [d0] IPv6 link-local address"), std::string::npos);
    }
    EXPECT_TRUE(scan.GetScanResult().empty());
  });
  EXPECT_EQ(OpenDescriptorCount(), fds);
}

}  // namespace
