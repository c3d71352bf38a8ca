// Whole datagrams, built as the senders build them and read as the receivers read them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sodium.h>

#include "scan_packet_fixtures.h"
#include "scan_wired/wired_scan_packet.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::ScanWired;
using namespace orva::test;
using ::testing::EndsWith;
using ::testing::MatchesRegex;

struct KeyPair {
  Bytes publicKey = Bytes(32);
  Bytes secretKey = Bytes(32);
  KeyPair() {
    InitSodium();
    crypto_box_keypair(publicKey.data(), secretKey.data());
  }
};

// libsodium's own sealed box of `stream`, framed by hand.
Bytes SealedByHand(const Bytes& stream, const Bytes& key) {
  Bytes sealed(stream.size() + crypto_box_SEALBYTES);
  EXPECT_EQ(crypto_box_seal(sealed.data(), stream.data(), stream.size(), key.data()), 0);
  return Framed(sealed);
}

TEST(ProbeDatagram, IsTheHeaderFollowedByTheClearFieldStream) {
  const Bytes expected = Concat({{0xAB, 0xCD, 0xEF, 0xAB, 0x00, 0x01, 0x00, 0x23, 0xC7, 0x20, 0x09}, Key(0)});
  EXPECT_EQ(BuildProbePacket(ProbePacket(Key(0))), expected);
  EXPECT_EQ(ReadProbePacket(expected).GetPublicKey(), Key(0));
}

TEST(ProbeDatagram, FillsAtMostOnePacket) {
  EXPECT_EQ(BuildProbePacket(ProbePacket(Bytes(8180, 1))).size(), 8192u);  // key in an ext 16 object
  EXPECT_THAT(ThrownText<Exception::RuntimeException>([&] { BuildProbePacket(ProbePacket(Bytes(8181, 1))); }),
              MatchesRegex("scan_wired/scan_sender:SendProbe:[0-9]+: Packet size \\[8193\\] exceed spec upper "
                           "limit \\[8192\\]"));
}

// The header's, the field stream's and the listener's own tests walk the other refusals.
TEST(ProbeDatagram, APayloadOfAnotherSizeThanTheHeaderSaysIsMalformed) {
  const Bytes good = BuildProbePacket(ProbePacket(Key(0)));
  Bytes claimsMore = good;
  claimsMore[7] = 0x24;
  EXPECT_THAT(ThrownText<Exception::MalformedPacketException>([&] { ReadProbePacket(claimsMore); }),
              MatchesRegex("scan_wired/scan_listener:ParsePacket:[0-9]+: Mistmatch between received packet "
                           "payload size \\[35\\] and payload size in header \\[36\\]"));
  EXPECT_THAT(ThrownText<Exception::MalformedPacketException>([&] { ReadProbePacket(Concat({good, {0}})); }),
              EndsWith("payload size [36] and payload size in header [35]"));
}

TEST(ResponseDatagram, InteroperatesWithLibsodiumsOwnSealedBoxes) {
  const KeyPair cap;
  const Bytes datagram = BuildResponsePacket(KnownResponse(), cap.publicKey);
  // An 80-byte field stream plus the 48-byte seal.
  ASSERT_EQ(datagram.size(), 8u + 80 + 48);
  Bytes opened(80);
  ASSERT_EQ(crypto_box_seal_open(opened.data(), &datagram[8], 128, cap.publicKey.data(), cap.secretKey.data()), 0);
  EXPECT_EQ(opened, KnownResponseStream());

  const Bytes sealedHere = SealedByHand(KnownResponseStream(), cap.publicKey);
  EXPECT_EQ(StreamOf(ReadResponsePacket(sealedHere, cap.publicKey, cap.secretKey)), KnownResponseStream());
}

TEST(ResponseDatagram, TheLargestFieldStreamFillsThePacketExactly) {
  const KeyPair cap;
  // Past 255 bytes the unique string is an ext 16 object: one more character, one more byte.
  const unsigned long largest = 8192 - 8 - 48 - (StreamOf(KnownResponse(std::string(256, 'u'))).size() - 256);
  const Bytes datagram = BuildResponsePacket(KnownResponse(std::string(largest, 'u')), cap.publicKey);
  EXPECT_EQ(datagram.size(), 8192u);
  EXPECT_EQ(ReadResponsePacket(datagram, cap.publicKey, cap.secretKey).GetUnique().size(), largest);
  EXPECT_THAT(ThrownText<Exception::RuntimeException>(
                  [&] { BuildResponsePacket(KnownResponse(std::string(largest + 1, 'u')), cap.publicKey); }),
              MatchesRegex("scan_wired/scan_responder:Respond:[0-9]+: Packet size \\[8193\\] exceed spec upper "
                           "limit \\[8192\\]"));
}

TEST(ResponseDatagram, OnlyTheScansOwnKeyOpensIt) {
  const KeyPair cap;
  const KeyPair other;
  const Bytes datagram = BuildResponsePacket(KnownResponse(), cap.publicKey);
  Bytes altered = datagram;
  altered[20] ^= 0x01;
  const struct { Bytes datagram; const KeyPair* keys; const char* message; } cases[] = {
      {datagram, &other, "Fail to decrypt response"},
      {altered, &cap, "Fail to decrypt response"},
      {Framed(Bytes(47, 0)), &cap, "ciphertext lesser than seal size"},
      {SealedByHand({}, cap.publicKey), &cap, "Missing fields in the packet: [0 1 2 3 4 5 6 7 8 10]"},
  };
  for (const auto& c : cases) {
    EXPECT_THAT(ThrownText<Exception::MalformedPacketException>(
                    [&] { ReadResponsePacket(c.datagram, c.keys->publicKey, c.keys->secretKey); }),
                EndsWith(c.message));
  }
}

TEST(SealedBox, SealingRefusesKeysItCannotUse) {
  const auto payload = std::make_shared<const Bytes>(Bytes{1});
  // A probe's key is whatever the prober sent; the all-zero point yields no shared secret.
  EXPECT_THAT(ThrownText<Exception::RuntimeException>([&] { EncryptPayload(payload, Bytes(32, 0)); }),
              EndsWith("Fail to encrypt payload"));
}

}  // namespace
