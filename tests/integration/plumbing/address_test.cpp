#include <gtest/gtest.h>
#include <json/json.h>

#include <set>
#include <sstream>

#include "orvamesh/base/exception.h"
#include "orvamesh/utils/address.h"
#include "support/netns.h"

namespace {

using namespace ORVA::MESH::SDK;
using orva::net::utils::IPAddress;
using orva::test::NetNs;
using namespace std::chrono;

class AddressTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_NETNS();
    ns_ = std::make_unique<NetNs>("adr");
    orva::test::AddVeth(ns_.get(), "a0", ns_.get(), "b0");
    ns_->LinkLocal("a0");
  }

  // "address/prefix" of every address `ip -j addr` shows for the interface.
  std::set<std::string> FromIp() const {
    Json::Value root;
    std::istringstream(ns_->MustExec({"ip", "-j", "addr", "show", "dev", "a0"})) >> root;
    std::set<std::string> out;
    for (const auto& a : root[0]["addr_info"]) out.insert(a["local"].asString() + "/" + std::to_string(a["prefixlen"].asInt()));
    return out;
  }

  std::set<std::string> FromLibrary() const {
    std::set<std::string> out;
    ns_->RunIn([&] {
      for (const auto& a : Address::List("a0")) out.insert(a.address.ToString() + "/" + std::to_string(a.prefixLength));
    });
    return out;
  }

  std::unique_ptr<NetNs> ns_;
};

TEST_F(AddressTest, ListsAddsAndDeletesWhatIpShowsAndDescribesTheInterface) {
  const std::string mac = ns_->Mac("a0");
  ns_->MustExec({"ip", "link", "set", "a0", "mtu", "1400"});
  ns_->RunIn([&] {
    Address::Add("a0", IPAddress("fd00:9::1"), 64);
    Address::Add("a0", IPAddress("10.9.0.1"), 24);
    Address::Add("a0", IPAddress("10.9.0.1"), 24);  // again: no error
    const InterfaceInfo info = Address::GetInterface("a0");
    EXPECT_EQ(info.mac.ToString(), mac);
    EXPECT_TRUE(info.up);
    EXPECT_TRUE(info.carrier);
    EXPECT_EQ(info.mtu, 1400u);
  });
  const auto listed = FromLibrary();
  EXPECT_EQ(listed, FromIp());
  EXPECT_EQ(listed.count("fd00:9::1/64") + listed.count("10.9.0.1/24"), 2u);
  ns_->RunIn([&] { Address::Delete("a0", IPAddress("10.9.0.1"), 24); });
  EXPECT_EQ(FromLibrary(), FromIp());
  EXPECT_EQ(FromIp().count("10.9.0.1/24"), 0u);
}

TEST_F(AddressTest, WaitsForDuplicateAddressDetectionToFinish) {
  ns_->MustExec({"sysctl", "-q", "-w", "net.ipv6.conf.a0.accept_dad=1"});
  ns_->MustExec({"sysctl", "-q", "-w", "net.ipv6.conf.a0.dad_transmits=1"});
  ns_->RunIn([&] {
    Address::Add("a0", IPAddress("fd00:9::2"), 64);
    EXPECT_FALSE(Address::WaitUsable("a0", IPAddress("fd00:9::2"), Deadline(milliseconds(50))));
    EXPECT_TRUE(Address::WaitUsable("a0", IPAddress("fd00:9::2"), Deadline(seconds(5))));
  });
}

TEST_F(AddressTest, NamesWhatIsMissing) {
  ns_->RunIn([&] {
    EXPECT_THROW(Address::Delete("a0", IPAddress("fd00:9::99"), 64), Exception::IpAddressNotExistException);
    EXPECT_THROW(Address::WaitUsable("a0", IPAddress("fd00:9::99"), Deadline(milliseconds(10))),
                 Exception::IpAddressNotExistException);
  });
}

}  // namespace
