#include "orvamesh/scan_wired/scan_header.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "scan_packet_fixtures.h"

namespace {

using namespace ORVA::MESH::SDK;
using ScanWired::ScanHeader;
using namespace orva::test;
using ::testing::MatchesRegex;

TEST(ScanHeader, IsSignatureVersionAndPayloadSizeBigEndian) {
  EXPECT_EQ(*ScanHeader(1, 0x1234).SerializeHeader(), (Bytes{0xAB, 0xCD, 0xEF, 0xAB, 0x00, 0x01, 0x12, 0x34}));
  const Bytes packet = {0x55, 0xAB, 0xCD, 0xEF, 0xAB, 0x00, 0x02, 0x01, 0x00, 0x77};
  auto [header, next] = ScanHeader::ParseHeader(packet, 1);
  EXPECT_EQ(next, 9u);
  EXPECT_EQ(header.GetVersion(), 2);  // any version is accepted
  EXPECT_EQ(header.GetPayloadSize(), 256);
}

TEST(ScanHeader, RefusesPacketsWithoutRoomForAHeader) {
  const Bytes eight = *ScanHeader(1, 0).SerializeHeader();
  const std::pair<Bytes, unsigned long> cases[] = {{Bytes(7, 0xAB), 0}, {{}, 0}, {eight, 1}, {eight, ~0ul}};
  for (const auto& [packet, offset] : cases) {
    EXPECT_THAT(ThrownText<Exception::MalformedPacketException>([&] { ScanHeader::ParseHeader(packet, offset); }),
                MatchesRegex("scan_wired/scan_header:ParseHeader:[0-9]+: Recieved packet size \\[" +
                             std::to_string(packet.size()) + "\\] smaller than header size"));
  }
}

TEST(ScanHeader, ValidatesTheSignatureItIsGiven) {
  EXPECT_THAT(ThrownText<Exception::RuntimeException>([] { ScanHeader({0xAB, 0xCD, 0xEF, 0xAC}, 1, 0); }),
              MatchesRegex("scan_wired/scan_header:ScanHeader:[0-9]+: Signature mistmatch"));
  EXPECT_THAT(ThrownText<Exception::InvalidArgumentException>([] { ScanHeader({0xAB, 0xCD, 0xEF}, 1, 0); }),
              MatchesRegex("scan_wired/scan_header:ScanHeader:[0-9]+: Incorrect signature size \\[3\\]"));
}

}  // namespace
