// The direct payload reader: it must read the payloads it claims on its own (or the speed it
// exists for is silently lost), agree with the archive on every one of them, and give up,
// never half-read, on anything else, so that the archive has the last word.
#include "dbus/payload_reader.h"

#include <gtest/gtest.h>

#include <boost/archive/archive_exception.hpp>
#include <optional>
#include <string>

#include "dbus/payload_iarchive.h"
#include "orvamesh/client/mesh_records.h"
#include "support/mesh_samples.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Client;
using Dbus::Detail::DirectlyReadable;
using Dbus::Detail::PayloadReader;
namespace sample = orva::test::sample;

static_assert(DirectlyReadable<NodeInfoMap>::value && DirectlyReadable<NodeIdList>::value &&
              DirectlyReadable<ScanResult>::value && DirectlyReadable<DevicesMap>::value &&
              DirectlyReadable<MeshTopologyMap>::value && DirectlyReadable<SystemUpdateProgress>::value);

template <typename T>
T ReadDirectly(const std::string& bytes) {
  T value{};
  PayloadReader(bytes).Read(value);
  return value;
}

template <typename T>
void ExpectReadDirectlyAsTheArchiveDoes(const T& value) {
  const Dbus::GVariantWrapper payload = Dbus::ObjectToGVariant(value);
  T direct{};
  ASSERT_NO_THROW(direct = ReadDirectly<T>(Dbus::GVariantAYUnwrapper(payload).Unwrap()))
      << "the reader gave up on its own kind of payload";
  EXPECT_EQ(direct, Dbus::GVariantToObject<T>(payload));
  EXPECT_EQ(direct, value);
}

TEST(DirectPayloadReader, ReadsEveryShapeItClaimsExactlyAsTheArchiveDoes) {
  NodeInfoMap nodes = sample::Nodes(40);
  nodes[7].mac = Mac("not a mac");
  nodes[8].addresses.clear();
  ExpectReadDirectlyAsTheArchiveDoes(nodes);
  ExpectReadDirectlyAsTheArchiveDoes(sample::Scan());
  ExpectReadDirectlyAsTheArchiveDoes(sample::Update());
  ExpectReadDirectlyAsTheArchiveDoes(MeshTopologyMap{{"wired", {{sample::MacNo(1), sample::MacNo(2)}}}, {"none", {}}});
  ExpectReadDirectlyAsTheArchiveDoes(NodeIdList{1, 2, 0xffffffffu});
  ExpectReadDirectlyAsTheArchiveDoes(NodeCapabilityList{{3, {"ledSchedule", "customTopology"}}, {4, {}}});
  ExpectReadDirectlyAsTheArchiveDoes(std::vector<std::vector<std::string>>{{"a"}, {}, {"b", std::string(300, 'c')}});
  // An empty map carries no class information for its entries; the next one does.
  ExpectReadDirectlyAsTheArchiveDoes(std::vector<std::map<NodeId, uint8_t>>{{}, {{1, 100}, {2, 0}}});
}

// At every cut the reader gives up rather than return part of a payload, and the client's
// decoder then fails as the archive does.
TEST(DirectPayloadReader, GivesUpOnEveryCutOfAPayloadAndTheArchiveRefusesIt) {
  const std::string full = Dbus::GVariantAYUnwrapper(Dbus::ObjectToGVariant(sample::Nodes(3))).Unwrap();
  for (std::size_t cut = 0; cut < full.size(); ++cut) {
    EXPECT_THROW(ReadDirectly<NodeInfoMap>(full.substr(0, cut)), PayloadReader::GiveUp) << cut;
    EXPECT_THROW(Dbus::Detail::DecodePayload<NodeInfoMap>(Dbus::BytesToGVariant(full.substr(0, cut))),
                 boost::archive::archive_exception) << cut;
  }
}

// The first bytes of a map payload are the map's class information: tracking, then version.
// A writer that versions or tracks the class is the archive's business; the client then
// returns whatever the archive makes of the bytes, success or refusal.
TEST(DirectPayloadReader, LeavesVersionedOrTrackedClassesToTheArchive) {
  const std::string plain = Dbus::GVariantAYUnwrapper(Dbus::ObjectToGVariant(sample::Nodes(2))).Unwrap();
  for (std::size_t offset : {0, 1}) {  // the map's tracking byte, then its version
    std::string bytes = plain;
    bytes[offset] = '\x01';
    EXPECT_THROW(ReadDirectly<NodeInfoMap>(bytes), PayloadReader::GiveUp) << offset;
    const Dbus::GVariantWrapper payload = Dbus::BytesToGVariant(bytes);
    std::optional<NodeInfoMap> archive, client;  // empty when refused
    try {
      archive = Dbus::GVariantToObject<NodeInfoMap>(payload);
    } catch (const std::exception&) {
    }
    try {
      client = Dbus::Detail::DecodePayload<NodeInfoMap>(payload);
    } catch (const std::exception&) {
    }
    EXPECT_EQ(client, archive) << offset;
  }
}

TEST(DirectPayloadReader, KeepsTheFirstValueOfAKeyThatComesTwiceAsTheArchiveDoes) {
  using Levels = std::map<NodeId, uint8_t>;
  std::string bytes = Dbus::GVariantAYUnwrapper(Dbus::ObjectToGVariant(Levels{{1, 10}, {2, 20}})).Unwrap();
  bytes[bytes.size() - 5] = '\x01';  // the second entry's key (four bytes, then its value) becomes 1
  EXPECT_EQ(Dbus::GVariantToObject<Levels>(Dbus::BytesToGVariant(bytes)), (Levels{{1, 10}}));
  EXPECT_EQ(ReadDirectly<Levels>(bytes), (Levels{{1, 10}}));
}

}  // namespace
