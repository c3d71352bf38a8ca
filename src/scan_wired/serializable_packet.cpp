#include "orvamesh/scan_wired/serializable_packet.h"

namespace ORVA::MESH::SDK::ScanWired {

SerializablePacket::~SerializablePacket() = default;

}  // namespace ORVA::MESH::SDK::ScanWired
