#pragma once
// Turns a packet into its field stream and back. The field stream is a plain concatenation of
// msgpack ext objects, one per field, in ascending field type order: the ext type is the field
// type, the ext data the field's wire bytes. There is no enclosing array or map and no count.
//
// Reading accepts the fields in any order; the first occurrence of a field wins, and later
// duplicates as well as unknown types are logged at LOG_INFO and skipped. Every field of the
// packet is required. Failures of Deserialize:
//   - truncated or malformed msgpack: Exception::MalformedPacketException
//     "Fail to unpack message: <msgpack's text>";
//   - an element that is not an ext object: msgpack::type_error (a std::bad_cast), unchanged;
//   - field data too short for its value: Exception::MalformedPacketException
//     "Fail to deserialize data: <the policy's text>";
//   - fields missing at the end: Exception::MalformedPacketException
//     "Missing fields in the packet: [t1 t2 ...]" (types ascending, decimal);
//   - `offset` beyond the buffer: Exception::LogicException.
// Claimed msgpack sizes are bounded by the bytes present, so no input makes the reader allocate
// more than the buffer holds; a msgpack array or map too large for that, or nested in another,
// is an unpack error rather than a type error. The msgpack code itself stays in the library.
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/scan_wired/serializable_packet.h"

namespace ORVA::MESH::SDK::ScanWired {

namespace Detail {
ORVA_EXPORT std::shared_ptr<const std::vector<unsigned char>> PackFieldStream(const SerializablePacket& packet);
// Fills `packet` from buffer[offset..end); returns the number of bytes consumed.
ORVA_EXPORT unsigned long UnpackFieldStream(SerializablePacket& packet, const std::vector<unsigned char>& buffer,
                                            unsigned long offset);
}  // namespace Detail

template <typename T>
class ORVA_EXPORT MessageSerializer {
  static_assert(std::is_base_of_v<SerializablePacket, T>, "MessageSerializer is for wired scan packets");

 public:
  virtual ~MessageSerializer() = default;

  // The default-constructed packet that Deserialize fills.
  virtual T GetEmptyInstance() const = 0;

  std::shared_ptr<const std::vector<unsigned char>> Serialize(const T& packet) const {
    return Detail::PackFieldStream(packet);
  }

  // Reads the field stream in buffer[offset..end); returns the packet and the bytes consumed
  // from `offset`. Nothing partial is ever returned: any failure throws (see above).
  std::pair<T, unsigned long> Deserialize(const std::vector<unsigned char>& buffer, unsigned long offset) const {
    T packet = GetEmptyInstance();
    const unsigned long consumed = Detail::UnpackFieldStream(packet, buffer, offset);
    return {std::move(packet), consumed};
  }
};

}  // namespace ORVA::MESH::SDK::ScanWired
