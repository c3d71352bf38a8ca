#pragma once
// Sends wired-scan probes: one UDP datagram per probe, multicast to a group and port on one
// interface, from the CAP's own (link-local) address on that interface. Probes are not sealed.
#include <memory>
#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/platform/ip_address.h"
#include "orvamesh/utils/socket_wrapper.h"

namespace ORVA::MESH::SDK::ScanWired {

class ProbePacket;

class ORVA_EXPORT WiredScanSender {
 public:
  // Throws InvalidArgumentException for an unknown interface, a group that is not an IPv6
  // multicast address or a source that is not IPv6; RuntimeException when the socket cannot be
  // set up (a source address that is not this node's own on the interface cannot be bound).
  WiredScanSender(const orva::net::utils::IPAddress& group, const orva::net::utils::IPAddress& source,
                  unsigned short port, unsigned int interfaceIndex);
  WiredScanSender(const orva::net::utils::IPAddress& group, const orva::net::utils::IPAddress& source,
                  unsigned short port, const std::string& interfaceName);
  WiredScanSender(const WiredScanSender&) = delete;
  WiredScanSender& operator=(const WiredScanSender&) = delete;

  // Header plus field stream, in one datagram. Throws RuntimeException when the packet exceeds
  // the protocol's limits or the send fails (no retry).
  void SendProbe(const ProbePacket& probe) const;

 private:
  void ValidateGroup() const;
  void ValidateSrcAddress() const;
  void SocketSetup();
  void SendBuffer(const std::vector<unsigned char>& buffer) const;

  orva::net::utils::IPAddress group_;
  orva::net::utils::IPAddress source_;
  unsigned short port_;
  unsigned int interfaceIndex_ = 0;
  std::unique_ptr<SocketWrapper> socket_;
};

}  // namespace ORVA::MESH::SDK::ScanWired
