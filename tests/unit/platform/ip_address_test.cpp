#include "orvamesh/platform/ip_address.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <net/if.h>

#include <cstring>
#include <regex>
#include <set>
#include <string>

#include "orvamesh/utils/exception.h"

namespace {

using orva::net::utils::IPAddress;
namespace Exception = ORVA::MESH::SDK::Exception;

TEST(IPAddress, ClassifiesAddressesOfBothFamilies) {
  struct Case {
    const char* text;
    IPAddress::Family family;
    bool linkLocal;
    bool multicast;
    const char* canonical;
  } cases[] = {
      {"fe80::1", IPAddress::Family::IPV6, true, false, "fe80::1"},
      {"FE80:0:0:0:0224:E7FF:FE01:0203", IPAddress::Family::IPV6, true, false, "fe80::224:e7ff:fe01:203"},
      {"febf::1", IPAddress::Family::IPV6, true, false, "febf::1"},
      {"fec0::1", IPAddress::Family::IPV6, false, false, "fec0::1"},
      {"ff02::1", IPAddress::Family::IPV6, false, true, "ff02::1"},
      {"2001:db8::1", IPAddress::Family::IPV6, false, false, "2001:db8::1"},
      {"::", IPAddress::Family::IPV6, false, false, "::"},
      {"169.254.10.1", IPAddress::Family::IPV4, true, false, "169.254.10.1"},
      {"169.255.0.1", IPAddress::Family::IPV4, false, false, "169.255.0.1"},
      {"224.0.0.251", IPAddress::Family::IPV4, false, true, "224.0.0.251"},
      {"239.255.255.255", IPAddress::Family::IPV4, false, true, "239.255.255.255"},
      {"240.0.0.1", IPAddress::Family::IPV4, false, false, "240.0.0.1"},
      {"192.168.1.1", IPAddress::Family::IPV4, false, false, "192.168.1.1"},
  };
  for (const Case& c : cases) {
    const IPAddress address{std::string(c.text)};
    EXPECT_EQ(address.GetFamily(), c.family) << c.text;
    EXPECT_EQ(address.IsLinkLocal(), c.linkLocal) << c.text;
    EXPECT_EQ(address.IsMulticast(), c.multicast) << c.text;
    EXPECT_EQ(address.ToString(), c.canonical);
    EXPECT_EQ(IPAddress(address.ToString()), address);
  }
}

TEST(IPAddress, RefusesTextThatIsNoNumericAddress) {
  const std::string texts[] = {"",          "localhost", "fe80::1%eth0", " fe80::1",
                               "192.168.1", "1.2.3.4.5", "fe80::1::2",   std::string("::1\0junk", 8)};
  for (const std::string& text : texts) {
    IPAddress untouched("::1");
    EXPECT_FALSE(IPAddress::TryParse(text, untouched)) << text;
    EXPECT_EQ(untouched.ToString(), "::1");
    EXPECT_THROW(IPAddress{text}, Exception::InvalidArgumentException) << text;
  }
  try {
    IPAddress bad("fe80::zz");
    FAIL();
  } catch (const Exception::InvalidArgumentException& e) {
    EXPECT_TRUE(std::regex_search(e.what(), std::regex(": Ill-formed IP address \\[fe80::zz\\]$"))) << e.what();
  }
}

TEST(IPAddress, GivesSixteenBytesForEveryNonEmptyAddress) {
  in6_addr bytes{};
  ASSERT_TRUE(IPAddress("fe80::224:e7ff:fe01:203").ToIn6Addr(bytes));
  in6_addr expected{};
  inet_pton(AF_INET6, "fe80::224:e7ff:fe01:203", &expected);
  EXPECT_EQ(0, std::memcmp(&bytes, &expected, sizeof bytes));

  ASSERT_TRUE(IPAddress("192.0.2.7").ToIn6Addr(bytes));
  inet_pton(AF_INET6, "::ffff:192.0.2.7", &expected);
  EXPECT_EQ(0, std::memcmp(&bytes, &expected, sizeof bytes));
  in_addr v4{};
  ASSERT_TRUE(IPAddress("192.0.2.7").ToInAddr(v4));
  EXPECT_EQ(IPAddress(v4).ToString(), "192.0.2.7");
  EXPECT_FALSE(IPAddress("::1").ToInAddr(v4));

  const IPAddress empty;
  EXPECT_TRUE(empty.IsEmpty());
  EXPECT_FALSE(empty.ToIn6Addr(bytes));
  EXPECT_EQ(empty.ToString(), "");
  EXPECT_EQ(empty.GetAddressFamily(), AF_UNSPEC);
  EXPECT_FALSE(empty.IsLinkLocal() || empty.IsMulticast());
}

TEST(IPAddress, OrdersByFamilyThenBytes) {
  std::set<IPAddress> set{IPAddress("::2"), IPAddress("10.0.0.1"), IPAddress("0:0::2"), IPAddress("::1"),
                          IPAddress()};
  ASSERT_EQ(set.size(), 4u);
  EXPECT_TRUE(set.begin()->IsEmpty());
  EXPECT_EQ(set.rbegin()->ToString(), "::2");
  EXPECT_NE(IPAddress("::ffff:10.0.0.1"), IPAddress("10.0.0.1"));
}

TEST(IPAddressZone, QualifiesOnlyLinkLocalIPv6WithTheInterfaceIndex) {
  const std::string lo = std::to_string(if_nametoindex("lo"));
  EXPECT_EQ(IPAddress("fe80::1").AppendIPv6LinkLocalIndex("lo"), "fe80::1%" + lo);
  EXPECT_EQ(IPAddress("2001:db8::1").AppendIPv6LinkLocalIndex("lo"), "2001:db8::1");
  EXPECT_EQ(IPAddress("169.254.0.1").AppendIPv6LinkLocalIndex("lo"), "169.254.0.1");
  struct Case {
    const char* host;
    std::string expected;
  } cases[] = {
      {"fe80::224:e7ff:fe01:203", "fe80::224:e7ff:fe01:203%" + lo},
      {"FE80::1", "FE80::1%" + lo},
      {"fe80::1%7", "fe80::1%7"},
      {"ff02::1", "ff02::1"},
      {"192.168.1.1", "192.168.1.1"},
      {"node.local", "node.local"},
  };
  for (const Case& c : cases) EXPECT_EQ(IPAddress::AppendIPv6LinkLocalIndex(c.host, "lo"), c.expected) << c.host;
}

TEST(IPAddressZone, FailsClearlyForAnEmptyOrUnknownInterface) {
  EXPECT_THROW(IPAddress("fe80::1").AppendIPv6LinkLocalIndex(""), Exception::InvalidArgumentException);
  EXPECT_THROW(IPAddress::AppendIPv6LinkLocalIndex("2001:db8::1", ""), Exception::InvalidArgumentException);
  try {
    IPAddress("fe80::1").AppendIPv6LinkLocalIndex("orvanosuch0");
    FAIL();
  } catch (const Exception::RuntimeException& e) {
    EXPECT_NE(std::string(e.what()).find("Interface [orvanosuch0] does not exist"), std::string::npos) << e.what();
  }
}

}  // namespace
