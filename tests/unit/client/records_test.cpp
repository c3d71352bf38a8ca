#include <gtest/gtest.h>

#include <json/json.h>

#include "orvamesh/client/mesh_records.h"
#include "orvamesh/base/exception.h"
#include "support/json_text.h"
#include "support/mesh_samples.h"
#include "support/thrown_text.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Client;
namespace sample = orva::test::sample;

// The archive of every record is pinned byte for byte, both ways, by CrossArchitecturePayloads.
template <typename T>
void ExpectRoundTrips(const T& value) {
  EXPECT_TRUE(T::FromJson(value.ToJson()) == value) << value.ToJson().toStyledString();
  EXPECT_FALSE(T::FromJson(value.ToJson()) != value);
}

TEST(MeshRecords, EveryRecordRoundTripsThroughJson) {
  ExpectRoundTrips(sample::Scan());
  ExpectRoundTrips(MeshSystemStatus{true, true, false, true, false, 9, 7});
  ExpectRoundTrips(sample::Setup());
  ExpectRoundTrips(SetupNodeInfo{sample::MacNo(7), "SN7", BACKHAUL_TYPE::WIFI_6G, "Den"});
  ExpectRoundTrips(WPSResultInfo{true, sample::MacNo(8), "ath2"});
  ExpectRoundTrips(sample::Join());
  ExpectRoundTrips(JoinReturnInfo{4, "m", "c", "fe80::4"});
  ExpectRoundTrips(SystemUtilization{99, 1ull << 40, 12, 86400});
  ExpectRoundTrips(Device{sample::MacNo(9), "tv", "10.0.0.2", "eth1", false, 0});
  ExpectRoundTrips(NetworkInfo{"10.0.0.1", "255.0.0.0", "10.0.0.254", {"1.1.1.1", "8.8.8.8"}, {}});
  ExpectRoundTrips(sample::Node(1));
  ExpectRoundTrips(sample::Node(0xffffffffu));
  ExpectRoundTrips(NodeMACInfo{sample::MacNo(1), sample::MacNo(2), sample::MacNo(3), sample::MacNo(4)});
  ExpectRoundTrips(RepeaterAccessInfo{"fe80::9", "br-lan", "admin", 65535});
  ExpectRoundTrips(NodeCapability{3, {"a", "b"}});
  ExpectRoundTrips(sample::Update());
  ExpectRoundTrips(CustomTopologyScanResultInfo{true, {{1, -5}, {0xffffffffu, 100}}});
  ExpectRoundTrips(CustomTopologyListInfo{2, BACKHAUL_TYPE::ETHERNET, true});
  ExpectRoundTrips(CustomTopologySetInfo{2, BACKHAUL_TYPE::WIFI_2G});
}

TEST(MeshRecords, EqualitySeesEveryField) {
  const NodeInfo base = sample::Node(2);
  std::vector<std::function<void(NodeInfo&)>> changes = {
      [](NodeInfo& n) { n.id++; },
      [](NodeInfo& n) { n.name += "x"; },
      [](NodeInfo& n) { n.role = NODE_ROLE::CAP; },
      [](NodeInfo& n) { n.modelUnique.clear(); },
      [](NodeInfo& n) { n.serial.clear(); },
      [](NodeInfo& n) { n.firmwareVersion.clear(); },
      [](NodeInfo& n) { n.mac = sample::MacNo(99); },
      [](NodeInfo& n) { n.addresses.pop_back(); },
      [](NodeInfo& n) { n.uplink = 7; },
      [](NodeInfo& n) { n.backhaul = BACKHAUL_TYPE::ETHERNET; },
      [](NodeInfo& n) { n.backhaulQuality = -1; },
      [](NodeInfo& n) { n.online = !n.online; },
  };
  ASSERT_EQ(changes.size(), NodeInfo::kFieldNames.size());
  for (std::size_t i = 0; i < changes.size(); ++i) {
    NodeInfo changed = base;
    changes[i](changed);
    EXPECT_FALSE(changed == base) << NodeInfo::kFieldNames[i];
  }
}

TEST(MeshRecords, JsonUsesReadableNamesAndKeepsDefaultsForMissingKeys) {
  const Json::Value json = sample::Node(1).ToJson();
  EXPECT_EQ(json["role"].asString(), "CAP");
  EXPECT_EQ(json["backhaul"].asString(), "NONE");
  EXPECT_EQ(json["mac"].asString(), "00:24:e7:00:00:01");
  EXPECT_EQ(json["addresses"].size(), 2u);
  EXPECT_EQ(sample::Update().ToJson()["nodePercent"]["1"].asUInt(), 100u);
  EXPECT_EQ(sample::Setup().ToJson()["lastError"].asUInt(), 9u);
  EXPECT_EQ(json.getMemberNames().size(), NodeInfo::kFieldNames.size());
  // An enum value without a name has "".
  EXPECT_STREQ(NodeRoleToString(NODE_ROLE::RE), "RE");
  EXPECT_STREQ(BackhaulTypeToString(BACKHAUL_TYPE::WIFI_6G), "WIFI_6G");
  EXPECT_STREQ(SetupStageToString(static_cast<SETUP_STAGE>(7)), "");
  EXPECT_STREQ(UpdateStageToString(UPDATE_STAGE::REBOOTING), "REBOOTING");

  NodeInfo expected;
  expected.name = "Only a name";
  EXPECT_TRUE(NodeInfo::FromJson(orva::test::ParseJson(R"({"name": "Only a name"})")) == expected);
}

TEST(MeshRecords, JsonOfTheWrongShapeIsRefusedWithTheField) {
  const auto refusal = [](const auto& fromJson, const std::string& text) {
    return orva::test::ThrownText<Exception::InvalidArgumentException>([&] { fromJson(orva::test::ParseJson(text)); });
  };
  const auto node = [](const Json::Value& json) { NodeInfo::FromJson(json); };
  const std::vector<std::pair<std::string, std::string>> table = {
      {R"({"id": -1})", "Field [id]"},
      {R"({"id": 4294967296})", "Field [id]"},
      {R"({"id": "1"})", "Field [id]"},
      {R"({"online": 1})", "Field [online]"},
      {R"({"role": "BOSS"})", "Field [role] is not a known name (one of UNKNOWN, CAP, RE)"},
      {R"({"role": 1})", "Field [role]"},
      {R"({"mac": "00:24:e7:00:00"})", "Field [mac]"},
      {R"({"addresses": "10.0.0.1"})", "Field [addresses]"},
      {R"({"addresses": [1]})", "Field [addresses]"},
      {R"({"backhaulQuality": 2147483648})", "Field [backhaulQuality]"},
      {R"({"nmae": "Attic"})", "Unknown field [nmae]"},  // a misspelt key is refused, not ignored
  };
  for (const auto& [text, expected] : table) {
    EXPECT_NE(refusal(node, text).find(expected), std::string::npos) << text << ": " << refusal(node, text);
  }
  EXPECT_NE(refusal(node, R"("not an object")"), "");
  const auto update = [](const Json::Value& json) { SystemUpdateProgress::FromJson(json); };
  EXPECT_NE(refusal(update, R"({"nodePercent": {"x": 1}})"), "");
  EXPECT_NE(refusal(update, R"({"nodePercent": {"1": 256}})"), "");
}

}  // namespace
