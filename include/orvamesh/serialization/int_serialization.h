#pragma once
// Integers on the wire: exactly sizeof(T) bytes, big-endian (network order). One template
// implements every width; it is instantiated inside the library for the eight integer types
// below, so users' programs carry no copy of its code.
#include <memory>
#include <utility>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/serialization/serialization.h"

namespace ORVA::MESH::SDK::Serialization {

template <typename T>
class ORVA_EXPORT IntSerialization : public Serialization<T> {
 public:
  ~IntSerialization() override;

  // htonValue(value), then its memory image: sizeof(T) bytes.
  std::shared_ptr<const std::vector<unsigned char>> Serialize(const T& value) const override;
  // The first sizeof(T) bytes through ntohValue; consumed sizeof(T). A shorter buffer throws
  // Exception::InvalidArgumentException "Buffer size [len] lesser than value size [sizeof(T)]".
  std::pair<T, unsigned long> Deserialize(const unsigned char* buf, unsigned long len) const override;

  // Host to network order and back: byte order reversed on a little-endian host for 16, 32 and
  // 64 bits, the identity for 8 bits and on a big-endian host. Virtual so that a subclass may
  // change the wire order.
  virtual T htonValue(const T& value) const;
  virtual T ntohValue(const T& value) const;
};

extern template class IntSerialization<signed char>;
extern template class IntSerialization<short>;
extern template class IntSerialization<int>;
extern template class IntSerialization<long>;
extern template class IntSerialization<unsigned char>;
extern template class IntSerialization<unsigned short>;
extern template class IntSerialization<unsigned int>;
extern template class IntSerialization<unsigned long>;

static_assert(sizeof(long) == 8 && sizeof(unsigned long) == 8,
              "64-bit integers travel as long / unsigned long: an LP64 target is required");

#define ORVA_INT_SERIALIZATION_POLICY(Name, Type)    \
  class ORVA_EXPORT Name : public IntSerialization<Type> { \
   public:                                           \
    ~Name() override;                                \
  }

ORVA_INT_SERIALIZATION_POLICY(Int8Serialization, signed char);
ORVA_INT_SERIALIZATION_POLICY(UInt8Serialization, unsigned char);
ORVA_INT_SERIALIZATION_POLICY(Int16Serialization, short);
ORVA_INT_SERIALIZATION_POLICY(UInt16Serialization, unsigned short);
ORVA_INT_SERIALIZATION_POLICY(Int32Serialization, int);
ORVA_INT_SERIALIZATION_POLICY(UInt32Serialization, unsigned int);
ORVA_INT_SERIALIZATION_POLICY(Int64Serialization, long);
ORVA_INT_SERIALIZATION_POLICY(UInt64Serialization, unsigned long);

#undef ORVA_INT_SERIALIZATION_POLICY

}  // namespace ORVA::MESH::SDK::Serialization
