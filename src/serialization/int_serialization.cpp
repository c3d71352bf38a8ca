#include "orvamesh/serialization/int_serialization.h"

#include <endian.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Serialization {

namespace {

// Byte order reversal by width; the compiler turns each into one bswap.
template <typename T>
T ToBigEndian(T value) {
  if constexpr (sizeof(T) == 1) {
    return value;
  } else if constexpr (sizeof(T) == 2) {
    uint16_t raw;
    std::memcpy(&raw, &value, sizeof raw);
    raw = htobe16(raw);
    std::memcpy(&value, &raw, sizeof raw);
    return value;
  } else if constexpr (sizeof(T) == 4) {
    uint32_t raw;
    std::memcpy(&raw, &value, sizeof raw);
    raw = htobe32(raw);
    std::memcpy(&value, &raw, sizeof raw);
    return value;
  } else {
    static_assert(sizeof(T) == 8, "integer policies cover 8, 16, 32 and 64 bits");
    uint64_t raw;
    std::memcpy(&raw, &value, sizeof raw);
    raw = htobe64(raw);
    std::memcpy(&value, &raw, sizeof raw);
    return value;
  }
}

}  // namespace

template <typename T>
IntSerialization<T>::~IntSerialization() = default;

template <typename T>
std::shared_ptr<const std::vector<unsigned char>> IntSerialization<T>::Serialize(const T& value) const {
  const T wire = htonValue(value);
  auto bytes = std::make_shared<std::vector<unsigned char>>(sizeof(T));
  std::memcpy(bytes->data(), &wire, sizeof(T));
  return bytes;
}

template <typename T>
std::pair<T, unsigned long> IntSerialization<T>::Deserialize(const unsigned char* buf, unsigned long len) const {
  if (len < sizeof(T)) {
    ORVA_THROW(Exception::InvalidArgumentException,
               "Buffer size [" + std::to_string(len) + "] lesser than value size [" +
                   std::to_string(sizeof(T)) + "]");
  }
  T wire;
  std::memcpy(&wire, buf, sizeof(T));
  return {ntohValue(wire), sizeof(T)};
}

template <typename T>
T IntSerialization<T>::htonValue(const T& value) const {
  return ToBigEndian(value);
}

// The conversion is its own inverse.
template <typename T>
T IntSerialization<T>::ntohValue(const T& value) const {
  return ToBigEndian(value);
}

template class IntSerialization<signed char>;
template class IntSerialization<short>;
template class IntSerialization<int>;
template class IntSerialization<long>;
template class IntSerialization<unsigned char>;
template class IntSerialization<unsigned short>;
template class IntSerialization<unsigned int>;
template class IntSerialization<unsigned long>;

Int8Serialization::~Int8Serialization() = default;
UInt8Serialization::~UInt8Serialization() = default;
Int16Serialization::~Int16Serialization() = default;
UInt16Serialization::~UInt16Serialization() = default;
Int32Serialization::~Int32Serialization() = default;
UInt32Serialization::~UInt32Serialization() = default;
Int64Serialization::~Int64Serialization() = default;
UInt64Serialization::~UInt64Serialization() = default;

}  // namespace ORVA::MESH::SDK::Serialization
