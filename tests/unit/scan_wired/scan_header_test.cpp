#include "orvamesh/scan_wired/scan_header.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "scan_packet_fixtures.h"

namespace {

using namespace ORVA::MESH::SDK;
using ScanWired::ScanHeader;
using namespace orva::test;
using ::testing::MatchesRegex;

TEST(ScanHeader, SerializesSignatureVersionAndPayloadSizeBigEndian) {
  EXPECT_EQ(*ScanHeader(1, 0x1234).SerializeHeader(), (Bytes{0xAB, 0xCD, 0xEF, 0xAB, 0x00, 0x01, 0x12, 0x34}));
  EXPECT_EQ(*ScanHeader(0xFFFE, 0).SerializeHeader(), (Bytes{0xAB, 0xCD, 0xEF, 0xAB, 0xFF, 0xFE, 0x00, 0x00}));
}

TEST(ScanHeader, ParsesAtAnOffsetAndReturnsTheOffsetAfterIt) {
  const Bytes packet = Concat({{0x55, 0x66}, {0xAB, 0xCD, 0xEF, 0xAB, 0x00, 0x02, 0x01, 0x00}, {0x77}});
  auto [header, next] = ScanHeader::ParseHeader(packet, 2);
  EXPECT_EQ(next, 10u);
  EXPECT_EQ(header.GetVersion(), 2);  // any version is accepted
  EXPECT_EQ(header.GetPayloadSize(), 256);
  EXPECT_EQ(header.GetSignature(), (Bytes{0xAB, 0xCD, 0xEF, 0xAB}));
}

TEST(ScanHeader, RefusesPacketsWithoutRoomForAHeader) {
  const Bytes eight = *ScanHeader(1, 0).SerializeHeader();
  const struct {
    Bytes packet;
    unsigned long offset;
    const char* size;
  } cases[] = {
      {Bytes(eight.begin(), eight.begin() + 7), 0, "7"},
      {{}, 0, "0"},
      {eight, 1, "8"},
      {eight, ~0ul, "8"},  // an offset that would wrap around
  };
  for (const auto& c : cases) {
    EXPECT_THAT(ThrownText<Exception::MalformedPacketException>([&] { ScanHeader::ParseHeader(c.packet, c.offset); }),
                MatchesRegex(std::string("scan_wired/scan_header:ParseHeader:[0-9]+: Recieved packet size \\[") +
                             c.size + "\\] smaller than header size"))
        << c.size << " at " << c.offset;
  }
}

TEST(ScanHeader, ValidatesTheSignatureItIsGiven) {
  EXPECT_THAT(ThrownText<Exception::RuntimeException>([] { ScanHeader({0xAB, 0xCD, 0xEF, 0xAC}, 1, 0); }),
              MatchesRegex("scan_wired/scan_header:ScanHeader:[0-9]+: Signature mistmatch"));
  EXPECT_THAT(ThrownText<Exception::InvalidArgumentException>([] { ScanHeader({0xAB, 0xCD, 0xEF}, 1, 0); }),
              MatchesRegex("scan_wired/scan_header:ScanHeader:[0-9]+: Incorrect signature size \\[3\\]"));
  EXPECT_THAT(ThrownText<Exception::InvalidArgumentException>(
                  [] { ScanHeader({0xAB, 0xCD, 0xEF, 0xAB, 0x00}, 1, 0); }),
              testing::EndsWith("Incorrect signature size [5]"));
  const Bytes foreign = {0xAB, 0xCD, 0xEF, 0xAC, 0x00, 0x01, 0x00, 0x00};
  EXPECT_THAT(ThrownText<Exception::RuntimeException>([&] { ScanHeader::ParseHeader(foreign, 0); }),
              testing::EndsWith("Signature mistmatch"));
}

}  // namespace
