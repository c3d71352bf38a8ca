#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvamesh/scan_wired/probe_packet_serializer.h"
#include "scan_packet_fixtures.h"
#include "support/log_capture.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::ScanWired;
using namespace orva::test;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

ResponsePacket ReadResponse(const Bytes& stream, unsigned long offset = 0) {
  auto [response, consumed] = ResponsePacketSerializer().Deserialize(stream, offset);
  EXPECT_EQ(consumed, stream.size() - offset);
  return response;
}

TEST(FieldStream, WritesOneExtObjectPerFieldInAscendingTypeOrder) {
  EXPECT_EQ(StreamOf(KnownResponse()), KnownResponseStream());
  // The probe's key in the ext form its length calls for: ext 8, or ext 16 past 255 bytes.
  const ProbePacketSerializer probes;
  EXPECT_EQ(*probes.Serialize(ProbePacket(Key(0))), Concat({{0xC7, 0x20, 0x09}, Key(0)}));
  EXPECT_EQ(*probes.Serialize(ProbePacket(Bytes(300, 1))), Concat({{0xC8, 0x01, 0x2C, 0x09}, Bytes(300, 1)}));
}

TEST(FieldStream, ReadsFieldsInAnyOrderAndFromAnOffset) {
  const Bytes shuffled = Concat({{0x99}, Fields({9, 8, 7, 6, 5, 4, 3, 2, 1, 0})});
  EXPECT_EQ(StreamOf(ReadResponse(shuffled, 1)), KnownResponseStream());
  // Fixed-size fields may carry extra bytes: a 9-byte uptime reads its first 8.
  EXPECT_EQ(ReadResponse(Concat({Fields({0, 1, 2, 3, 4, 5, 6, 7, 8}), Ext8(10, {0, 0, 0, 0, 0, 0, 0, 9, 0xFF})}))
                .GetUptime(),
            9u);
}

TEST(FieldStream, FirstOccurrenceWinsAndUnknownTypesAreLoggedAndSkipped) {
  LogCapture log;
  const Bytes stream = Concat({Ext8(9, Key(0)), Ext8(42, {1, 2}), Ext8(9, Key(100)), Ext8(-3, {})});
  auto [probe, consumed] = ProbePacketSerializer().Deserialize(stream, 0);
  EXPECT_EQ(probe.GetPublicKey(), Key(0));
  EXPECT_EQ(consumed, stream.size());
  ASSERT_EQ(log.Texts().size(), 3u) << "the unknown type and both repeats";
  EXPECT_THAT(log.Texts()[0], MatchesRegex("scan_wired/msgpack_serializer:[0-9]+ Unrecognized field type "
                                           "\\[42\\] in packet, ignored"));
}

TEST(FieldStream, FailuresNameTheirCause) {
  const struct { const char* what; Bytes stream; const char* message; } cases[] = {
      {"nothing", {}, "Missing fields in the packet: [0 1 2 3 4 5 6 7 8 10]"},
      {"a probe's key instead of uptime", Concat({Fields({0, 1, 2, 3, 4, 5, 6, 7, 8}), Ext8(9, Key(0))}),
       "Missing fields in the packet: [10]"},
      {"never-used byte", {0xC1}, "Fail to unpack message: parse error"},
      {"ext 32 claiming 4 GiB", {0xC9, 0xFF, 0xFF, 0xFF, 0xFF, 0x09, 0x00}, "Fail to unpack message: insufficient bytes"},
      // Containers are never fields; they are refused before costing more memory than the
      // bytes that carry them.
      {"array 32 claiming 4 G elements", {0xDD, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}, "Fail to unpack message: array size overflow"},
      {"map 32 claiming 4 G pairs", {0xDF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}, "Fail to unpack message: map size overflow"},
      {"build number in 3 bytes", Concat({Fields({0, 1, 2}), Ext8(3, {1, 2, 3}), Fields({4, 5, 6, 7, 8, 9})}),
       "Fail to deserialize data: serialization/int_serialization:Deserialize:"},
      {"MAC address in 5 bytes", Concat({Fields({0, 1, 2, 3, 4, 5}), Ext8(6, {1, 2, 3, 4, 5}), Fields({7, 8, 9})}),
       "lesser than value size [6]"},
  };
  for (const auto& c : cases) {
    const std::string text =
        ThrownText<Exception::MalformedPacketException>([&] { ResponsePacketSerializer().Deserialize(c.stream, 0); });
    EXPECT_THAT(text, MatchesRegex("scan_wired/msgpack_serializer:Deserialize:[0-9]+: .*")) << c.what;
    EXPECT_THAT(text, HasSubstr(c.message)) << c.what;
  }
  EXPECT_THROW(ProbePacketSerializer().Deserialize({0x01}, 2), Exception::LogicException);
}

}  // namespace
