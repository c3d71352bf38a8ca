#pragma once
// Serializer<T, Policy> binds a value type to its wire policy and turns it into the two
// type-erased callbacks that packets keep in their field tables: one yields a field's current
// wire bytes, the other decodes bytes into the field. Packet code thereby never sees a wire
// format. Everything is static and reentrant; the work happens in the policies, out of line.
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Serialization {

// Returns the field's wire bytes as of the moment of the call.
using SerializeCallback = std::function<std::shared_ptr<const std::vector<unsigned char>>()>;
// Decodes (data, len) into the field. Throws what the policy throws; the field is left
// unchanged then.
using DeserializeCallback = std::function<void(const char* data, unsigned long len)>;

template <typename T, typename Policy>
class Serializer {
 public:
  Serializer() = delete;

  // The policy's reading of `buf`: (value, bytes consumed). A null `buf` throws
  // Exception::LogicException "Null pointer passed", whatever `len` is.
  static std::pair<T, unsigned long> DeserializeWithOffset(const unsigned char* buf, unsigned long len) {
    if (buf == nullptr) {
      ORVA_THROW(Exception::LogicException, "Null pointer passed");
    }
    return Policy().Deserialize(buf, len);
  }

  // Reads `buf` into `out`; bytes beyond what the policy consumed are ignored.
  static void Deserialize(const char* buf, unsigned long len, T& out) {
    out = std::move(DeserializeWithOffset(reinterpret_cast<const unsigned char*>(buf), len).first);
  }

  // The callback refers to `value` (it does not copy it), so it must not outlive it.
  static SerializeCallback GenerateSerializeCallback(const T& value) {
    const T* field = &value;
    return [field] { return Policy().Serialize(*field); };
  }

  // The callback writes into `value`, so it must not outlive it. Longer data than the policy
  // needs are accepted; only the leading bytes are read.
  static DeserializeCallback GenerateDeserializeCallback(T& value) {
    T* field = &value;
    return [field](const char* data, unsigned long len) { Deserialize(data, len, *field); };
  }
};

}  // namespace ORVA::MESH::SDK::Serialization
