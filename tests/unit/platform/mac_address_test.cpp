#include "orvamesh/platform/mac_address.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

using orva::net::utils::MacAddress;

TEST(MacAddress, AcceptsTheUsualTextFormsAndPrintsOneCanonicalFormAlsoViaEtherAddr) {
  struct Case {
    const char* text;
    const char* canonical;  // nullptr: not an address
  } cases[] = {
      {"00:24:E7:AB:CD:EF", "00:24:e7:ab:cd:ef"},
      {"00-24-e7-ab-cd-ef", "00:24:e7:ab:cd:ef"},
      {"0024E7abcdef", "00:24:e7:ab:cd:ef"},
      {"00:24:e7:01:02", nullptr},
      {"00:24-e7:01:02:03", nullptr},
      {"0:24:e7:01:02:034", nullptr},
      {"00:24:e7:01:02:0g", nullptr},
  };
  for (const Case& c : cases) {
    const MacAddress address{std::string(c.text)};
    EXPECT_EQ(address.IsValid(), c.canonical != nullptr) << c.text;
    EXPECT_EQ(address.ToString(), c.canonical ? c.canonical : c.text);
    ether_addr raw{{1, 2, 3, 4, 5, 6}};
    EXPECT_EQ(address.ToEtherAddr(raw), c.canonical != nullptr) << c.text;
    EXPECT_EQ(MacAddress(raw).ToString(), c.canonical ? c.canonical : "01:02:03:04:05:06") << "untouched if invalid";
  }
}

TEST(MacAddress, OrdersValidAddressesByValueAndKeepsInvalidOnesApart) {
  std::set<MacAddress> set{MacAddress(std::string("00:00:00:00:00:02")), MacAddress(std::string("0000000000-2")),
                           MacAddress(std::string("00:00:00:00:00:01")), MacAddress(std::string("000000000001")),
                           MacAddress(std::string("bad")), MacAddress(std::string("bad"))};
  ASSERT_EQ(set.size(), 4u);
  EXPECT_FALSE(set.begin()->IsValid());
  EXPECT_EQ(set.rbegin()->ToString(), "00:00:00:00:00:02");
}

}  // namespace
