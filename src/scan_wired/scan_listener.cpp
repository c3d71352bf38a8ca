#include "orvamesh/scan_wired/probe_packet_serializer.h"
#include "orvamesh/scan_wired/scan_header.h"
#include "orvamesh/utils/exception.h"
#include "scan_wired/wired_scan_packet.h"

namespace ORVA::MESH::SDK::ScanWired {

ProbePacket ReadProbePacket(const std::vector<unsigned char>& datagram) {
  if (auto mismatch = Detail::PayloadMismatch(datagram); !mismatch.empty()) {
    ORVA_THROW_IN(Exception::MalformedPacketException, "ParsePacket", mismatch);
  }
  auto [probe, consumed] = ProbePacketSerializer().Deserialize(datagram, ScanHeader::kHeaderSize);
  if (consumed < datagram.size() - ScanHeader::kHeaderSize) {
    ORVA_THROW_IN(Exception::MalformedPacketException, "ParsePacket", Detail::TrailingBytesMessage());
  }
  return std::move(probe);
}

}  // namespace ORVA::MESH::SDK::ScanWired
