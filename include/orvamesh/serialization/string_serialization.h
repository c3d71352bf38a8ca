#pragma once
// A string on the wire is its characters and nothing else: no length, no terminating NUL.
// Reading takes every byte it is given, embedded NUL bytes included.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/serialization/serialization.h"

namespace ORVA::MESH::SDK::Serialization {

class ORVA_EXPORT StringSerialization : public Serialization<std::string> {
 public:
  ~StringSerialization() override;
  std::shared_ptr<const std::vector<unsigned char>> Serialize(const std::string& value) const override;
  // Never fails on length; consumed is always `len`.
  std::pair<std::string, unsigned long> Deserialize(const unsigned char* buf, unsigned long len) const override;
};

}  // namespace ORVA::MESH::SDK::Serialization
