#include "orvamesh/utils/key.h"

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK {

Key256 Key256::Random() {
  Key256 key;
  if (RAND_bytes(key.bytes_.data(), static_cast<int>(kSize)) != 1) {
    ORVA_THROW(Exception::RuntimeException, "Fail to draw a random key");
  }
  return key;
}

Key256 Key256::FromHex(const std::string& hex) {
  auto digit = [](char c) { return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1; };
  Key256 key;
  bool valid = hex.size() == 2 * kSize;
  for (size_t i = 0; valid && i < kSize; ++i) {
    const int high = digit(hex[2 * i]), low = digit(hex[2 * i + 1]);
    valid = high >= 0 && low >= 0;
    if (valid) key.bytes_[i] = static_cast<uint8_t>(high << 4 | low);
  }
  // The text is not repeated: it may be a key that is merely mistyped.
  if (!valid) ORVA_THROW(Exception::InvalidArgumentException, "A key is 64 lower-case hex digits");
  return key;
}

Key256::~Key256() { OPENSSL_cleanse(bytes_.data(), bytes_.size()); }

std::string Key256::ToHex() const {
  static const char* hex = "0123456789abcdef";
  std::string out;
  for (uint8_t b : bytes_) {
    out += hex[b >> 4];
    out += hex[b & 15];
  }
  return out;
}

bool Key256::operator==(const Key256& other) const noexcept {
  return CRYPTO_memcmp(bytes_.data(), other.bytes_.data(), kSize) == 0;
}

}  // namespace ORVA::MESH::SDK
