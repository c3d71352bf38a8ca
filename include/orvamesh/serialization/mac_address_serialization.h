#pragma once
// A MAC address travels as its 6 bytes in order.
#include <netinet/ether.h>

#include <memory>
#include <utility>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/serialization/serialization.h"

namespace ORVA::MESH::SDK::Serialization {

class ORVA_EXPORT MACAddressSerialization : public Serialization<ether_addr> {
 public:
  ~MACAddressSerialization() override;
  std::shared_ptr<const std::vector<unsigned char>> Serialize(const ether_addr& value) const override;
  // Reads the first 6 bytes (consumed 6); fewer throw Exception::InvalidArgumentException
  // "Buffer size [len] lesser than value size [6]".
  std::pair<ether_addr, unsigned long> Deserialize(const unsigned char* buf, unsigned long len) const override;
};

}  // namespace ORVA::MESH::SDK::Serialization
