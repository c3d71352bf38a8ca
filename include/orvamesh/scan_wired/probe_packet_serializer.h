#pragma once
#include "orvamesh/export.h"
#include "orvamesh/scan_wired/msgpack_serializer.h"
#include "orvamesh/scan_wired/probe_packet.h"

namespace ORVA::MESH::SDK::ScanWired {

// Field stream of a probe; see MessageSerializer.
class ORVA_EXPORT ProbePacketSerializer : public MessageSerializer<ProbePacket> {
 public:
  ProbePacket GetEmptyInstance() const override;
};

}  // namespace ORVA::MESH::SDK::ScanWired
