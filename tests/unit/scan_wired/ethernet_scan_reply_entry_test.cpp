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

const std::string kKnownJson =
    R"({"access_port":443,"country_compatibility":true,"ipv6_address":"fe80::1","mac_address":"2:0:ab:c:d:e",)"
    R"("os_build_num":74565,"os_name":"OrvaOS","os_update_num":7,"os_version":"5.2.0","serial":"",)"
    R"("unique":"re-0042","uptime":4294967298})"
    "\n";

Json::Value KnownJson() {
  Json::Value value;
  Json::Reader().parse(kKnownJson, value);
  return value;
}

std::string Written(const EthernetScanReplyEntry& entry) { return Json::FastWriter().write(entry.ToJson()); }

TEST(EthernetScanReplyEntry, WritesEveryFieldWithTheSystemsAddressTexts) {
  EXPECT_EQ(Written(EthernetScanReplyEntry(KnownResponse(), true)), kKnownJson);
}

TEST(EthernetScanReplyEntry, ReadsBackWhatItWroteUpToTheLargestNumbers) {
  const auto entry = EthernetScanReplyEntry::FromJson(KnownJson());
  EXPECT_EQ(Written(entry), kKnownJson);
  Json::Value largest = KnownJson();
  largest["uptime"] = Json::UInt64(~0ull);
  largest["access_port"] = 65535.0;  // an integral double is still the number
  EXPECT_EQ(EthernetScanReplyEntry::FromJson(largest).GetUptime(), ~0ul);
  EXPECT_EQ(EthernetScanReplyEntry::FromJson(largest).GetAccessPort(), 65535);
}

TEST(EthernetScanReplyEntry, MissingKeysAndValuesOfTheWrongKindAreIllFormed) {
  std::vector<Json::Value> bad;
  for (const std::string& key : KnownJson().getMemberNames()) {
    bad.push_back(KnownJson());
    bad.back().removeMember(key);
  }
  const std::pair<const char*, Json::Value> wrongKinds[] = {
      {"unique", 5},         {"mac_address", Json::nullValue}, {"country_compatibility", 1},
      {"os_build_num", "1"}, {"os_build_num", -1},             {"os_build_num", Json::UInt64(1) << 32},
      {"os_update_num", 256}, {"access_port", 1.5},            {"uptime", true},
  };
  for (const auto& [key, value] : wrongKinds) {
    bad.push_back(KnownJson());
    bad.back()[key] = value;
  }
  bad.push_back(Json::Value("not an object"));
  for (const auto& json : bad) {
    EXPECT_THAT(ThrownText<Exception::RuntimeException>([&] { EthernetScanReplyEntry::FromJson(json); }),
                testing::MatchesRegex("scan_wired/ethernet_scan_reply_entry:FromJson:[0-9]+: Ill-formed json"))
        << json.toStyledString();
  }
}

TEST(EthernetScanReplyEntry, AddressTextsMustParse) {
  Json::Value json = KnownJson();
  json["ipv6_address"] = "192.0.2.1";
  EXPECT_THAT(ThrownText<Exception::RuntimeException>([&] { EthernetScanReplyEntry::FromJson(json); }),
              EndsWith("Ill-formed IPv6 address [192.0.2.1]"));
  json = KnownJson();
  json["mac_address"] = "2:0:ab:c:d";
  EXPECT_THAT(ThrownText<Exception::RuntimeException>([&] { EthernetScanReplyEntry::FromJson(json); }),
              EndsWith("ether_aton failed on [2:0:ab:c:d]"));
}

}  // namespace
