// Whole datagrams: building them as the senders do and reading them as the receivers do,
// including the sealed box around a response.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <msgpack.hpp>
#include <sodium.h>

#include "orvamesh/scan_wired/response_packet_serializer.h"
#include "scan_packet_fixtures.h"
#include "scan_wired/wired_scan_packet.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::ScanWired;
using namespace orva::test;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

struct KeyPair {
  Bytes publicKey = Bytes(crypto_box_PUBLICKEYBYTES);
  Bytes secretKey = Bytes(crypto_box_SECRETKEYBYTES);
  KeyPair() {
    InitSodium();
    crypto_box_keypair(publicKey.data(), secretKey.data());
  }
};

// What libsodium itself makes of a field stream sealed to `key`, framed by hand.
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

TEST(ProbeDatagram, SizeLimitsApplyToPayloadThenToThePacket) {
  // A key of n bytes takes an ext 16 object of n + 4 bytes.
  const struct {
    unsigned long keySize;
    const char* message;  // "" when the probe fits
  } cases[] = {
      {8180, ""},  // 8184-byte payload: the packet is exactly 8192 bytes
      {8181, "Packet size [8193] exceed spec upper limit [8192]"},
      {65531, "Packet size [65543] exceed spec upper limit [8192]"},
      {65532, "Payload size [65536] exceed header payload field upper limit [65535]"},
  };
  for (const auto& c : cases) {
    const ProbePacket probe(Bytes(c.keySize, 0x42));
    if (*c.message == '\0') {
      EXPECT_EQ(BuildProbePacket(probe).size(), 8192u);
      continue;
    }
    EXPECT_THAT(ThrownText<Exception::RuntimeException>([&] { BuildProbePacket(probe); }),
                MatchesRegex("scan_wired/scan_sender:SendProbe:[0-9]+: .*"));
    EXPECT_THAT(ThrownText<Exception::RuntimeException>([&] { BuildProbePacket(probe); }), EndsWith(c.message));
  }
}

TEST(ProbeDatagram, MalformedDatagramsAreRefusedAsMalformed) {
  const Bytes good = BuildProbePacket(ProbePacket(Key(0)));
  Bytes foreign = good;
  foreign[3] = 0xAC;
  Bytes longer = good;
  longer.push_back(0x00);
  const Bytes sizeTooLarge = Concat({Bytes(good.begin(), good.begin() + 6), {0x00, 0x24}, Bytes(good.begin() + 8, good.end())});
  const struct {
    const char* what;
    Bytes datagram;
    std::string message;
  } cases[] = {
      {"7 bytes", Bytes(good.begin(), good.begin() + 7), "Recieved packet size [7] smaller than header size"},
      {"foreign signature", foreign, "Signature mistmatch"},
      {"a byte more than the header says", longer,
       "Mistmatch between received packet payload size [36] and payload size in header [35]"},
      {"a byte less than the header says", sizeTooLarge,
       "Mistmatch between received packet payload size [35] and payload size in header [36]"},
      {"header only", Framed({}), "Missing fields in the packet: [9]"},
      {"truncated field", Framed({0xC7, 0x20, 0x09, 0x00}), "Fail to unpack message: insufficient bytes"},
  };
  for (const auto& c : cases) {
    EXPECT_THAT(ThrownText<Exception::MalformedPacketException>([&] { ReadProbePacket(c.datagram); }),
                EndsWith(c.message))
        << c.what;
  }
  EXPECT_THAT(ThrownText<Exception::MalformedPacketException>([&] { ReadProbePacket(longer); }),
              MatchesRegex("scan_wired/scan_listener:ParsePacket:[0-9]+: Mistmatch.*"));
  EXPECT_THROW(ReadProbePacket(Framed({0x01})), msgpack::type_error);
}

