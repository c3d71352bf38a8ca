#include "orvamesh/platform/ip_address.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <net/if.h>

#include "orvamesh/base/exception.h"
#include "support/thrown_text.h"

namespace {

using orva::net::utils::IPAddress;
namespace Exception = ORVA::MESH::SDK::Exception;

TEST(IPAddress, ClassifiesAddressesOfBothFamilies) {
  struct Case {
    const char* text;
    IPAddress::Family family;
    bool linkLocal, multicast;
    const char* canonical;
  } cases[] = {
      {"fe80::1", IPAddress::Family::IPV6, true, false, "fe80::1"},
      {"fec0::1", IPAddress::Family::IPV6, false, false, "fec0::1"},
      {"ff02::1", IPAddress::Family::IPV6, false, true, "ff02::1"},
      {"169.254.10.1", IPAddress::Family::IPV4, true, false, "169.254.10.1"},
      {"169.255.0.1", IPAddress::Family::IPV4, false, false, "169.255.0.1"},
      {"224.0.0.251", IPAddress::Family::IPV4, false, true, "224.0.0.251"},
      {"240.0.0.1", IPAddress::Family::IPV4, false, false, "240.0.0.1"},
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
  const std::string texts[] = {"", "localhost", "fe80::1%eth0", " fe80::1", "1.2.3.4.5",
                               std::string("::1\0junk", 8)};
  for (const std::string& text : texts) {
    IPAddress untouched("::1");
    EXPECT_FALSE(IPAddress::TryParse(text, untouched)) << text;
    EXPECT_EQ(untouched.ToString(), "::1");
    EXPECT_THROW(IPAddress{text}, Exception::InvalidArgumentException) << text;
  }
  EXPECT_THAT(orva::test::ThrownText<Exception::InvalidArgumentException>([] { IPAddress("fe80::zz"); }),
              testing::ContainsRegex(": Ill-formed IP address \\[fe80::zz\\]$"));
}

TEST(IPAddressZone, QualifiesOnlyLinkLocalIPv6WithTheIndexOfAnInterfaceThatExists) {
  const std::string lo = std::to_string(if_nametoindex("lo"));
  EXPECT_EQ(IPAddress("169.254.0.1").AppendIPv6LinkLocalIndex("lo"), "169.254.0.1");
  const std::pair<const char*, std::string> cases[] = {
      {"fe80::1", "fe80::1%" + lo},
      {"fe80::1%7", "fe80::1%7"},
      {"ff02::1", "ff02::1"},
      {"192.168.1.1", "192.168.1.1"},
      {"node.local", "node.local"},
  };
  for (const auto& [host, expected] : cases) {
    EXPECT_EQ(IPAddress::AppendIPv6LinkLocalIndex(host, "lo"), expected) << host;
  }
  EXPECT_THROW(IPAddress("fe80::1").AppendIPv6LinkLocalIndex(""), Exception::InvalidArgumentException);
  EXPECT_THAT(orva::test::ThrownText<Exception::RuntimeException>(
                  [] { IPAddress("fe80::1").AppendIPv6LinkLocalIndex("orvanosuch0"); }),
              testing::HasSubstr("Interface [orvanosuch0] does not exist"));
}

}  // namespace
