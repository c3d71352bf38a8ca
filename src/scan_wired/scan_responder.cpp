#include "orvamesh/scan_wired/response_packet_serializer.h"
#include "orvamesh/utils/exception.h"
#include "scan_wired/wired_scan_packet.h"

namespace ORVA::MESH::SDK::ScanWired {

std::vector<unsigned char> EncryptPayload(std::shared_ptr<const std::vector<unsigned char>> payload,
                                          const std::vector<unsigned char>& publicKey) {
  if (!payload) {
    ORVA_THROW(Exception::LogicException, "Null pointer passed");
  }
  // The key comes from a probe off the network: its length is whatever the prober sent.
  if (publicKey.size() != kKeySize) {
    ORVA_THROW(Exception::InvalidArgumentException, "Invalid key size");
  }
  InitSodium();
  std::vector<unsigned char> sealed(payload->size() + kSealOverhead);
  if (crypto_box_seal(sealed.data(), payload->data(), payload->size(), publicKey.data()) != 0) {
    ORVA_THROW(Exception::RuntimeException, "Fail to encrypt payload");
  }
  return sealed;
}

std::vector<unsigned char> BuildResponsePacket(const ResponsePacket& response,
                                               const std::vector<unsigned char>& publicKey) {
  const auto sealed = EncryptPayload(ResponsePacketSerializer().Serialize(response), publicKey);
  if (sealed.size() > kMaxPayloadSize) {
    ORVA_THROW_IN(Exception::RuntimeException, "Respond", Detail::PayloadLimitMessage(sealed.size()));
  }
  auto packet = Detail::FramePayload(sealed);
  if (packet.size() > kMaxPacketSize) {
    ORVA_THROW_IN(Exception::RuntimeException, "Respond", Detail::PacketLimitMessage(packet.size()));
  }
  return packet;
}

}  // namespace ORVA::MESH::SDK::ScanWired