TEST(ResponseDatagram, RoundTripsThroughTheSealedBox) {
  const KeyPair cap;
  const Bytes datagram = BuildResponsePacket(KnownResponse(), cap.publicKey);
  // An 80-byte field stream plus the 48-byte seal.
  ASSERT_EQ(KnownResponseStream().size(), 80u);
  ASSERT_EQ(datagram.size(), 8u + 80 + 48);
  EXPECT_EQ(Bytes(datagram.begin(), datagram.begin() + 8), (Bytes{0xAB, 0xCD, 0xEF, 0xAB, 0x00, 0x01, 0x00, 0x80}));
  ExpectSameResponse(ReadResponsePacket(datagram, cap.publicKey, cap.secretKey), KnownResponse());
}

TEST(ResponseDatagram, InteroperatesWithLibsodiumsOwnSealedBoxes) {
  const KeyPair cap;
  // Sealed here, opened by the library.
  ExpectSameResponse(ReadResponsePacket(SealedByHand(KnownResponseStream(), cap.publicKey), cap.publicKey, cap.secretKey),
                     KnownResponse());
  // Sealed by the library, opened here.
  const Bytes datagram = BuildResponsePacket(KnownResponse(), cap.publicKey);
  Bytes opened(datagram.size() - 8 - crypto_box_SEALBYTES);
  ASSERT_EQ(crypto_box_seal_open(opened.data(), datagram.data() + 8, datagram.size() - 8, cap.publicKey.data(),
                                 cap.secretKey.data()),
            0);
  EXPECT_EQ(opened, KnownResponseStream());
}

TEST(ResponseDatagram, TheLargestFieldStreamFillsThePacketExactly) {
  const KeyPair cap;
  // With a unique string of 256 bytes or more (an ext 16 object), each further byte adds one.
  const unsigned long fixedPart = ResponsePacketSerializer().Serialize(ResponsePacket(
      "OrvaOS", std::string(256, 'u'), "", "5.2.0", 1, 1, KnownMac(), KnownIpv6(), 1, 1))->size() - 256;
  const unsigned long largestUnique = 8192 - 8 - 48 - fixedPart;
  auto response = [&](unsigned long uniqueSize) {
    return ResponsePacket("OrvaOS", std::string(uniqueSize, 'u'), "", "5.2.0", 1, 1, KnownMac(), KnownIpv6(), 1, 1);
  };
  ASSERT_EQ(ResponsePacketSerializer().Serialize(response(largestUnique))->size(), 8192u - 8 - 48);
  const Bytes largest = BuildResponsePacket(response(largestUnique), cap.publicKey);
  EXPECT_EQ(largest.size(), 8192u);
  EXPECT_EQ(ReadResponsePacket(largest, cap.publicKey, cap.secretKey).GetUnique().size(), largestUnique);
  EXPECT_THAT(ThrownText<Exception::RuntimeException>([&] { BuildResponsePacket(response(largestUnique + 1), cap.publicKey); }),
              MatchesRegex("scan_wired/scan_responder:Respond:[0-9]+: Packet size \\[8193\\] exceed spec upper limit \\[8192\\]"));
  EXPECT_THAT(ThrownText<Exception::RuntimeException>([&] { BuildResponsePacket(response(70000), cap.publicKey); }),
              EndsWith("] exceed header payload field upper limit [65535]"));
}

