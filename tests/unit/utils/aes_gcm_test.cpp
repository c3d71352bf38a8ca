#include <gtest/gtest.h>

#include "orvamesh/base/exception.h"
#include "orvamesh/utils/aes_gcm.h"
#include "platform/process_runner.h"
#include "support/thrown_text.h"

namespace {

using namespace ORVA::MESH::SDK;
using Bytes = AesGcm::Bytes;

Bytes FromHex(const std::string& hex) {
  Bytes out;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) out.push_back(static_cast<uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
  return out;
}

std::string ToHex(const Bytes& bytes) {
  static const char* hex = "0123456789abcdef";
  std::string out;
  for (uint8_t b : bytes) out += std::string{hex[b >> 4], hex[b & 15]};
  return out;
}

constexpr auto Refusal = orva::test::ThrownText<std::exception>;

TEST(Key256, ReadsOnlyLowerCaseHexOfTheRightLength) {
  const std::string good(64, 'a');
  EXPECT_EQ(Key256::FromHex(good).ToHex(), good);
  for (const std::string& bad :
       {std::string(63, 'a'), std::string(65, 'a'), std::string(64, 'A'), std::string(62, 'a') + "g0"}) {
    EXPECT_THROW(Key256::FromHex(bad), Exception::InvalidArgumentException) << bad;
    EXPECT_EQ(Refusal([&] { Key256::FromHex(bad); }).find(bad), std::string::npos) << "never echoed";
  }
  EXPECT_NE(Key256::Random(), Key256::Random());
}

TEST(AesGcm, SealsNonceFirstAndRefusesEveryKindOfTamperingWithTheMessage) {
  const Key256 key = Key256::Random();
  const Bytes plaintext(100, 0x42), aad = {1, 2, 3};
  const Bytes sealed = AesGcm::Encrypt(key, plaintext, aad);
  ASSERT_EQ(sealed.size(), AesGcm::kNonceSize + plaintext.size() + AesGcm::kTagSize);
  EXPECT_EQ(AesGcm::Decrypt(key, sealed, aad), plaintext);
  // Nonce first, then what EncryptWithNonce gives.
  const Bytes nonce(sealed.begin(), sealed.begin() + AesGcm::kNonceSize);
  const Bytes body(sealed.begin() + AesGcm::kNonceSize, sealed.end());
  EXPECT_EQ(AesGcm::EncryptWithNonce(key, nonce, plaintext, aad), body);
  EXPECT_EQ(AesGcm::DecryptWithNonce(key, nonce, body, aad), plaintext);
  auto flipped = [&](size_t at) {
    Bytes b = sealed;
    b[at] ^= 1;
    return b;
  };
  struct Case {
    const char* name;
    Key256 key;
    Bytes sealed, aad;
  } cases[] = {
      {"wrong key", Key256::Random(), sealed, aad},
      {"changed nonce", key, flipped(0), aad},
      {"changed ciphertext", key, flipped(AesGcm::kNonceSize + 5), aad},
      {"changed aad", key, sealed, {1, 2, 4}},
      {"shorter than nonce and tag", key, Bytes(sealed.begin(), sealed.begin() + 27), aad},
      {"empty", key, {}, aad},
  };
  for (const auto& c : cases) {
    EXPECT_NE(Refusal([&] { AesGcm::Decrypt(c.key, c.sealed, c.aad); }).find("message failed authentication"), std::string::npos)
        << c.name;
  }
  EXPECT_NE(AesGcm::Encrypt(key, plaintext, aad), sealed) << "a fresh nonce every time";
}

// python3-cryptography's AESGCM as the independent implementation, in both directions.
TEST(AesGcm, AgreesWithAnIndependentImplementation) {
  const Key256 key = Key256::Random();
  const Bytes plaintext = FromHex("00ff10203040506070"), aad = FromHex("a0a1");
  const std::string ours = ToHex(AesGcm::Encrypt(key, plaintext, aad));
  const char* script =
      "import sys, os\n"
      "from cryptography.hazmat.primitives.ciphers.aead import AESGCM\n"
      "k, sealed, aad = bytes.fromhex(sys.argv[1]), bytes.fromhex(sys.argv[2]), bytes.fromhex(sys.argv[3])\n"
      "g = AESGCM(k)\n"
      "print(g.decrypt(sealed[:12], sealed[12:], aad).hex())\n"
      "n = os.urandom(12)\n"
      "print((n + g.encrypt(n, bytes.fromhex('c0ffee'), aad)).hex())\n";
  std::string out;
  ASSERT_EQ(orva::platform::RunProgramCapture({"/usr/bin/python3", "-c", script, key.ToHex(), ours, ToHex(aad)}, out), 0);
  const auto newline = out.find('\n');
  EXPECT_EQ(out.substr(0, newline), ToHex(plaintext));
  const std::string theirs = out.substr(newline + 1, out.find('\n', newline + 1) - newline - 1);
  EXPECT_EQ(ToHex(AesGcm::Decrypt(key, FromHex(theirs), aad)), "c0ffee");
}

}  // namespace
