#include <gtest/gtest.h>
#include <net/if.h>

#include <algorithm>
#include <mutex>
#include <thread>

#include "orvamesh/base/exception.h"
#include "orvamesh/monitor/bridge_monitor.h"
#include "platform/process_runner.h"
#include "support/kernel_feature.h"
#include "support/netns.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Monitor;
using orva::test::NetNs;
using orva::test::WaitUntil;
using namespace std::chrono;

// A bridge br0 in its own namespace with two ports, pa and pb, each leading to a peer.
class BridgeMonitorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_NETNS();
    ORVA_REQUIRE_KERNEL_FEATURE(orva::test::KernelFeature::kBridgeNetlinkEvents);
    bridge_ = std::make_unique<NetNs>("brs");
    a_ = std::make_unique<NetNs>("bra");
    b_ = std::make_unique<NetNs>("brb");
    orva::test::AddVeth(bridge_.get(), "pa", a_.get(), "wa");
    orva::test::AddVeth(bridge_.get(), "pb", b_.get(), "wb");
    bridge_->MustExec({"ip", "link", "add", "br0", "type", "bridge"});
    bridge_->MustExec({"ip", "link", "set", "br0", "up"});
    bridge_->MustExec({"ip", "link", "set", "pb", "master", "br0"});
  }
  void TearDown() override {
    if (monitor_) bridge_->RunIn([&] { monitor_.reset(); });
  }

  int Index(const std::string& name) const {
    int index = 0;
    bridge_->RunIn([&] { index = static_cast<int>(::if_nametoindex(name.c_str())); });
    return index;
  }

  void Start(milliseconds loopWindow) {
    bridge_->RunIn([&] {
      monitor_ = std::make_unique<BridgeMonitor>("br0", loopWindow);
      monitor_->OnPort([this](const Driver::BridgePortEvent& e) {
        std::lock_guard<std::mutex> lock(mutex_);
        ports_.push_back(std::string(Driver::NetlinkChangeToString(e.change)) + " " + std::to_string(e.index));
      });
      monitor_->OnMove([this](const MacMove& m) {
        std::lock_guard<std::mutex> lock(mutex_);
        moves_.push_back(m.mac.ToString() + " " + std::to_string(m.fromPort) + "->" + std::to_string(m.toPort) +
                         (m.possibleLoop ? " loop" : " move"));
      });
      monitor_->Start();
    });
  }

  static void Speak(const NetNs& peer, const std::string& ifname) {
    orva::platform::RunProgram(peer.Exec({"ping", "-6", "-c", "1", "-W", "1", "ff02::1%" + ifname}));
  }

  bool PortEvent(const std::string& event) {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::find(ports_.begin(), ports_.end(), event) != ports_.end();
  }

  // Every move reported, as "mac from->to move" or "... loop".
  std::vector<std::string> Moves() {
    std::lock_guard<std::mutex> lock(mutex_);
    return moves_;
  }

  std::unique_ptr<NetNs> bridge_, a_, b_;
  std::unique_ptr<BridgeMonitor> monitor_;
  std::mutex mutex_;
  std::vector<std::string> ports_;
  std::vector<std::string> moves_;
};

TEST_F(BridgeMonitorTest, FollowsPortsAndWhereEachMacWasLearned) {
  Start(milliseconds(200));
  const int pa = Index("pa"), pb = Index("pb");
  EXPECT_TRUE(WaitUntil([&] { return PortEvent("ADDED " + std::to_string(pb)); })) << "the port already there";
  bridge_->MustExec({"ip", "link", "set", "pa", "master", "br0"});
  ASSERT_TRUE(WaitUntil([&] { return PortEvent("ADDED " + std::to_string(pa)); }));
  EXPECT_TRUE(monitor_->Ports().at(pa).carrier);

  const Mac macA(a_->Mac("wa"));
  Speak(*a_, "wa");
  ASSERT_TRUE(WaitUntil([&] { const auto fdb = monitor_->Fdb(); return fdb.count(macA) && fdb.at(macA) == pa; }));

  a_->MustExec({"ip", "link", "set", "wa", "down"});
  EXPECT_TRUE(WaitUntil([&] { return !monitor_->Ports().at(pa).carrier; }));

  bridge_->MustExec({"ip", "link", "set", "pa", "nomaster"});
  ASSERT_TRUE(WaitUntil([&] { return PortEvent("REMOVED " + std::to_string(pa)); }));
  EXPECT_EQ(monitor_->Ports().count(pa), 0u);
  EXPECT_EQ(monitor_->Fdb().count(macA), 0u) << "its entries left with the port";
}

TEST_F(BridgeMonitorTest, TellsAPeerThatMovedFromAMacGoingRound) {
  bridge_->MustExec({"ip", "link", "set", "pa", "master", "br0"});
  Start(milliseconds(1000));
  const int paIndex = Index("pa");
  const std::string pa = std::to_string(paIndex), pb = std::to_string(Index("pb"));
  const std::string mac = a_->Mac("wa");
  Speak(*a_, "wa");
  ASSERT_TRUE(WaitUntil([&] { return monitor_->Fdb().count(Mac(mac)) && monitor_->Fdb().at(Mac(mac)) == paIndex; }));
  std::this_thread::sleep_for(milliseconds(1100));  // longer than the loop window: a real move

  // The peer is unplugged from pa and plugged into pb: its MAC now speaks from b's side.
  a_->MustExec({"ip", "link", "set", "wa", "down"});
  b_->MustExec({"ip", "link", "set", "wb", "address", mac});
  b_->LinkLocal("wb");
  Speak(*b_, "wb");
  ASSERT_TRUE(WaitUntil([&] { return Moves().size() == 1; }));
  EXPECT_EQ(Moves()[0], mac + " " + pa + "->" + pb + " move");
  // And straight back while the other side is still there: a frame going round looks just
  // like this.
  a_->MustExec({"ip", "link", "set", "wa", "up"});
  a_->LinkLocal("wa");
  Speak(*a_, "wa");
  ASSERT_TRUE(WaitUntil([&] { return Moves().size() >= 2; })) << Moves().size();
  EXPECT_EQ(Moves()[1], mac + " " + pb + "->" + pa + " loop");
}

TEST(BridgeMonitor, RefusesABridgeThatDoesNotExist) {
  BridgeMonitor monitor("nobr0");
  EXPECT_THROW(monitor.Start(), ORVA::MESH::SDK::Exception::InvalidArgumentException);
}

}  // namespace
