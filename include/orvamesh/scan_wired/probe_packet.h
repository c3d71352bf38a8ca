#pragma once
// The probe the CAP multicasts: it carries only the CAP's public key (field type 9), which the
// REs seal their answers to. Probes travel in clear.
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/scan_wired/serializable_packet.h"

namespace ORVA::MESH::SDK::ScanWired {

class ORVA_EXPORT ProbePacket : public SerializablePacket {
 public:
  // An empty key; what a received probe is read into.
  ProbePacket() = default;
  explicit ProbePacket(const std::vector<unsigned char>& publicKey);

  SerializeMap GetSerializeMap() const override;
  DeserializeMap GetDeserializeMap() override;

  // As received: its length is whatever the sender put (32 bytes for a well-behaved CAP).
  const std::vector<unsigned char>& GetPublicKey() const noexcept { return publicKey_; }

 private:
  std::vector<unsigned char> publicKey_;
};

}  // namespace ORVA::MESH::SDK::ScanWired
