#include <gtest/gtest.h>

#include <chrono>
#include <mutex>

#include "orvamesh/base/exception.h"
#include "orvamesh/monitor/ethernet_uplink_monitor.h"
#include "support/netns.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK::Monitor;
using orva::net::utils::IPAddress;
using orva::test::NetNs;
using orva::test::WaitUntil;
using namespace std::chrono;

// A node whose uplink port u0 reaches a gateway namespace over a veth pair.
class UplinkMonitorTest : public ::testing::Test {
 protected:
  static constexpr milliseconds kInterval{100};
  static constexpr unsigned kN = 3, kM = 2;

  void SetUp() override {
    ORVA_REQUIRE_NETNS();
    node_ = std::make_unique<NetNs>("upn");
    gateway_ = std::make_unique<NetNs>("upg");
    orva::test::AddVeth(node_.get(), "u0", gateway_.get(), "g0");
    gatewayAddress_ = gateway_->LinkLocal("g0");
    node_->LinkLocal("u0");
  }
  void TearDown() override {
    if (monitor_) node_->RunIn([&] { monitor_.reset(); });
  }

  void Start(std::optional<IPAddress> gateway) {
    const UplinkMonitorOptions options{kInterval, milliseconds(50), kN, kM, gateway};
    node_->RunIn([&] {
      monitor_ = std::make_unique<EthernetUplinkMonitor>("u0", options);
      monitor_->Start([this](const UplinkChange& change) {
        std::lock_guard<std::mutex> lock(mutex_);
        changes_.push_back({change.to, steady_clock::now()});
        if (throwing_) throw std::runtime_error("a subscriber's bug");
      });
    });
  }

  bool Reaches(UPLINK_STATE state, milliseconds within = seconds(5)) {
    return WaitUntil([&] { return monitor_->GetState() == state; }, within);
  }

  std::optional<steady_clock::time_point> When(UPLINK_STATE state) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = changes_.rbegin(); it != changes_.rend(); ++it) {
      if (it->first == state) return it->second;
    }
    return std::nullopt;
  }

  std::unique_ptr<NetNs> node_, gateway_;
  std::string gatewayAddress_;
  std::unique_ptr<EthernetUplinkMonitor> monitor_;
  std::mutex mutex_;
  std::vector<std::pair<UPLINK_STATE, steady_clock::time_point>> changes_;
  bool throwing_ = false;
};

TEST_F(UplinkMonitorTest, FollowsCarrierAndGatewayWithHysteresis) {
  Start(IPAddress(gatewayAddress_));
  ASSERT_TRUE(Reaches(UPLINK_STATE::UP));

  const auto down = steady_clock::now();
  node_->MustExec({"ip", "link", "set", "u0", "down"});
  ASSERT_TRUE(Reaches(UPLINK_STATE::DOWN, kInterval));
  EXPECT_LT(*When(UPLINK_STATE::DOWN) - down, kInterval);
  node_->MustExec({"ip", "link", "set", "u0", "up"});
  ASSERT_TRUE(Reaches(UPLINK_STATE::UP));

  const auto silent = steady_clock::now();
  gateway_->MustExec({"sysctl", "-q", "-w", "net.ipv6.icmp.echo_ignore_all=1"});
  ASSERT_TRUE(Reaches(UPLINK_STATE::DEGRADED));
  const auto degradedAfter = *When(UPLINK_STATE::DEGRADED) - silent;
  EXPECT_GE(degradedAfter, (kN - 1) * kInterval);
  EXPECT_LE(degradedAfter, kN * kInterval + milliseconds(50) + milliseconds(40)) << "N intervals plus one time-out";

  gateway_->MustExec({"sysctl", "-q", "-w", "net.ipv6.icmp.echo_ignore_all=0"});
  ASSERT_TRUE(Reaches(UPLINK_STATE::UP));
}

TEST_F(UplinkMonitorTest, FindsTheGatewayInTheRoutingTableAndSurvivesAThrowingCallback) {
  node_->MustExec({"ip", "-6", "route", "add", "default", "via", gatewayAddress_, "dev", "u0"});
  throwing_ = true;
  Start(std::nullopt);
  ASSERT_TRUE(Reaches(UPLINK_STATE::UP));
  node_->MustExec({"ip", "-6", "route", "del", "default", "via", gatewayAddress_, "dev", "u0"});
  EXPECT_TRUE(Reaches(UPLINK_STATE::DEGRADED)) << "no default route, no gateway to answer";
}

TEST_F(UplinkMonitorTest, RefusesAPortThatDoesNotExistAndStartsAndStopsQuickly) {
  node_->RunIn([&] {
    EthernetUplinkMonitor missing("nope0");
    EXPECT_THROW(missing.Start({}), ORVA::MESH::SDK::Exception::InvalidArgumentException);
    for (int i = 0; i < 50; ++i) {
      EthernetUplinkMonitor monitor("u0");
      const auto start = steady_clock::now();
      monitor.Start({});
      monitor.Stop();
      EXPECT_LT(steady_clock::now() - start, milliseconds(500));
    }
  });
}

}  // namespace
