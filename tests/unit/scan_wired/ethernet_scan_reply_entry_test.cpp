#include "orvamesh/scan_wired/ethernet_scan_reply_entry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/writer.h>

#include "scan_packet_fixtures.h"

namespace {

using namespace ORVA::MESH::SDK;
using ScanWired::EthernetScanReplyEntry;
using namespace orva::test;
using ::testing::EndsWith;

EthernetScanReplyEntry KnownEntry() { return EthernetScanReplyEntry(KnownResponse(), true); }

const char* const kKnownJson =
    R"({"access_port":443,"country_compatibility":true,"ipv6_address":"fe80::1","mac_address":"2:0:ab:c:d:e",)"
    R"("os_build_num":74565,"os_name":"OrvaOS","os_update_num":7,"os_version":"5.2.0","serial":"",)"
    R"("unique":"re-0042","uptime":4294967298})";

Json::Value Parse(const std::string& text) {
  Json::Value value;
  std::string errors;
  std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors)) << errors;
  return value;
}

TEST(EthernetScanReplyEntry, WritesEveryFieldWithTheSystemsAddressTexts) {
  Json::FastWriter writer;
  EXPECT_EQ(writer.write(KnownEntry().ToJson()), std::string(kKnownJson) + "\n");
  const Json::Value json = KnownEntry().ToJson();
  EXPECT_TRUE(json["uptime"].isUInt64());
  EXPECT_TRUE(json["os_update_num"].isUInt());
}

TEST(EthernetScanReplyEntry, ReadsBackWhatItWrote) {
  const EthernetScanReplyEntry entry = EthernetScanReplyEntry::FromJson(Parse(kKnownJson));
  ExpectSameResponse(ScanWired::ResponsePacket(entry.GetOsName(), entry.GetUnique(), entry.GetSerial(),
                                               entry.GetOsVersion(), entry.GetOsBuildNum(), entry.GetOsUpdateNum(),
                                               entry.GetMacAddress(), entry.GetIpv6Address(), entry.GetAccessPort(),
                                               entry.GetUptime()),
                     KnownResponse());
  EXPECT_TRUE(entry.GetCountryCompatibility());
  EXPECT_EQ(Json::FastWriter().write(entry.ToJson()), std::string(kKnownJson) + "\n");
  // Leading zeros and capitals are fine on the way in.
  Json::Value padded = Parse(kKnownJson);
  padded["mac_address"] = "02:00:AB:0c:0D:0e";
  padded["ipv6_address"] = "FE80:0::0001";
  EXPECT_EQ(Json::FastWriter().write(EthernetScanReplyEntry::FromJson(padded).ToJson()), std::string(kKnownJson) + "\n");
}

TEST(EthernetScanReplyEntry, EveryKeyIsRequired) {
  for (const std::string& key : Parse(kKnownJson).getMemberNames()) {
    Json::Value json = Parse(kKnownJson);
    json.removeMember(key);
    EXPECT_THAT(ThrownText<Exception::RuntimeException>([&] { EthernetScanReplyEntry::FromJson(json); }),
                testing::MatchesRegex("scan_wired/ethernet_scan_reply_entry:FromJson:[0-9]+: Ill-formed json"))
        << key;
  }
  EXPECT_THAT(ThrownText<Exception::RuntimeException>([] { EthernetScanReplyEntry::FromJson(Json::Value("text")); }),
              EndsWith("Ill-formed json"));
}

TEST(EthernetScanReplyEntry, ValuesOfTheWrongKindAreIllFormed) {
  const struct {
    const char* key;
    Json::Value value;
  } cases[] = {
      {"unique", 5},
      {"mac_address", Json::Value(Json::nullValue)},
      {"ipv6_address", Json::Value(Json::arrayValue)},
      {"country_compatibility", 1},
      {"country_compatibility", "true"},
      {"os_build_num", "74565"},
      {"os_build_num", -1},
      {"os_build_num", Json::UInt64(1) << 32},
      {"os_update_num", 256},
      {"access_port", 65536},
      {"access_port", 1.5},
      {"uptime", true},
  };
  for (const auto& c : cases) {
    Json::Value json = Parse(kKnownJson);
    json[c.key] = c.value;
    EXPECT_THAT(ThrownText<Exception::RuntimeException>([&] { EthernetScanReplyEntry::FromJson(json); }),
                EndsWith(": Ill-formed json"))
        << c.key << " = " << c.value.toStyledString();
  }
  Json::Value largest = Parse(kKnownJson);
  largest["uptime"] = Json::UInt64(~0ull);
  largest["os_update_num"] = 255;
  largest["access_port"] = 65535.0;  // an integral double is still the number
  const auto entry = EthernetScanReplyEntry::FromJson(largest);
  EXPECT_EQ(entry.GetUptime(), ~0ul);
  EXPECT_EQ(entry.GetOsUpdateNum(), 255);
  EXPECT_EQ(entry.GetAccessPort(), 65535);
}

TEST(EthernetScanReplyEntry, AddressTextsMustParse) {
  const struct {
    const char* key;
    const char* text;
    const char* message;
  } cases[] = {
      {"ipv6_address", "fe80::1::2", "Ill-formed IPv6 address [fe80::1::2]"},
      {"ipv6_address", "192.0.2.1", "Ill-formed IPv6 address [192.0.2.1]"},
      {"ipv6_address", "", "Ill-formed IPv6 address []"},
      {"mac_address", "2:0:ab:c:d", "ether_aton failed on [2:0:ab:c:d]"},
      {"mac_address", "2:0:ab:c:d:e:f", "ether_aton failed on [2:0:ab:c:d:e:f]"},
      {"mac_address", "zz:0:ab:c:d:e", "ether_aton failed on [zz:0:ab:c:d:e]"},
  };
  for (const auto& c : cases) {
    Json::Value json = Parse(kKnownJson);
    json[c.key] = c.text;
    EXPECT_THAT(ThrownText<Exception::RuntimeException>([&] { EthernetScanReplyEntry::FromJson(json); }),
                EndsWith(c.message));
  }
}

}  // namespace