TEST(ResponseDatagram, OnlyTheScansOwnKeyOpensIt) {
  const KeyPair cap;
  const KeyPair other;
  const Bytes datagram = BuildResponsePacket(KnownResponse(), cap.publicKey);
  Bytes altered = datagram;
  altered[20] ^= 0x01;
  const Bytes sealedEmpty = SealedByHand({}, cap.publicKey);
  const struct {
    const char* what;
    Bytes datagram;
    const KeyPair* keys;
    const char* message;
  } cases[] = {
      {"another scan's key", datagram, &other, "Fail to decrypt response"},
      {"an altered byte", altered, &cap, "Fail to decrypt response"},
      {"47 payload bytes", Framed(Bytes(47, 0)), &cap, "ciphertext lesser than seal size"},
      {"no payload", Framed({}), &cap, "ciphertext lesser than seal size"},
      {"48 bytes of noise", Framed(Bytes(48, 0x5A)), &cap, "Fail to decrypt response"},
      {"an empty sealed stream", sealedEmpty, &cap, "Missing fields in the packet: [0 1 2 3 4 5 6 7 8 10]"},
      {"a probe's stream", SealedByHand(Ext8(9, Key(0)), cap.publicKey), &cap,
       "Missing fields in the packet: [0 1 2 3 4 5 6 7 8 10]"},
  };
  for (const auto& c : cases) {
    EXPECT_THAT(ThrownText<Exception::MalformedPacketException>(
                    [&] { ReadResponsePacket(c.datagram, c.keys->publicKey, c.keys->secretKey); }),
                EndsWith(c.message))
        << c.what;
  }
  EXPECT_THAT(ThrownText<Exception::MalformedPacketException>(
                  [&] { ReadResponsePacket(Framed(Bytes(47, 0)), cap.publicKey, cap.secretKey); }),
              MatchesRegex("scan_wired/scan_response_receiver:DecryptPayload:[0-9]+: .*"));
}

TEST(SealedBox, OpeningChecksOffsetSizeAndKeysBeforeTouchingTheBytes) {
  const KeyPair cap;
  const Bytes sealed = EncryptPayload(std::make_shared<const Bytes>(Bytes{1, 2, 3}), cap.publicKey);
  ASSERT_EQ(sealed.size(), 3u + 48);
  const Bytes atFour = Concat({{9, 9, 9, 9}, sealed});
  EXPECT_EQ(DecryptPayload(atFour, 4, cap.publicKey, cap.secretKey), (Bytes{1, 2, 3}));
  EXPECT_THAT(ThrownText<Exception::LogicException>([&] { DecryptPayload(atFour, atFour.size() + 1, cap.publicKey, cap.secretKey); }),
              MatchesRegex("scan_wired/scan_response_receiver:DecryptPayload:[0-9]+: "
                           "ciphertext buffer offset exceed buffer size"));
  EXPECT_THAT(ThrownText<Exception::MalformedPacketException>([&] { DecryptPayload(atFour, atFour.size(), cap.publicKey, cap.secretKey); }),
              EndsWith("ciphertext lesser than seal size"));
  EXPECT_THAT(ThrownText<Exception::MalformedPacketException>([&] { DecryptPayload(atFour, 5, cap.publicKey, cap.secretKey); }),
              EndsWith("Fail to decrypt response"));
  EXPECT_THROW(DecryptPayload(atFour, 4, Bytes(31), cap.secretKey), Exception::InvalidArgumentException);
  EXPECT_THROW(DecryptPayload(atFour, 4, cap.publicKey, Bytes(33)), Exception::InvalidArgumentException);
}

TEST(SealedBox, SealingRefusesKeysItCannotUse) {
  const auto payload = std::make_shared<const Bytes>(Bytes{1});
  // Keys arrive in probes off the network; their length is the prober's choice.
  for (unsigned long size : {0ul, 31ul, 33ul}) {
    EXPECT_THAT(ThrownText<Exception::InvalidArgumentException>([&] { EncryptPayload(payload, Bytes(size, 1)); }),
                MatchesRegex("scan_wired/scan_responder:EncryptPayload:[0-9]+: Invalid key size"));
  }
  // The all-zero point gives no shared secret.
  EXPECT_THAT(ThrownText<Exception::RuntimeException>([&] { EncryptPayload(payload, Bytes(32, 0)); }),
              EndsWith("Fail to encrypt payload"));
  EXPECT_THROW(BuildResponsePacket(KnownResponse(), Bytes(5, 1)), Exception::InvalidArgumentException);
}

}  // namespace
