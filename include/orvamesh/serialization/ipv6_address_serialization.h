#pragma once
// An IPv6 address travels as its 16 bytes in order (an in6_addr is already in network order).
#include <netinet/in.h>

#include <memory>
#include <utility>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/serialization/serialization.h"

namespace ORVA::MESH::SDK::Serialization {

class ORVA_EXPORT IPv6AddressSerialization : public Serialization<in6_addr> {
 public:
  ~IPv6AddressSerialization() override;
  std::shared_ptr<const std::vector<unsigned char>> Serialize(const in6_addr& value) const override;
  // Reads the first 16 bytes (consumed 16); fewer throw Exception::InvalidArgumentException
  // "Buffer size [len] lesser than value size [16]".
  std::pair<in6_addr, unsigned long> Deserialize(const unsigned char* buf, unsigned long len) const override;
};

}  // namespace ORVA::MESH::SDK::Serialization
