#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <set>

#include "orvamesh/driver/netlink_receiver.h"
#include "support/log_capture.h"
#include "support/netns.h"
#include "support/temp_dir.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Driver;
using orva::test::NetNs;
using orva::test::WaitUntil;

class NetlinkTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_NETNS();
    ns_ = std::make_unique<NetNs>("nlr");
    orva::test::AddVeth(ns_.get(), "v0", ns_.get(), "w0");
    orva::test::AddBridge(*ns_, "br0");
  }

  // Every event becomes one line of text, for the tests to wait on.
  void StartReceiver(unsigned groups) {
    using std::to_string;
    const auto add = [this](const char* kind, NETLINK_CHANGE change, const std::string& rest) {
      std::lock_guard<std::mutex> lock(mutex_);
      lines_.push_back(std::string(kind) + " " + NetlinkChangeToString(change) + " " + rest);
    };
    ns_->RunIn([&] {
      receiver_ = std::make_unique<NetlinkReceiver>(groups);
      receiver_->OnLink([add](const LinkEvent& e) {
        add("link", e.change, e.name + " up=" + to_string(e.up) + " carrier=" + to_string(e.carrier));
      });
      receiver_->OnAddress([add](const AddressEvent& e) {
        add("address", e.change, to_string(e.index) + " " + e.address.ToString() + "/" + to_string(e.prefixLength));
      });
      receiver_->Start();
    });
  }

  size_t Count(const std::string& prefix) {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::count_if(lines_.begin(), lines_.end(), [&](const std::string& l) { return l.rfind(prefix, 0) == 0; });
  }
  bool Sees(const std::string& prefix) {
    return WaitUntil([&] { return Count(prefix) > 0; });
  }

  // Declared so that the receiver stops before what its callbacks use.
  std::unique_ptr<NetNs> ns_;
  std::mutex mutex_;
  std::vector<std::string> lines_;
  std::unique_ptr<NetlinkReceiver> receiver_;
};

TEST_F(NetlinkTest, AReceiverStartedLateReportsTheCurrentStateThenEachChangeAsItHappens) {
  ns_->MustExec({"ip", "-6", "addr", "add", "fd00:1::1/64", "dev", "v0", "nodad"});
  StartReceiver(NetlinkReceiver::kLinks | NetlinkReceiver::kAddresses);
  const std::string v0 = std::to_string(std::stoi(ns_->MustExec({"cat", "/sys/class/net/v0/ifindex"})));
  EXPECT_TRUE(Sees("link ADDED v0 up=1 carrier=1"));
  ASSERT_TRUE(Sees("address ADDED " + v0 + " fd00:1::1/64"));
  EXPECT_EQ(Count("link ADDED br0 up=1"), 1u) << "the links are dumped before the addresses";

  ns_->MustExec({"ip", "-6", "addr", "add", "fd00:2::7/80", "dev", "v0", "nodad"});
  EXPECT_TRUE(Sees("address ADDED " + v0 + " fd00:2::7/80"));
  ns_->MustExec({"ip", "-6", "addr", "del", "fd00:2::7/80", "dev", "v0"});
  EXPECT_TRUE(Sees("address REMOVED " + v0 + " fd00:2::7/80"));
  ns_->MustExec({"ip", "link", "set", "v0", "down"});
  EXPECT_TRUE(Sees("link CHANGED v0 up=0 carrier=0"));
}

size_t Entries(const char* directory) {
  return std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator());
}

TEST(NetlinkReceiver, StartsAndStopsAgainAndAgainLeavingNothingBehind) {
  const size_t fds = Entries("/proc/self/fd"), threads = Entries("/proc/self/task");
  for (int i = 0; i < 200; ++i) {
    NetlinkReceiver receiver(NetlinkReceiver::kAll);
    receiver.Start();
    if (i % 2 == 0) receiver.Stop();
  }
  EXPECT_EQ(Entries("/proc/self/fd"), fds);
  EXPECT_TRUE(WaitUntil([&] { return Entries("/proc/self/task") == threads; })) << "threads left behind";
}

// A subscriber that falls behind while a thousand links appear overruns the socket; the
// receiver then asks for the whole state again, so in the end every link has been reported.
TEST_F(NetlinkTest, AnOverrunSocketIsRecoveredByAFreshDump) {
  orva::test::LogCapture log;
  std::mutex gate, namesMutex;
  std::set<std::string> names;
  std::unique_ptr<NetlinkReceiver> receiver;
  ns_->RunIn([&] {
    receiver = std::make_unique<NetlinkReceiver>(NetlinkReceiver::kLinks);
    receiver->OnLink([&](const LinkEvent& e) {
      std::lock_guard<std::mutex> wait(gate);  // the slow subscriber
      std::lock_guard<std::mutex> lock(namesMutex);
      if (e.change != NETLINK_CHANGE::REMOVED) names.insert(e.name);
    });
    receiver->Start();
  });
  // Declared last: the subscriber is let go before the receiver stops, whatever ends the test.
  std::unique_lock<std::mutex> held(gate);
  std::string batch;
  for (int i = 0; i < 700; ++i) batch += "link add x" + std::to_string(i) + " type veth peer name y" + std::to_string(i) + "\n";
  const orva::test::TempDir dir;
  ns_->MustExec({"ip", "-batch", dir.WriteFile("links", batch)});
  held.unlock();
  EXPECT_TRUE(WaitUntil([&] {
    std::lock_guard<std::mutex> lock(namesMutex);
    return names.count("x0") && names.count("y699");
  }, std::chrono::seconds(30)));
  EXPECT_TRUE(log.Contains("dumping the state again"));
}

}  // namespace
