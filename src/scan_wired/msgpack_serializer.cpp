#include "orvamesh/scan_wired/msgpack_serializer.h"

#include <msgpack.hpp>

#include <string>

#include "orvamesh/scan_wired/probe_packet_serializer.h"
#include "orvamesh/scan_wired/response_packet_serializer.h"
#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"

namespace ORVA::MESH::SDK::ScanWired {

namespace {

// msgpack's packer writes into anything with write(const char*, size_t).
class VectorSink {
 public:
  explicit VectorSink(std::vector<unsigned char>& bytes) : bytes_(bytes) {}
  void write(const char* data, size_t size) {
    bytes_.insert(bytes_.end(), reinterpret_cast<const unsigned char*>(data),
                  reinterpret_cast<const unsigned char*>(data) + size);
  }

 private:
  std::vector<unsigned char>& bytes_;
};

// Field data stay in the caller's buffer: the objects only live while the stream is read.
bool ReferenceEverything(msgpack::type::object_type, std::size_t, void*) { return true; }

// Bounds for one object read from `remaining` bytes. Strings, binaries and ext data are
// referenced, not copied, and must be present in full. A container allocates one
// msgpack::object per claimed element before reading any, so its claim is held to what the
// remaining bytes could pay for, and containers may not nest (depth 1): the field stream holds
// none, they are read only far enough to be refused. A larger claim is an unpack error.
msgpack::unpack_limit LimitFor(std::size_t remaining) {
  return msgpack::unpack_limit(remaining / sizeof(msgpack::object), remaining / sizeof(msgpack::object_kv),
                               remaining, remaining, remaining, 1);
}

std::string MissingList(const DeserializeMap& missing) {
  std::string list;
  for (const auto& entry : missing) {
    if (!list.empty()) list += ' ';
    list += std::to_string(static_cast<int>(entry.first));
  }
  return list;
}

}  // namespace

namespace Detail {

std::shared_ptr<const std::vector<unsigned char>> PackFieldStream(const SerializablePacket& packet) {
  auto stream = std::make_shared<std::vector<unsigned char>>();
  VectorSink sink(*stream);
  msgpack::packer<VectorSink> packer(sink);
  for (const auto& [type, serialize] : packet.GetSerializeMap()) {
    const auto bytes = serialize();
    packer.pack_ext(bytes->size(), static_cast<int8_t>(type));
    packer.pack_ext_body(reinterpret_cast<const char*>(bytes->data()), bytes->size());
  }
  return stream;
}

unsigned long UnpackFieldStream(SerializablePacket& packet, const std::vector<unsigned char>& buffer,
                                unsigned long offset) {
  if (offset > buffer.size()) {
    ORVA_THROW_IN(Exception::LogicException, "Deserialize",
                  "Offset [" + std::to_string(offset) + "] beyond buffer size [" + std::to_string(buffer.size()) +
                      "]");
  }
  DeserializeMap missing = packet.GetDeserializeMap();
  const char* data = reinterpret_cast<const char*>(buffer.data());
  std::size_t position = offset;
  msgpack::zone zone;
  while (position < buffer.size()) {
    msgpack::object object;
    try {
      object = msgpack::unpack(zone, data, buffer.size(), position, ReferenceEverything, nullptr,
                               LimitFor(buffer.size() - position));
    } catch (const msgpack::unpack_error& e) {
      ORVA_THROW_IN(Exception::MalformedPacketException, "Deserialize",
                    std::string("Fail to unpack message: ") + e.what());
    }
    // Anything but an ext object raises msgpack's own type error, which callers see as it is.
    const auto ext = object.as<msgpack::type::ext_ref>();
    const auto type = static_cast<WiredScanFieldType>(ext.type());
    const auto field = missing.find(type);
    if (field == missing.end()) {
      ORVA_LOG_INFO("Unrecognized field type [%s] in packet, ignored", std::to_string(ext.type()).c_str());
      continue;
    }
    try {
      field->second(ext.data(), ext.size());
    } catch (const Exception::InvalidArgumentException& e) {
      ORVA_THROW_IN(Exception::MalformedPacketException, "Deserialize",
                    std::string("Fail to deserialize data: ") + e.what());
    }
    missing.erase(field);
  }
  if (!missing.empty()) {
    ORVA_THROW_IN(Exception::MalformedPacketException, "Deserialize",
                  "Missing fields in the packet: [" + MissingList(missing) + "]");
  }
  return position - offset;
}

}  // namespace Detail

ProbePacket ProbePacketSerializer::GetEmptyInstance() const { return ProbePacket(); }

ResponsePacket ResponsePacketSerializer::GetEmptyInstance() const { return ResponsePacket(); }

}  // namespace ORVA::MESH::SDK::ScanWired
