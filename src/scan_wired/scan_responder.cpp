#include "orvamesh/scan_wired/scan_responder.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sodium.h>
#include <sys/socket.h>

#include <cerrno>

#include "orvamesh/scan_wired/response_packet.h"
#include "orvamesh/scan_wired/response_packet_serializer.h"
#include "orvamesh/scan_wired/scan_header.h"
#include "orvamesh/base/exception.h"
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

// --- WiredScanResponder ----------------------------------------

using Exception::InvalidArgumentException;
using Exception::RuntimeException;

WiredScanResponder::WiredScanResponder(const orva::net::utils::IPAddress& destination, unsigned short port,
                                       unsigned int interfaceIndex)
    : destination_(destination), port_(port), interfaceIndex_(interfaceIndex) {
  Detail::CheckedInterfaceIndex(interfaceIndex, ORVA_LOCATION());
  ValidateAddress();
  SocketSetup();
}

WiredScanResponder::WiredScanResponder(const orva::net::utils::IPAddress& destination, unsigned short port,
                                       const std::string& interfaceName)
    : destination_(destination), port_(port) {
  interfaceIndex_ = Detail::InterfaceIndexOf(interfaceName, ORVA_LOCATION());
  ValidateAddress();
  SocketSetup();
}

void WiredScanResponder::ValidateAddress() const {
  if (destination_.IsIPv4()) ORVA_THROW(InvalidArgumentException, "Currently does not support IPv4 address");
  if (destination_.IsIPv6() && destination_.IsLinkLocal()) {
    if (interfaceIndex_ == 0) {
      ORVA_THROW(InvalidArgumentException,
                 "No interface index assigned for IPv6 link-local address [" + destination_.ToString() + "]");
    }
    return;
  }
  ORVA_THROW(InvalidArgumentException, "Address [" + destination_.ToString() + "] not supported");
}

void WiredScanResponder::SocketSetup() {
  socket_ = std::make_unique<SocketWrapper>(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
}

std::vector<unsigned char> WiredScanResponder::EncryptPayload(
    std::shared_ptr<const std::vector<unsigned char>> payload, const std::vector<unsigned char>& publicKey) {
  return ScanWired::EncryptPayload(std::move(payload), publicKey);
}

void WiredScanResponder::Respond(const ResponsePacket& response, const std::vector<unsigned char>& publicKey) const {
  SendBuffer(BuildResponsePacket(response, publicKey));
}

void WiredScanResponder::SendBuffer(const std::vector<unsigned char>& buffer) const {
  Detail::SendDatagram(socket_->GetFd(), destination_.ToString(), port_, interfaceIndex_, buffer, ORVA_LOCATION());
}

}  // namespace ORVA::MESH::SDK::ScanWired
