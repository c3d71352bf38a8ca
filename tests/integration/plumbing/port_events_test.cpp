#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mutex>

#include "orvamesh/base/exception.h"
#include "orvamesh/driver/ioctl_helper.h"
#include "orvamesh/driver/port_event_receiver.h"
#include "support/kernel_feature.h"
#include "support/netns.h"
#include "support/thrown_text.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Driver;
using orva::test::NetNs;

class PortTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_NETNS();
    ORVA_REQUIRE_KERNEL_FEATURE(orva::test::KernelFeature::kEthtoolIoctl);
    ns_ = std::make_unique<NetNs>("prt");
    peer_ = std::make_unique<NetNs>("prp");
    orva::test::AddVeth(ns_.get(), "e0", peer_.get(), "f0");
  }
  std::unique_ptr<NetNs> ns_, peer_;
};

// The link settings are checked through the port events below, which read them.
TEST_F(PortTest, IoctlHelpersAgreeWithIp) {
  const std::string mac = ns_->Mac("e0");
  ns_->RunIn([&] {
    EXPECT_EQ(IOCTLHelper::GetHardwareAddress("e0").ToString(), mac);
    EXPECT_TRUE(IOCTLHelper::IsUp("e0"));
    IOCTLHelper::SetUp("e0", false);
    EXPECT_FALSE(IOCTLHelper::IsUp("e0"));
    EXPECT_NE(ns_->MustExec({"ip", "link", "show", "e0"}).find("state DOWN"), std::string::npos);
    IOCTLHelper::SetUp("e0", true);
    EXPECT_THAT(orva::test::ThrownText<Exception::RuntimeException>([] { IOCTLHelper::GetIndex("nope0"); }),
                testing::HasSubstr("errno: [19]"));
    EXPECT_THROW(IOCTLHelper::IsUp("../x"), Exception::InvalidArgumentException);
  });
}

TEST_F(PortTest, ReportsCarrierSpeedAndDuplexOncePerChange) {
  std::mutex mutex;
  std::string events;
  std::unique_ptr<PortEventReceiver> receiver;
  ns_->RunIn([&] {
    receiver = std::make_unique<PortEventReceiver>(std::set<std::string>{"e0"});
    receiver->Start([&](const PortEvent& e) {
      std::lock_guard<std::mutex> lock(mutex);
      events += e.port + (e.carrier ? " up " : " down ") + std::to_string(e.speedMbps) +
                (e.fullDuplex ? " full; " : " half; ");
    });
  });
  const auto sawExactly = [&](const std::string& expected) {
    return orva::test::WaitUntil([&] {
      std::lock_guard<std::mutex> lock(mutex);
      return events == expected;
    });
  };
  EXPECT_TRUE(sawExactly("e0 up 10000 full; ")) << "a veth reports 10 Gbit/s, full duplex";
  peer_->MustExec({"ip", "link", "set", "f0", "down"});
  EXPECT_TRUE(sawExactly("e0 up 10000 full; e0 down 0 half; "));
  peer_->MustExec({"ip", "link", "set", "f0", "up"});
  EXPECT_TRUE(sawExactly("e0 up 10000 full; e0 down 0 half; e0 up 10000 full; "));
  ns_->RunIn([&] { receiver.reset(); });
  EXPECT_EQ(events, "e0 up 10000 full; e0 down 0 half; e0 up 10000 full; ") << "nothing repeated";
}

}  // namespace
