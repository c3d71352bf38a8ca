#include "orvamesh/serialization/ipv6_address_serialization.h"

#include <cstring>
#include <string>

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Serialization {

IPv6AddressSerialization::~IPv6AddressSerialization() = default;

std::shared_ptr<const std::vector<unsigned char>> IPv6AddressSerialization::Serialize(const in6_addr& value) const {
  return std::make_shared<const std::vector<unsigned char>>(value.s6_addr, value.s6_addr + sizeof value.s6_addr);
}

std::pair<in6_addr, unsigned long> IPv6AddressSerialization::Deserialize(const unsigned char* buf,
                                                                         unsigned long len) const {
  in6_addr address{};
  if (len < sizeof address.s6_addr) {
    ORVA_THROW(Exception::InvalidArgumentException,
               "Buffer size [" + std::to_string(len) + "] lesser than value size [" +
                   std::to_string(sizeof address.s6_addr) + "]");
  }
  std::memcpy(address.s6_addr, buf, sizeof address.s6_addr);
  return {address, sizeof address.s6_addr};
}

}  // namespace ORVA::MESH::SDK::Serialization
