// Firewall hooks on the real nftables in a namespace whose own input policy drops everything:
// ports pass only while open and only on the named interface, the system's chain keeps its
// rules apart from our one jump, and a ruleset flushed by someone else is repaired.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>

#include <gtest/gtest.h>

#include "orvamesh/utils/firewall.h"
#include "support/kernel_feature.h"
#include "support/log_capture.h"
#include "support/netns.h"
#include "support/temp_dir.h"

namespace {

using namespace ORVA::MESH::SDK;
using orva::test::NetNs;
using Utils::FirewallHook;
using Utils::FirewallProtocol;

constexpr const char* kSystemRuleset =
    "table inet filter {\n"
    "  chain input { type filter hook input priority 0; policy drop; iif \"lo\" accept; }\n"
    "}\n";

class FirewallHooks : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_NETNS();
    ORVA_REQUIRE_KERNEL_FEATURE(orva::test::KernelFeature::kNetfilterNetlink);
    node_ = std::make_unique<NetNs>("fwn");
    lan_ = std::make_unique<NetNs>("fwl");
    other_ = std::make_unique<NetNs>("fwo");
    orva::test::AddVeth(node_.get(), "a0", lan_.get(), "b0");
    orva::test::AddVeth(node_.get(), "a1", other_.get(), "b1");
    node_->MustExec({"ip", "addr", "add", "10.7.0.1/24", "dev", "a0"});
    lan_->MustExec({"ip", "addr", "add", "10.7.0.2/24", "dev", "b0"});
    node_->MustExec({"ip", "addr", "add", "10.8.0.1/24", "dev", "a1"});
    other_->MustExec({"ip", "addr", "add", "10.8.0.2/24", "dev", "b1"});
    LoadSystemRuleset();
    node_->RunIn([&] { firewall_ = std::make_unique<Utils::Firewall>(); });
  }
  void TearDown() override {
    if (node_) node_->RunIn([&] { firewall_.reset(); });
  }

  void LoadSystemRuleset() {
    const std::string file = dir_.WriteFile("system.nft", kSystemRuleset);
    node_->MustExec({"nft", "-f", file});
  }
  int Call(const std::function<int(Utils::Firewall&)>& fn) {
    int rc = -2;
    node_->RunIn([&] { rc = fn(*firewall_); });
    return rc;
  }
  std::vector<FirewallHook> Listed() {
    std::vector<FirewallHook> hooks;
    EXPECT_EQ(Call([&](Utils::Firewall& f) { return f.List(hooks); }), 0);
    return hooks;
  }
  std::string SystemChain() const {
    return node_->MustExec({"nft", "list", "chain", "inet", "filter", "input"});
  }
  std::string Ruleset() const { return node_->MustExec({"nft", "list", "ruleset"}); }

  // Whether a datagram or connection from `from` (lan_ or other_) to the hook's protocol and
  // port reaches a socket the node has bound there.
  bool Passes(const FirewallHook& hook, const NetNs& from) {
    const int type = hook.protocol == FirewallProtocol::kUdp ? SOCK_DGRAM : SOCK_STREAM;
    const sockaddr_in any = Address("0.0.0.0", hook.port);
    const sockaddr_in to = Address(&from == lan_.get() ? "10.7.0.1" : "10.8.0.1", hook.port);
    int server = -1;
    node_->RunIn([&] {
      server = ::socket(AF_INET, type | SOCK_CLOEXEC, 0);
      const int yes = 1;
      ::setsockopt(server, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
      if (::bind(server, reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0) ADD_FAILURE() << hook.port;
      if (type == SOCK_STREAM) ::listen(server, 1);
    });
    bool sent = false;
    from.RunIn([&] {
      // A dropped SYN leaves connect() waiting: the send time-out ends it.
      const int client = ::socket(AF_INET, type | SOCK_CLOEXEC, 0);
      const timeval limit{0, 300 * 1000};
      ::setsockopt(client, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
      sent = ::connect(client, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0 &&
             ::send(client, "p", 1, 0) == 1;
      ::close(client);
    });
    // A datagram, or a connection waiting to be accepted, makes the server readable.
    pollfd entry{server, POLLIN, 0};
    const bool arrived = sent && ::poll(&entry, 1, 300) == 1;
    ::close(server);
    return arrived;
  }
  static sockaddr_in Address(const char* ip, int port) {
    sockaddr_in addr{AF_INET, htons(static_cast<uint16_t>(port)), {}, {}};
    ::inet_pton(AF_INET, ip, &addr.sin_addr);
    return addr;
  }

  orva::test::TempDir dir_;
  std::unique_ptr<NetNs> node_, lan_, other_;
  std::unique_ptr<Utils::Firewall> firewall_;
};

TEST_F(FirewallHooks, LetTrafficInOnlyWhileOpenAndOnlyOnTheNamedInterface) {
  const auto hooks = Utils::MeshServiceHooks("a0");  // wired-scan UDP, HTTPS, SSH
  const FirewallHook anywhere{FirewallProtocol::kTcp, 8443, ""};
  EXPECT_FALSE(Passes(hooks[1], *lan_));

  ASSERT_EQ(Call([&](Utils::Firewall& f) { return f.Open(hooks); }), 0);
  EXPECT_TRUE(Passes(hooks[0], *lan_));
  EXPECT_TRUE(Passes(hooks[1], *lan_));
  EXPECT_FALSE(Passes(hooks[1], *other_));

  ASSERT_EQ(Call([&](Utils::Firewall& f) { return f.Close(hooks[1]); }), 0);
  EXPECT_FALSE(Passes(hooks[1], *lan_));
  EXPECT_TRUE(Passes(hooks[0], *lan_));

  ASSERT_EQ(Call([&](Utils::Firewall& f) { return f.Open(anywhere); }), 0);
  EXPECT_TRUE(Passes(anywhere, *other_));
  ASSERT_EQ(Call([](Utils::Firewall& f) { return f.CloseAll(); }), 0);
  EXPECT_FALSE(Passes(hooks[0], *lan_));
}

TEST_F(FirewallHooks, ChangeTheSystemChainByOneJumpOnceAndRepairAFlushedRuleset) {
  const std::string before = SystemChain();
  const FirewallHook scan{FirewallProtocol::kUdp, 7783, "a0"};
  const FirewallHook https{FirewallProtocol::kTcp, 443, "a0"};
  ASSERT_EQ(Call([&](Utils::Firewall& f) { return f.Open(scan); }), 0);
  // Without our jump the chain is as the system left it.
  std::string after = SystemChain();
  const size_t jump = after.find("jump orvamesh_input");
  ASSERT_NE(jump, std::string::npos) << after;
  after.erase(after.rfind('\n', jump), after.find('\n', jump) - after.rfind('\n', jump));
  EXPECT_EQ(after, before);

  const std::string ruleset = Ruleset();
  ASSERT_EQ(Call([&](Utils::Firewall& f) { return f.Open(scan); }), 0);
  ASSERT_EQ(Call([](Utils::Firewall& f) { return f.Close({FirewallProtocol::kTcp, 1, ""}); }), 0);
  EXPECT_EQ(Ruleset(), ruleset) << "repeated calls change nothing";

  node_->MustExec({"nft", "flush", "ruleset"});
  LoadSystemRuleset();  // the system's firewall service starts over
  ASSERT_EQ(Call([&](Utils::Firewall& f) { return f.Open(https); }), 0);
  EXPECT_EQ(Listed(), (std::vector<FirewallHook>{https, scan}));
  EXPECT_TRUE(Passes(scan, *lan_));
}

TEST_F(FirewallHooks, RefuseBadInputWithoutTouchingTheRuleset) {
  const std::string ruleset = Ruleset();
  orva::test::LogCapture log;
  const std::vector<FirewallHook> bad = {
      {FirewallProtocol::kTcp, 0, "a0"},
      {FirewallProtocol::kTcp, 65536, "a0"},
      {static_cast<FirewallProtocol>(7), 22, "a0"},
      {FirewallProtocol::kTcp, 22, "a0\" accept; drop"},
      {FirewallProtocol::kTcp, 22, ".."},
  };
  for (const FirewallHook& hook : bad) {
    EXPECT_EQ(Call([&](Utils::Firewall& f) { return f.Open(hook); }), -1) << hook.interfaceName << hook.port;
  }
  // A batch with one bad hook changes nothing either.
  EXPECT_EQ(Call([&](Utils::Firewall& f) {
              return f.Open(std::vector<FirewallHook>{{FirewallProtocol::kTcp, 22, "a0"}, bad[0]});
            }),
            -1);
  EXPECT_EQ(Ruleset(), ruleset);

  node_->MustExec({"nft", "flush", "ruleset"});
  EXPECT_EQ(Call([](Utils::Firewall& f) { return f.Open({FirewallProtocol::kTcp, 22, ""}); }), -1);
  EXPECT_TRUE(log.Contains("does not exist"));
}

}  // namespace

// Only where the kernel (or an emulator) offers no nftables socket: libnftables would end the
// process there, so the firewall has to notice first and fail like any refused change.
TEST(FirewallWithoutNetfilter, FailsEveryChangeAndTheProcessGoesOn) {
  if (orva::test::KernelFeatureMissing(orva::test::KernelFeature::kNetfilterNetlink).empty()) {
    GTEST_SKIP() << "this kernel has nftables sockets";
  }
  orva::test::LogCapture log;
  Utils::Firewall firewall;
  std::vector<FirewallHook> hooks;
  EXPECT_NE(firewall.Open(FirewallHook{FirewallProtocol::kTcp, 22, "eth0"}), 0);
  EXPECT_NE(firewall.List(hooks), 0);
  EXPECT_TRUE(log.Contains("no netfilter netlink socket"));
}
