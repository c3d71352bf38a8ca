#pragma once
// Opaque bytes (keys, blobs) travel as they are. Reading takes every byte it is given.
#include <memory>
#include <utility>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/serialization/serialization.h"

namespace ORVA::MESH::SDK::Serialization {

class ORVA_EXPORT RawBytesSerialization : public Serialization<std::vector<unsigned char>> {
 public:
  ~RawBytesSerialization() override;
  std::shared_ptr<const std::vector<unsigned char>> Serialize(
      const std::vector<unsigned char>& value) const override;
  // Never fails on length; consumed is always `len`.
  std::pair<std::vector<unsigned char>, unsigned long> Deserialize(const unsigned char* buf,
                                                                   unsigned long len) const override;
};

}  // namespace ORVA::MESH::SDK::Serialization
