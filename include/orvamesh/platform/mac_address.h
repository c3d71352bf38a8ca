#pragma once
// The network utility library's MAC address value. It parses the usual text forms, remembers
// whether the text was a MAC address at all, and prints the canonical form: six lower-case
// two-digit hexadecimal octets joined by ":" ("00:24:e7:01:02:03").
//
// Accepted text: "aa:bb:cc:dd:ee:ff" and "aa-bb-cc-dd-ee-ff" (each octet exactly two
// hexadecimal digits, either case) and the bare twelve digits "aabbccddeeff". Anything else
// gives an invalid address that keeps the text it was made from, so that error messages can
// show what was received. Construction never throws.
#include <net/ethernet.h>

#include <array>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "orvamesh/export.h"

namespace orva::net::utils {

class ORVA_EXPORT MacAddress {
 public:
  using Bytes = std::array<uint8_t, 6>;

  // 00:00:00:00:00:00 (valid).
  MacAddress() noexcept;
  explicit MacAddress(const std::string& text);
  explicit MacAddress(const ether_addr& address) noexcept;
  explicit MacAddress(const Bytes& bytes) noexcept;

  bool IsValid() const noexcept { return valid_; }
  // The canonical lower-case text; for an invalid address the text it was made from.
  std::string ToString() const;
  // The six octets; all zero for an invalid address.
  const Bytes& GetBytes() const noexcept { return bytes_; }
  // False (and `out` untouched) for an invalid address.
  bool ToEtherAddr(ether_addr& out) const noexcept;

  // Parses one of the accepted text forms; false when `text` is none of them.
  static bool Parse(const std::string& text, Bytes& out) noexcept;

  // Valid addresses order by their octets and come after invalid ones, which order by text.
  friend ORVA_EXPORT bool operator==(const MacAddress& a, const MacAddress& b) noexcept;
  friend ORVA_EXPORT bool operator<(const MacAddress& a, const MacAddress& b) noexcept;
  friend bool operator!=(const MacAddress& a, const MacAddress& b) noexcept { return !(a == b); }

 private:
  Bytes bytes_{};
  bool valid_ = true;
  std::string invalidText_;
};

ORVA_EXPORT std::ostream& operator<<(std::ostream& out, const MacAddress& address);

}  // namespace orva::net::utils
