#include <gtest/gtest.h>

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
    orva::test::AddBridge(*bridge_, "br0");
    orva::test::AttachToBridge(*bridge_, "pb", "br0");
  }
  int Index(const std::string& name) const {
    return std::stoi(bridge_->MustExec({"cat", "/sys/class/net/" + name + "/ifindex"}));
  }

  // Port events are kept as "ADDED 5", moves as "move <mac> 5->6" or "loop <mac> 6->5".
  void Start(milliseconds loopWindow) {
    bridge_->RunIn([&] {
      monitor_ = std::make_unique<BridgeMonitor>("br0", loopWindow);
      monitor_->OnPort([this](const Driver::BridgePortEvent& e) {
        Add(std::string(Driver::NetlinkChangeToString(e.change)) + " " + std::to_string(e.index));
      });
      monitor_->OnMove([this](const MacMove& m) {
        Add(std::string(m.possibleLoop ? "loop " : "move ") + m.mac.ToString() + " " + std::to_string(m.fromPort) +
            "->" + std::to_string(m.toPort));
      });
      monitor_->Start();
    });
  }
  void Add(const std::string& event) {
    std::lock_guard<std::mutex> lock(mutex_);
    events_.push_back(event);
  }
  bool Saw(const std::string& event) {
    return WaitUntil([&] {
      std::lock_guard<std::mutex> lock(mutex_);
      return std::find(events_.begin(), events_.end(), event) != events_.end();
    });
  }
  bool Learned(const Mac& mac, int port) {
    return WaitUntil([&] { const auto fdb = monitor_->Fdb(); return fdb.count(mac) && fdb.at(mac) == port; });
  }
  static void Speak(const NetNs& peer, const std::string& ifname) {
    orva::platform::RunProgram(peer.Exec({"ping", "-6", "-c", "1", "-W", "1", "ff02::1%" + ifname}));
  }

  // Declared so that the monitor stops before what its callbacks use.
  std::unique_ptr<NetNs> bridge_, a_, b_;
  std::mutex mutex_;
  std::vector<std::string> events_;
  std::unique_ptr<BridgeMonitor> monitor_;
};

TEST_F(BridgeMonitorTest, FollowsPortsAndWhereEachMacWasLearnedAndTellsAMoveFromALoop) {
  Start(milliseconds(1000));
  const int paIndex = Index("pa");
  const std::string pa = std::to_string(paIndex), pb = std::to_string(Index("pb"));
  EXPECT_TRUE(Saw("ADDED " + pb)) << "the port already there";
  bridge_->MustExec({"ip", "link", "set", "pa", "master", "br0"});
  ASSERT_TRUE(Saw("ADDED " + pa));
  const std::string mac = a_->Mac("wa");
  Speak(*a_, "wa");
  ASSERT_TRUE(Learned(Mac(mac), paIndex));
  std::this_thread::sleep_for(milliseconds(1100));  // longer than the loop window: a real move

  // The peer is unplugged from pa and plugged into pb: its MAC now speaks from b's side.
  a_->MustExec({"ip", "link", "set", "wa", "down"});
  EXPECT_TRUE(WaitUntil([&] { return !monitor_->Ports().at(paIndex).carrier; }));
  b_->MustExec({"ip", "link", "set", "wb", "address", mac});
  b_->LinkLocal("wb");
  Speak(*b_, "wb");
  EXPECT_TRUE(Saw("move " + mac + " " + pa + "->" + pb));
  // And straight back while the other side is still there: a frame going round looks just
  // like this.
  a_->MustExec({"ip", "link", "set", "wa", "up"});
  a_->LinkLocal("wa");
  Speak(*a_, "wa");
  EXPECT_TRUE(Saw("loop " + mac + " " + pb + "->" + pa));

  bridge_->MustExec({"ip", "link", "set", "pa", "nomaster"});
  ASSERT_TRUE(Saw("REMOVED " + pa));
  EXPECT_EQ(monitor_->Ports().count(paIndex), 0u);
}

TEST(BridgeMonitor, RefusesABridgeThatDoesNotExist) {
  BridgeMonitor monitor("nobr0");
  EXPECT_THROW(monitor.Start(), ORVA::MESH::SDK::Exception::InvalidArgumentException);
}

}  // namespace
