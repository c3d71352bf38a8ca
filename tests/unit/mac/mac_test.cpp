#include "orvamesh/mac.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "orvamesh/base/exception.h"
#include "support/fixture_root.h"
#include "support/log_capture.h"
#include "support/thrown_text.h"
#include "platform/random_seam.h"

namespace {

using ORVA::MESH::SDK::Mac;
using orva::net::utils::IPAddress;
using orva::test::LogCapture;
using orva::test::ThrownText;
using Texts = std::vector<std::string>;

// The error lines written from the mac source, with their "mac:<line> " prefix checked and
// removed.
Texts MacErrors(const LogCapture& capture) {
  static const std::regex prefix("^mac:[0-9]+ ");
  Texts texts;
  for (const auto& line : capture.Lines()) {
    EXPECT_EQ(line.priority, LOG_ERR) << line.text;
    EXPECT_TRUE(std::regex_search(line.text, prefix)) << line.text;
    texts.push_back(std::regex_replace(line.text, prefix, ""));
  }
  return texts;
}

TEST(MacValue, PrintsLowerCaseOrdersByOctetsAndKeepsUnparsableText) {
  EXPECT_EQ(Mac().ToString(), "00:00:00:00:00:00");
  std::ostringstream out;
  out << Mac("00:24:E7:AB:CD:EF");
  EXPECT_EQ(out.str(), "00:24:e7:ab:cd:ef");
  std::map<Mac, int> byMac{{Mac("0a:00:00:00:00:00"), 2}, {Mac("09:ff:ff:ff:ff:ff"), 1},
                           {Mac("0A:00:00:00:00:00"), 3}};
  ASSERT_EQ(byMac.size(), 2u);
  EXPECT_EQ(byMac.begin()->first.ToString(), "09:ff:ff:ff:ff:ff");
  const Mac bad("not a mac");
  EXPECT_FALSE(bad.IsValid());
  EXPECT_EQ(bad.ToString(), "not a mac");
}

TEST(MacValue, ToEtherAddrGivesTheOctetsAndThrowsForNoAddress) {
  EXPECT_EQ(Mac(Mac("00:24:e7:01:02:ff").ToEtherAddr()).ToString(), "00:24:e7:01:02:ff");
  EXPECT_THAT(ThrownText<ORVA::MESH::SDK::Exception::RuntimeException>([] { Mac("00:24:e7").ToEtherAddr(); }),
              testing::MatchesRegex("mac:ToEtherAddr:[0-9]+: Not a formalized MAC"));
}

TEST(MacText, StrToMacNeedsSeventeenCharactersOfColonSeparatedOctets) {
  const struct { std::string text; const char* error; } cases[] = {
      {"00:24:e7:01:02:03", nullptr},
      {"00:24:e7:01:02:034", "Invalid MAC length [18]: 00:24:e7:01:02:034"},
      {"00-24-e7-01-02-03", "Invalid MAC format: 00-24-e7-01-02-03"},
      {"a:bb:cc:dd:ee:fff", "Invalid MAC format: a:bb:cc:dd:ee:fff"},
  };
  for (const auto& c : cases) {
    LogCapture capture;
    ether_addr raw{{9, 9, 9, 9, 9, 9}};
    EXPECT_EQ(Mac::StrToMac(c.text, raw), c.error ? -1 : 0) << c.text;
    EXPECT_EQ(MacErrors(capture), c.error ? Texts{c.error} : Texts{});
    std::string back;
    EXPECT_EQ(Mac::MacToStr(raw, back), 0);
    EXPECT_EQ(back, c.error ? "09:09:09:09:09:09" : Mac(c.text).ToString()) << "a refused text leaves the octets alone";
  }
}

TEST(MacText, PartsOfTheTextForm) {
  const Mac mac("84:3A:5B:0C:0D:0E");
  std::string oui, device, digits;
  EXPECT_EQ(Mac::ExtractOUI(mac, oui), 0);
  EXPECT_EQ(Mac::ExcludeOUI(mac, device), 0);
  EXPECT_EQ(Mac::ExcludeColon(mac, digits), 0);
  EXPECT_EQ(oui + " " + device + " " + digits, "84:3a:5b 0c:0d:0e 843a5b0c0d0e");

  LogCapture capture;
  const Mac bad("84:3a:5b");
  EXPECT_EQ(Mac::ExtractOUI(bad, oui), -1);
  EXPECT_EQ(Mac::ExcludeOUI(bad, device), -1);
  EXPECT_EQ(Mac::ExcludeColon(bad, digits), -1);
  EXPECT_EQ(MacErrors(capture), Texts(3, "Please give a valid mac address"));
}

TEST(MacPrefix, TranslatesBothMakerOuisAndRefusesAnythingElse) {
  using Convert = int (*)(const Mac&, Mac&);
  const auto byMapping = [](const Mac& in, Mac& out) {
    return Mac::ConvertPrefixByMapping(in, {{"00:11:22", "02:11"}}, out);
  };
  const struct { Convert convert; const char* in; const char* out; const char* error; } cases[] = {
      {Mac::ConvertToOrvaGuestPrefix, "00:24:e7:aa:bb:cc", "02:24:e7:aa:bb:cc", nullptr},
      {Mac::ConvertToOrvaBackhaulPrefix, "84:3a:5b:01:02:03", "9a:3a:5b:01:02:03", nullptr},
      {Mac::ConvertToOrvaBackhaulSTAPrefix, "00:24:E7:01:02:03", "12:24:e7:01:02:03", nullptr},
      {Mac::ConvertToOrvaGuestPrefix, "00:11:22:33:44:55", nullptr,
       "The input mac does not start with Velanto OUI: 00:11:22:33:44:55"},
      {Mac::ConvertToOrvaBackhaulSTAPrefix, "zz", nullptr, "The input mac is invalid: zz"},
      {byMapping, "00:11:22:33:44:55", nullptr, "The prefix mapped from 00:11:22 is no OUI: 02:11"},
  };
  for (const auto& c : cases) {
    LogCapture capture;
    Mac out("00:00:00:00:00:09");
    EXPECT_EQ(c.convert(Mac(c.in), out), c.error ? -1 : 0) << c.in;
    EXPECT_EQ(out.ToString(), c.out ? c.out : "00:00:00:00:00:09");
    EXPECT_EQ(MacErrors(capture), c.error ? Texts{c.error} : Texts{});
  }
}

TEST(MacPrefix, BackhaulPrefixRecognition) {
  const std::pair<const char*, bool> cases[] = {{"16:24:e7:00:00:01", true},  {"9A:3A:5B:ff:ff:ff", true},
                                                {"84:3a:5b:00:00:01", false}, {"12:24:e7:00:00:01", false},
                                                {"not-a-mac", false}};
  LogCapture capture;
  for (const auto& [mac, backhaul] : cases) EXPECT_EQ(Mac(mac).IsOrvaBackhaulPrefix(), backhaul) << mac;
  EXPECT_EQ(Mac::GetOrvaBackhaulPrefixList(), (Texts{"16:24:e7", "9a:3a:5b"}));
}

TEST(MacArithmetic, CarriesAcrossOctetsAndRefusesToLeaveTheRange) {
  const struct { const char* in; int operand; const char* out; } cases[] = {  // out nullptr: refused
      {"00:24:e7:ff:ff:ff", 1, "00:24:e8:00:00:00"},
      {"00:24:e7:00:00:00", -1, "00:24:e6:ff:ff:ff"},
      {"00:00:00:00:00:00", 2147483647, "00:00:7f:ff:ff:ff"},
      {"ff:ff:ff:ff:ff:fe", 1, "ff:ff:ff:ff:ff:ff"},
      {"ff:ff:ff:ff:ff:ff", 1, nullptr},
      {"00:00:00:00:00:05", -2147483647 - 1, nullptr},
  };
  for (const auto& c : cases) {
    LogCapture capture;
    Mac out;
    EXPECT_EQ(Mac::CalculateMac(Mac(c.in), c.operand, out), c.out ? 0 : -1) << c.in << " " << c.operand;
    if (c.out) {
      EXPECT_EQ(out.ToString(), c.out);
    } else {
      EXPECT_EQ(MacErrors(capture), Texts{"Failed to calculate new MAC with operand: " + std::to_string(c.operand) +
                                          ", MAC:" + c.in});
    }
  }
}

TEST(MacRandom, PrefixesAndOuisHaveColonsInPlaceAndTheLocalBitSet) {
  const std::regex digitsAndColons("^([0-9a-f]{2}:)*[0-9a-f]{0,2}$");
  for (unsigned char length : {0, 1, 2, 3, 8, 16, 17}) {
    for (int round = 0; round < 20; ++round) {
      std::string out = "stale";
      ASSERT_EQ(Mac::GenRandomLocalPrefixMac(length, out), 0);
      ASSERT_EQ(out.size(), length);
      EXPECT_TRUE(std::regex_match(out, digitsAndColons)) << out;
      EXPECT_TRUE(length < 2 || std::stoi(out.substr(1, 1), nullptr, 16) & 0x2) << out;
      EXPECT_TRUE(length != Mac::MAC_ADDR_LENGTH || Mac(out).IsValid()) << out;
    }
  }
  Mac oui;
  ASSERT_EQ(Mac::ConvertToRandomOUIPrefix(Mac("00:24:e7:01:02:03"), oui), 0);
  EXPECT_EQ(oui.ToString().substr(8), ":01:02:03");
  EXPECT_TRUE(std::stoi(oui.ToString().substr(0, 2), nullptr, 16) & 0x2) << oui;

  LogCapture capture;
  std::string out;
  EXPECT_EQ(Mac::GenRandomLocalPrefixMac(18, out), -1);
  EXPECT_EQ(Mac::ConvertToRandomOUIPrefix(Mac("x"), oui), -1);
  EXPECT_EQ(MacErrors(capture),
            (Texts{"random mac size can not be bigger than MAC_ADDR_LENGTH.", "The input mac is invalid: x"}));
}

TEST(MacRandom, ReportsAMissingRandomSource) {
  ORVA::MESH::SDK::Seam::ScopedRandomOverride random;
  random->getrandom = [](void*, size_t, unsigned) -> ssize_t {
    errno = ENOSYS;
    return -1;
  };
  const orva::test::FixtureRoot noRandomDevice;  // and no getrandom either
  LogCapture capture;
  std::string out;
  EXPECT_EQ(Mac::GenRandomLocalPrefixMac(8, out), -1);
  Mac mac;
  EXPECT_EQ(Mac::ConvertToRandomOUIPrefix(Mac("00:24:e7:01:02:03"), mac), -1);
  EXPECT_TRUE(capture.Contains("Failed to generate random prefix mac."));
}

TEST(MacFromLinkLocal, ReversesModifiedEui64AndRefusesOtherAddresses) {
  const struct { IPAddress address; const char* mac; const char* error; } cases[] = {
      {IPAddress("fe80::0224:e7ff:fe01:0203"), "00:24:e7:01:02:03", nullptr},
      // The ff:fe filler is not checked.
      {IPAddress("fe80::0224:e712:3401:0203"), "00:24:e7:01:02:03", nullptr},
      {IPAddress("febf::0224:e7ff:fe01:0203"), "00:24:e7:01:02:03", nullptr},
      {IPAddress("2001:db8::224:e7ff:fe01:203"), nullptr,
       "Can't parse mac from non link local address [2001:db8::224:e7ff:fe01:203]."},
      {IPAddress("169.254.1.2"), nullptr, "Can't parse mac from non link local address [169.254.1.2]."},
      {IPAddress(), nullptr, "Failed to convert address [] to binary format."},
  };
  for (const auto& c : cases) {
    LogCapture capture;
    Mac out;
    EXPECT_EQ(Mac::GetFromIPv6LinkLocalAddress(c.address, out), c.error ? -1 : 0) << c.address.ToString();
    EXPECT_EQ(out.ToString(), c.mac ? c.mac : "00:00:00:00:00:00");
    EXPECT_EQ(MacErrors(capture), c.error ? Texts{c.error} : Texts{});
  }
}

}  // namespace
