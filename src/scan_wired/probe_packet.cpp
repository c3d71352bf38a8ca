#include "orvamesh/scan_wired/probe_packet.h"

#include "orvamesh/serialization/raw_bytes_serialization.h"

namespace ORVA::MESH::SDK::ScanWired {

namespace {
using KeySerializer = Serialization::Serializer<std::vector<unsigned char>, Serialization::RawBytesSerialization>;
}  // namespace

ProbePacket::ProbePacket(const std::vector<unsigned char>& publicKey) : publicKey_(publicKey) {}

SerializeMap ProbePacket::GetSerializeMap() const {
  return {{WiredScanFieldType::PUBLIC_KEY, KeySerializer::GenerateSerializeCallback(publicKey_)}};
}

DeserializeMap ProbePacket::GetDeserializeMap() {
  return {{WiredScanFieldType::PUBLIC_KEY, KeySerializer::GenerateDeserializeCallback(publicKey_)}};
}

}  // namespace ORVA::MESH::SDK::ScanWired
