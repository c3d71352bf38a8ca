#include "radius/address_prefix.h"

#include <algorithm>

namespace ORVA::MESH::SDK::Radius::Detail {

using orva::net::utils::IPAddress;

bool AddressPrefix::Parse(const std::string& text, AddressPrefix& out) {
  const std::size_t slash = text.find('/');
  AddressPrefix parsed;
  if (!IPAddress::TryParse(text.substr(0, slash), parsed.address)) return false;
  const unsigned maxLength = parsed.address.IsIPv4() ? 32 : 128;
  parsed.length = maxLength;
  if (slash != std::string::npos) {
    const std::string digits = text.substr(slash + 1);
    if (digits.empty() || digits.size() > 3 || digits.find_first_not_of("0123456789") != std::string::npos) {
      return false;
    }
    parsed.length = static_cast<unsigned>(std::stoul(digits));
    if (parsed.length > maxLength) return false;
  }
  out = parsed;
  return true;
}

bool AddressPrefix::SharesBits(const AddressPrefix& other, unsigned bits) const {
  if (address.GetFamily() != other.address.GetFamily()) return false;
  in6_addr x{};
  in6_addr y{};
  address.ToIn6Addr(x);
  other.address.ToIn6Addr(y);
  // IPv4 sits in the last 32 bits of its mapped form.
  const unsigned offset = address.IsIPv4() ? 96 : 0;
  for (unsigned i = offset; i < offset + bits; ++i) {
    const unsigned mask = 0x80u >> (i % 8);
    if ((x.s6_addr[i / 8] & mask) != (y.s6_addr[i / 8] & mask)) return false;
  }
  return true;
}

bool AddressPrefix::Overlaps(const AddressPrefix& other) const {
  return SharesBits(other, std::min(length, other.length));
}

bool AddressPrefix::Contains(const IPAddress& host) const {
  AddressPrefix single;
  single.address = host;
  return SharesBits(single, length);
}

}  // namespace ORVA::MESH::SDK::Radius::Detail
