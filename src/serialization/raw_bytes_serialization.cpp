#include "orvamesh/serialization/raw_bytes_serialization.h"

namespace ORVA::MESH::SDK::Serialization {

RawBytesSerialization::~RawBytesSerialization() = default;

std::shared_ptr<const std::vector<unsigned char>> RawBytesSerialization::Serialize(
    const std::vector<unsigned char>& value) const {
  return std::make_shared<const std::vector<unsigned char>>(value);
}

std::pair<std::vector<unsigned char>, unsigned long> RawBytesSerialization::Deserialize(
    const unsigned char* buf, unsigned long len) const {
  return {std::vector<unsigned char>(buf, buf + len), len};
}

}  // namespace ORVA::MESH::SDK::Serialization
