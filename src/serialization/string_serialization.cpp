#include "orvamesh/serialization/string_serialization.h"

namespace ORVA::MESH::SDK::Serialization {

StringSerialization::~StringSerialization() = default;

std::shared_ptr<const std::vector<unsigned char>> StringSerialization::Serialize(const std::string& value) const {
  return std::make_shared<const std::vector<unsigned char>>(value.begin(), value.end());
}

std::pair<std::string, unsigned long> StringSerialization::Deserialize(const unsigned char* buf,
                                                                       unsigned long len) const {
  return {std::string(reinterpret_cast<const char*>(buf), len), len};
}

}  // namespace ORVA::MESH::SDK::Serialization
