#pragma once
// Builds, seals and sends one answer to one prober: an RE makes a WiredScanResponder per probe
// and drops it after the answer. Only link-local IPv6 probers are answered (the wired scan
// never leaves the link); the socket is never bound, so the system picks the source port.
#include <memory>
#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/platform/ip_address.h"
#include "orvamesh/utils/socket_wrapper.h"

namespace ORVA::MESH::SDK::ScanWired {

class ResponsePacket;

class ORVA_EXPORT WiredScanResponder {
 public:
  // Throws InvalidArgumentException for an unknown interface or a destination that is not
  // link-local IPv6 (IPv4, global IPv6, or link-local without an interface).
  WiredScanResponder(const orva::net::utils::IPAddress& destination, unsigned short port,
                     unsigned int interfaceIndex);
  WiredScanResponder(const orva::net::utils::IPAddress& destination, unsigned short port,
                     const std::string& interfaceName);
  WiredScanResponder(const WiredScanResponder&) = delete;
  WiredScanResponder& operator=(const WiredScanResponder&) = delete;

  // The payload sealed to `publicKey` (libsodium's anonymous sealed box, 48 bytes longer).
  // Throws RuntimeException for a key that is not 32 bytes or when sealing fails.
  static std::vector<unsigned char> EncryptPayload(std::shared_ptr<const std::vector<unsigned char>> payload,
                                                   const std::vector<unsigned char>& publicKey);

  // Serializes, seals to `publicKey`, frames and sends the response in one datagram. Throws
  // RuntimeException when the packet exceeds the protocol's limits or the send fails.
  void Respond(const ResponsePacket& response, const std::vector<unsigned char>& publicKey) const;

 private:
  void ValidateAddress() const;
  void SocketSetup();
  void SendBuffer(const std::vector<unsigned char>& buffer) const;

  orva::net::utils::IPAddress destination_;
  unsigned short port_;
  unsigned int interfaceIndex_ = 0;
  std::unique_ptr<SocketWrapper> socket_;
};

}  // namespace ORVA::MESH::SDK::ScanWired
