#include "orvamesh/scan_wired/response_packet_serializer.h"
#include "orvamesh/scan_wired/scan_header.h"
#include "orvamesh/utils/exception.h"
#include "scan_wired/wired_scan_packet.h"

namespace ORVA::MESH::SDK::ScanWired {

std::vector<unsigned char> DecryptPayload(const std::vector<unsigned char>& packet, unsigned long offset,
                                          const std::vector<unsigned char>& publicKey,
                                          const std::vector<unsigned char>& secretKey) {
  if (publicKey.size() != kKeySize || secretKey.size() != kKeySize) {
    ORVA_THROW(Exception::InvalidArgumentException, "Invalid key size");
  }
  if (offset > packet.size()) {
    ORVA_THROW(Exception::LogicException, "ciphertext buffer offset exceed buffer size");
  }
  const unsigned long sealedSize = packet.size() - offset;
  if (sealedSize < kSealOverhead) {
    ORVA_THROW(Exception::MalformedPacketException, "ciphertext lesser than seal size");
  }
  InitSodium();
  std::vector<unsigned char> opened(sealedSize - kSealOverhead);
  if (crypto_box_seal_open(opened.data(), packet.data() + offset, sealedSize, publicKey.data(),
                           secretKey.data()) != 0) {
    ORVA_THROW(Exception::MalformedPacketException, "Fail to decrypt response");
  }
  return opened;
}

ResponsePacket ReadResponsePacket(const std::vector<unsigned char>& datagram,
                                  const std::vector<unsigned char>& publicKey,
                                  const std::vector<unsigned char>& secretKey) {
  if (auto mismatch = Detail::PayloadMismatch(datagram); !mismatch.empty()) {
    ORVA_THROW_IN(Exception::MalformedPacketException, "ParsePacket", mismatch);
  }
  const auto opened = DecryptPayload(datagram, ScanHeader::kHeaderSize, publicKey, secretKey);
  auto [response, consumed] = ResponsePacketSerializer().Deserialize(opened, 0);
  if (consumed < opened.size()) {
    ORVA_THROW_IN(Exception::MalformedPacketException, "ParsePacket", Detail::TrailingBytesMessage());
  }
  return std::move(response);
}

}  // namespace ORVA::MESH::SDK::ScanWired
