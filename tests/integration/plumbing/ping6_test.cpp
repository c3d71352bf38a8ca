#include <gtest/gtest.h>

#include <chrono>

#include "orvamesh/utils/ping6.h"
#include "support/netns.h"

namespace {

using namespace ORVA::MESH::SDK;
using orva::net::utils::IPAddress;
using orva::test::NetNs;
using namespace std::chrono;

// Two namespaces on a veth pair: "here" pings, "peer" answers (or, told so, stays silent).
class Ping6Test : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_NETNS();
    here_ = std::make_unique<NetNs>("ping");
    peer_ = std::make_unique<NetNs>("pong");
    orva::test::AddVeth(here_.get(), "p0", peer_.get(), "q0");
    peer_->MustExec({"ip", "-6", "addr", "add", "fd00:77::2/64", "dev", "q0", "nodad"});
    here_->MustExec({"ip", "-6", "addr", "add", "fd00:77::1/64", "dev", "p0", "nodad"});
    peerLinkLocal_ = IPAddress(peer_->LinkLocal("q0"));
    here_->LinkLocal("p0");
  }

  std::optional<microseconds> PingFromHere(const IPAddress& target, milliseconds timeout, const std::string& ifname = "p0") {
    std::optional<microseconds> rtt;
    here_->RunIn([&] { rtt = Ping6(target, ifname, timeout); });
    return rtt;
  }

  std::unique_ptr<NetNs> here_, peer_;
  IPAddress peerLinkLocal_;
};

TEST_F(Ping6Test, ALivePeerAnswersAndSilenceOrAbsenceEndsAtTheDeadline) {
  EXPECT_LT(PingFromHere(peerLinkLocal_, seconds(2)).value_or(seconds(9)), milliseconds(500));
  EXPECT_TRUE(PingFromHere(IPAddress("fd00:77::2"), seconds(2), ""));
  peer_->MustExec({"sysctl", "-q", "-w", "net.ipv6.icmp.echo_ignore_all=1"});
  for (const IPAddress& target : {peerLinkLocal_, IPAddress("fd00:77::99")}) {
    const auto start = steady_clock::now();
    EXPECT_FALSE(PingFromHere(target, milliseconds(300))) << target.ToString();
    const auto took = steady_clock::now() - start;
    EXPECT_GE(took, milliseconds(290)) << target.ToString();
    EXPECT_LT(took, milliseconds(800)) << target.ToString();
  }
}

// Even root takes a datagram socket where the namespace allows unprivileged pings (the range
// is the namespace's own). The raw kind serves the uplink monitor's tests, ping after ping.
TEST_F(Ping6Test, ASessionPingsAgainAndAgainOnOneDatagramSocket) {
  here_->MustExec({"sysctl", "-q", "-w", "net.ipv4.ping_group_range=0 2147483647"});
  here_->RunIn([&] {
    Ping6Session session("p0");
    EXPECT_TRUE(session.IsUnprivileged());
    for (int i = 0; i < 20; ++i) EXPECT_TRUE(session.Ping(peerLinkLocal_, Deadline(seconds(1)))) << i;
  });
}

}  // namespace
