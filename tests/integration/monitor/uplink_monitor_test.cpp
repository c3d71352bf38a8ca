#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <mutex>

#include "orvamesh/base/exception.h"
#include "orvamesh/monitor/ethernet_uplink_monitor.h"
#include "support/netns.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK::Monitor;
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

  // No gateway given: the monitor pings the one the routing table names.
  void Start() {
    const UplinkMonitorOptions options{kInterval, milliseconds(50), kN, kM, std::nullopt};
    node_->RunIn([&] {
      monitor_ = std::make_unique<EthernetUplinkMonitor>("u0", options);
      monitor_->Start([this](const UplinkChange& change) {
        std::lock_guard<std::mutex> lock(mutex_);
        changes_.push_back({change.to, steady_clock::now()});
        throw std::runtime_error("a subscriber's bug, which the monitor survives");
      });
    });
  }

  bool Reaches(UPLINK_STATE state, milliseconds within = seconds(5)) {
    return WaitUntil([&] { return monitor_->GetState() == state; }, within);
  }

  // When the monitor last moved to `state`; only asked once it has.
  steady_clock::time_point When(UPLINK_STATE state) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto is = [&](const auto& change) { return change.first == state; };
    return std::find_if(changes_.rbegin(), changes_.rend(), is)->second;
  }

  // Declared so that the monitor stops before what its callback uses.
  std::unique_ptr<NetNs> node_, gateway_;
  std::string gatewayAddress_;
  std::mutex mutex_;
  std::vector<std::pair<UPLINK_STATE, steady_clock::time_point>> changes_;
  std::unique_ptr<EthernetUplinkMonitor> monitor_;
};

TEST_F(UplinkMonitorTest, FollowsCarrierAndTheRoutingTablesGatewayWithHysteresis) {
  const std::vector<std::string> route = {"ip", "-6", "route", "replace", "default", "via", gatewayAddress_,
                                          "dev", "u0"};
  node_->MustExec(route);
  Start();
  ASSERT_TRUE(Reaches(UPLINK_STATE::UP));

  node_->MustExec({"ip", "link", "set", "u0", "down"});
  ASSERT_TRUE(Reaches(UPLINK_STATE::DOWN, kInterval)) << "carrier loss is immediate";
  node_->MustExec({"ip", "link", "set", "u0", "up"});
  node_->MustExec(route);  // the link took its routes down with it
  ASSERT_TRUE(Reaches(UPLINK_STATE::UP));

  const auto silent = steady_clock::now();
  gateway_->MustExec({"sysctl", "-q", "-w", "net.ipv6.icmp.echo_ignore_all=1"});
  ASSERT_TRUE(Reaches(UPLINK_STATE::DEGRADED));
  const auto degradedAfter = When(UPLINK_STATE::DEGRADED) - silent;
  EXPECT_GE(degradedAfter, (kN - 1) * kInterval);
  EXPECT_LE(degradedAfter, kN * kInterval + milliseconds(50) + milliseconds(40)) << "N intervals plus one time-out";

  gateway_->MustExec({"sysctl", "-q", "-w", "net.ipv6.icmp.echo_ignore_all=0"});
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
