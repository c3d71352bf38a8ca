#include "orvamesh/scan_wired/probe_packet_serializer.h"
#include "orvamesh/utils/exception.h"
#include "scan_wired/wired_scan_packet.h"

namespace ORVA::MESH::SDK::ScanWired {

std::vector<unsigned char> BuildProbePacket(const ProbePacket& probe) {
  const auto payload = ProbePacketSerializer().Serialize(probe);
  if (payload->size() > kMaxPayloadSize) {
    ORVA_THROW_IN(Exception::RuntimeException, "SendProbe", Detail::PayloadLimitMessage(payload->size()));
  }
  auto packet = Detail::FramePayload(*payload);
  if (packet.size() > kMaxPacketSize) {
    ORVA_THROW_IN(Exception::RuntimeException, "SendProbe", Detail::PacketLimitMessage(packet.size()));
  }
  return packet;
}

}  // namespace ORVA::MESH::SDK::ScanWired
