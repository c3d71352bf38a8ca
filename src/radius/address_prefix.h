#pragma once
// An address with a prefix length ("192.168.8.0/24", "fd00::/64", or a bare address as a
// host prefix), as RADIUS client entries name the access points they admit.
#include <string>

#include "orvamesh/platform/ip_address.h"

namespace ORVA::MESH::SDK::Radius::Detail {

struct AddressPrefix {
  orva::net::utils::IPAddress address;
  unsigned length = 0;

  // False when `text` is no address, or the length is not a number within the family's bits.
  static bool Parse(const std::string& text, AddressPrefix& out);
  // Same family and equal in the first `bits` bits.
  bool SharesBits(const AddressPrefix& other, unsigned bits) const;
  // One prefix holds the other's addresses (or both are the same).
  bool Overlaps(const AddressPrefix& other) const;
  bool Contains(const orva::net::utils::IPAddress& host) const;
};

}  // namespace ORVA::MESH::SDK::Radius::Detail
