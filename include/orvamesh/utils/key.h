#pragma once
// 32 secret bytes (an AES-256 key, a shared mesh secret). Made from the system's CSPRNG or read
// from 64 lower-case hex digits; compared in constant time; wiped when destroyed; never printed
// (there is no stream operator, and ToHex is for writing key files only).
#include <array>
#include <cstdint>
#include <string>
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT Key256 {
 public:
  static constexpr size_t kSize = 32;

  // Throws RuntimeException when the system has no randomness to give.
  static Key256 Random();
  // Throws InvalidArgumentException unless the text is exactly 64 lower-case hex digits.
  static Key256 FromHex(const std::string& hex);

  Key256(const Key256& other) = default;
  Key256& operator=(const Key256& other) = default;
  ~Key256();

  std::string ToHex() const;
  const uint8_t* Data() const noexcept { return bytes_.data(); }
  bool operator==(const Key256& other) const noexcept;
  bool operator!=(const Key256& other) const noexcept { return !(*this == other); }

 private:
  Key256() = default;
  std::array<uint8_t, kSize> bytes_{};
};

}  // namespace ORVA::MESH::SDK
