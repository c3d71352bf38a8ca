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
// JSON, equality and the archive all walk a record's Fields(), so the records below stand for
// every type of field: enumerations, MACs, integers of every width, lists and maps, and records
// inside records.
template <typename T>
void ExpectRoundTrips(const T& value) {
  EXPECT_TRUE(T::FromJson(value.ToJson()) == value) << value.ToJson().toStyledString();
}

TEST(MeshRecords, EveryRecordRoundTripsThroughJson) {
  ExpectRoundTrips(sample::Scan());
  ExpectRoundTrips(sample::Setup());
  ExpectRoundTrips(SystemUtilization{99, 1ull << 40, 12, 86400});
  ExpectRoundTrips(NetworkInfo{"10.0.0.1", "255.0.0.0", "10.0.0.254", {"1.1.1.1", "8.8.8.8"}, {}});
  ExpectRoundTrips(sample::Node(0xffffffffu));
  ExpectRoundTrips(RepeaterAccessInfo{"fe80::9", "br-lan", "admin", 65535});
  ExpectRoundTrips(sample::Update());
  ExpectRoundTrips(CustomTopologyScanResultInfo{true, {{1, -5}, {0xffffffffu, 100}}});
}

TEST(MeshRecords, JsonUsesReadableNamesAndKeepsDefaultsForMissingKeys) {
  // How each field reads is seen in the orvamesh tool's output.
  const Json::Value json = sample::Node(1).ToJson();
  EXPECT_EQ(json["role"].asString(), "CAP");
  EXPECT_EQ(json.getMemberNames().size(), NodeInfo::kFieldNames.size());
  // An enum value without a name has "".
  EXPECT_STREQ(SetupStageToString(static_cast<SETUP_STAGE>(7)), "");

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
      {R"({"online": 1})", "Field [online]"},
      {R"({"role": "BOSS"})", "Field [role] is not a known name (one of UNKNOWN, CAP, RE)"},
      {R"({"mac": "00:24:e7:00:00"})", "Field [mac]"},
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
