#pragma once
#include "orvamesh/export.h"
#include "orvamesh/scan_wired/msgpack_serializer.h"
#include "orvamesh/scan_wired/response_packet.h"

namespace ORVA::MESH::SDK::ScanWired {

// Field stream of a response (before sealing); see MessageSerializer.
class ORVA_EXPORT ResponsePacketSerializer : public MessageSerializer<ResponsePacket> {
 public:
  ResponsePacket GetEmptyInstance() const override;
};

}  // namespace ORVA::MESH::SDK::ScanWired
