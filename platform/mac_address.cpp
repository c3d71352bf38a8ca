#include "orvamesh/platform/mac_address.h"

#include <cstdio>
#include <cstring>
#include <ostream>

namespace orva::net::utils {
namespace {

int HexValue(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Octet i starts at i * stride; with a separator it must sit right after each octet.
bool ParseOctets(const std::string& text, size_t stride, char separator, MacAddress::Bytes& out) noexcept {
  MacAddress::Bytes bytes{};
  for (size_t i = 0; i < bytes.size(); ++i) {
    const size_t at = i * stride;
    const int high = HexValue(text[at]);
    const int low = HexValue(text[at + 1]);
    if (high < 0 || low < 0) return false;
    if (separator != '\0' && i + 1 < bytes.size() && text[at + 2] != separator) return false;
    bytes[i] = static_cast<uint8_t>(high << 4 | low);
  }
  out = bytes;
  return true;
}

}  // namespace

MacAddress::MacAddress() noexcept = default;

MacAddress::MacAddress(const std::string& text) {
  valid_ = Parse(text, bytes_);
  if (!valid_) {
    bytes_.fill(0);
    invalidText_ = text;
  }
}

MacAddress::MacAddress(const ether_addr& address) noexcept {
  std::memcpy(bytes_.data(), address.ether_addr_octet, bytes_.size());
}

MacAddress::MacAddress(const Bytes& bytes) noexcept : bytes_(bytes) {}

bool MacAddress::Parse(const std::string& text, Bytes& out) noexcept {
  if (text.size() == 12) return ParseOctets(text, 2, '\0', out);
  if (text.size() == 17) {
    const char separator = text[2];
    if (separator != ':' && separator != '-') return false;
    return ParseOctets(text, 3, separator, out);
  }
  return false;
}

std::string MacAddress::ToString() const {
  if (!valid_) return invalidText_;
  // Formatted by hand: this sits on the decode path of every topology and node list.
  static const char kHex[] = "0123456789abcdef";
  std::string text(17, ':');
  for (size_t i = 0; i < bytes_.size(); ++i) {
    text[i * 3] = kHex[bytes_[i] >> 4];
    text[i * 3 + 1] = kHex[bytes_[i] & 0x0f];
  }
  return text;
}

bool MacAddress::ToEtherAddr(ether_addr& out) const noexcept {
  if (!valid_) return false;
  std::memcpy(out.ether_addr_octet, bytes_.data(), bytes_.size());
  return true;
}

bool operator==(const MacAddress& a, const MacAddress& b) noexcept {
  return a.valid_ == b.valid_ && a.bytes_ == b.bytes_ && a.invalidText_ == b.invalidText_;
}

bool operator<(const MacAddress& a, const MacAddress& b) noexcept {
  if (a.valid_ != b.valid_) return !a.valid_;
  if (a.bytes_ != b.bytes_) return a.bytes_ < b.bytes_;
  return a.invalidText_ < b.invalidText_;
}

std::ostream& operator<<(std::ostream& out, const MacAddress& address) {
  return out << address.ToString();
}

}  // namespace orva::net::utils
