#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <msgpack.hpp>

#include "orvamesh/scan_wired/probe_packet_serializer.h"
#include "orvamesh/scan_wired/response_packet_serializer.h"
#include "scan_packet_fixtures.h"
#include "support/log_capture.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::ScanWired;
using namespace orva::test;
using ::testing::EndsWith;
using ::testing::MatchesRegex;

Bytes Fields(std::initializer_list<int> indexes) {
  Bytes stream;
  for (int i : indexes) {
    const Bytes& field = KnownResponseFields().at(i);
    stream.insert(stream.end(), field.begin(), field.end());
  }
  return stream;
}

TEST(FieldStream, ResponseIsWrittenFieldByFieldInAscendingTypeOrder) {
  EXPECT_EQ(*ResponsePacketSerializer().Serialize(KnownResponse()), KnownResponseStream());
}

TEST(FieldStream, ProbeCarriesOnlyTheKeyAsAnExt8Object) {
  const Bytes expected = Concat({{0xC7, 0x20, 0x09}, Key(0)});
  EXPECT_EQ(*ProbePacketSerializer().Serialize(ProbePacket(Key(0))), expected);
  // Key lengths that msgpack packs as fixext 16 and as ext 16.
  EXPECT_EQ(*ProbePacketSerializer().Serialize(ProbePacket(Bytes(16, 0xEE))), Concat({{0xD8, 0x09}, Bytes(16, 0xEE)}));
  EXPECT_EQ(*ProbePacketSerializer().Serialize(ProbePacket(Bytes(300, 0x11))),
            Concat({{0xC8, 0x01, 0x2C, 0x09}, Bytes(300, 0x11)}));
}

TEST(FieldStream, EmptyStringsAreExt8ObjectsWithoutData) {
  const ResponsePacket blank("", "", "", "", 0, 0, ether_addr{}, in6_addr{}, 0, 0);
  const Bytes stream = *ResponsePacketSerializer().Serialize(blank);
  for (unsigned char type : {0, 1, 2, 5}) {
    const Bytes empty = {0xC7, 0x00, type};
    EXPECT_NE(std::search(stream.begin(), stream.end(), empty.begin(), empty.end()), stream.end()) << int(type);
  }
}

TEST(FieldStream, ReadsBackWhatItWroteWhateverTheFieldOrder) {
  auto [response, consumed] = ResponsePacketSerializer().Deserialize(KnownResponseStream(), 0);
  EXPECT_EQ(consumed, KnownResponseStream().size());
  ExpectSameResponse(response, KnownResponse());

  const Bytes shuffled = Concat({Bytes{0x99}, Fields({9, 8, 7, 6, 5, 4, 3, 2, 1, 0})});
  auto [fromShuffled, shuffledConsumed] = ResponsePacketSerializer().Deserialize(shuffled, 1);
  EXPECT_EQ(shuffledConsumed, shuffled.size() - 1);
  ExpectSameResponse(fromShuffled, KnownResponse());
}

TEST(FieldStream, FixedSizeFieldsMayCarryExtraBytes) {
  // uptime in 9 bytes: the ninth is ignored.
  const Bytes stream = Concat({Fields({0, 1, 2, 3, 4, 5, 6, 7, 8}), Ext8(10, {0, 0, 0, 0, 0, 0, 0, 9, 0xFF})});
  EXPECT_EQ(ResponsePacketSerializer().Deserialize(stream, 0).first.GetUptime(), 9u);
}

TEST(FieldStream, FirstOccurrenceWinsAndUnknownTypesAreSkipped) {
  LogCapture log;
  const Bytes stream = Concat({Ext8(9, Key(0)), Ext8(42, {1, 2}), Ext8(9, Key(100)), Ext8(-3, {})});
  auto [probe, consumed] = ProbePacketSerializer().Deserialize(stream, 0);
  EXPECT_EQ(probe.GetPublicKey(), Key(0));
  EXPECT_EQ(consumed, stream.size());
  const auto lines = log.Matching("Unrecognized field type");
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_THAT(lines[0].text, MatchesRegex("scan_wired/msgpack_serializer:[0-9]+ Unrecognized field type \\[42\\] "
                                          "in packet, ignored"));
  EXPECT_THAT(lines[1].text, EndsWith("[9] in packet, ignored"));
  EXPECT_THAT(lines[2].text, EndsWith("[-3] in packet, ignored"));
  EXPECT_EQ(lines[0].priority, LOG_INFO);
}

