#include "orvamesh/serialization/mac_address_serialization.h"

#include <cstring>
#include <string>

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Serialization {

MACAddressSerialization::~MACAddressSerialization() = default;

std::shared_ptr<const std::vector<unsigned char>> MACAddressSerialization::Serialize(const ether_addr& value) const {
  return std::make_shared<const std::vector<unsigned char>>(value.ether_addr_octet,
                                                            value.ether_addr_octet + sizeof value.ether_addr_octet);
}

std::pair<ether_addr, unsigned long> MACAddressSerialization::Deserialize(const unsigned char* buf,
                                                                          unsigned long len) const {
  ether_addr address{};
  if (len < sizeof address.ether_addr_octet) {
    ORVA_THROW(Exception::InvalidArgumentException,
               "Buffer size [" + std::to_string(len) + "] lesser than value size [" +
                   std::to_string(sizeof address.ether_addr_octet) + "]");
  }
  std::memcpy(address.ether_addr_octet, buf, sizeof address.ether_addr_octet);
  return {address, sizeof address.ether_addr_octet};
}

}  // namespace ORVA::MESH::SDK::Serialization
