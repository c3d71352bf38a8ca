#pragma once
// The policy interface of the binary serialization framework: one policy per value type turns a
// value into its wire bytes and back. A policy writes no length, tag or terminator of its own;
// whatever carries the bytes (a packet header, a msgpack element) also carries their length.
#include <memory>
#include <utility>
#include <vector>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Serialization {

template <typename T>
class ORVA_EXPORT Serialization {
 public:
  virtual ~Serialization() = default;

  // A freshly allocated, immutable byte vector holding the wire form of `value`; shared so that
  // it can be handed on to a sender without copying.
  virtual std::shared_ptr<const std::vector<unsigned char>> Serialize(const T& value) const = 0;

  // Reads a value from the front of `buf` (at most `len` bytes). Returns the value and the
  // number of bytes it took. Throws Exception::InvalidArgumentException when `len` is too short
  // for the value.
  virtual std::pair<T, unsigned long> Deserialize(const unsigned char* buf, unsigned long len) const = 0;
};

}  // namespace ORVA::MESH::SDK::Serialization