TEST(FieldStream, MissingFieldsAreListedInAscendingOrder) {
  const struct {
    std::function<void()> read;
    const char* missing;
  } cases[] = {
      {[] { ProbePacketSerializer().Deserialize({}, 0); }, "[9]"},
      {[] { ProbePacketSerializer().Deserialize(Ext8(10, {1}), 0); }, "[9]"},
      {[] { ResponsePacketSerializer().Deserialize(Fields({0, 1, 2, 3, 4, 5, 6, 7}), 0); }, "[8 10]"},
      {[] { ResponsePacketSerializer().Deserialize(Fields({9, 5, 1}), 0); }, "[0 2 3 4 6 7 8]"},
      // The probe's key is not a response field.
      {[] { ResponsePacketSerializer().Deserialize(Concat({Fields({0, 1, 2, 3, 4, 5, 6, 7, 8}), Ext8(9, Key(0))}), 0); },
       "[10]"},
  };
  for (const auto& c : cases) {
    EXPECT_THAT(ThrownText<Exception::MalformedPacketException>(c.read),
                MatchesRegex(std::string("scan_wired/msgpack_serializer:Deserialize:[0-9]+: "
                                         "Missing fields in the packet: \\") +
                             std::string(c.missing, c.missing + std::strlen(c.missing) - 1) + "\\]"));
  }
}

TEST(FieldStream, BadElementsBecomeMalformedPacketsWithTheCauseInTheText) {
  const Bytes complete = KnownResponseStream();
  const struct {
    const char* what;
    Bytes stream;
    const char* message;
  } cases[] = {
      {"truncated ext data", Bytes(complete.begin(), complete.end() - 1), "Fail to unpack message: insufficient bytes"},
      {"ext header alone", {0xC7}, "Fail to unpack message: insufficient bytes"},
      {"never-used byte", {0xC1}, "Fail to unpack message: parse error"},
      {"ext 32 claiming 4 GiB", {0xC9, 0xFF, 0xFF, 0xFF, 0xFF, 0x09, 0x00}, "Fail to unpack message: insufficient bytes"},
      {"array 32 claiming 4 G elements", {0xDD, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}, "Fail to unpack message: array size overflow"},
      // Containers are never fields; one is refused before it could cost more memory than
      // the bytes that carry it.
      {"small fixarray", {0x92, 0x01, 0x02}, "Fail to unpack message: array size overflow"},
      {"map 32 claiming 4 G pairs", {0xDF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}, "Fail to unpack message: map size overflow"},
      {"build number in 3 bytes", Concat({Fields({0, 1, 2}), Ext8(3, {1, 2, 3}), Fields({4, 5, 6, 7, 8, 9})}),
       "Fail to deserialize data: serialization/int_serialization:Deserialize:"},
      {"MAC address in 5 bytes", Concat({Fields({0, 1, 2, 3, 4, 5}), Ext8(6, {1, 2, 3, 4, 5}), Fields({7, 8, 9})}),
       "Fail to deserialize data: serialization/mac_address_serialization:Deserialize:"},
  };
  for (const auto& c : cases) {
    const std::string text =
        ThrownText<Exception::MalformedPacketException>([&] { ResponsePacketSerializer().Deserialize(c.stream, 0); });
    EXPECT_THAT(text, MatchesRegex("scan_wired/msgpack_serializer:Deserialize:[0-9]+: .*")) << c.what;
    EXPECT_THAT(text, testing::HasSubstr(c.message)) << c.what;
  }
  EXPECT_THAT(ThrownText<Exception::MalformedPacketException>([&] {
                ResponsePacketSerializer().Deserialize(Concat({Fields({0, 1, 2}), Ext8(3, {1, 2, 3})}), 0);
              }),
              EndsWith("Buffer size [3] lesser than value size [4]"));
}

TEST(FieldStream, AnElementThatIsNotAnExtRaisesMsgpacksOwnTypeError) {
  const Bytes notExt[] = {
      {0x01},                    // positive fixint
      {0xA2, 'h', 'i'},          // fixstr
      {0xC0},                    // nil
      Concat({Ext8(9, Key(0)), {0xC0}}),  // nil after a good field
  };
  for (const auto& stream : notExt) {
    EXPECT_THROW(ProbePacketSerializer().Deserialize(stream, 0), msgpack::type_error);
  }
}

TEST(FieldStream, AnOffsetPastTheEndIsACallersMistake) {
  EXPECT_THROW(ProbePacketSerializer().Deserialize({0x01}, 2), Exception::LogicException);
  EXPECT_THAT(ThrownText<Exception::MalformedPacketException>([] { ProbePacketSerializer().Deserialize({0x01}, 1); }),
              EndsWith("Missing fields in the packet: [9]"));
}

}  // namespace
