#include "orvamesh/scan_wired/scan_sender.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>

#include "orvamesh/scan_wired/probe_packet.h"
#include "orvamesh/scan_wired/probe_packet_serializer.h"
#include "orvamesh/scan_wired/scan_header.h"
#include "orvamesh/base/exception.h"
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

// --- WiredScanSender ----------------------------------------

using Exception::InvalidArgumentException;
using Exception::RuntimeException;

WiredScanSender::WiredScanSender(const orva::net::utils::IPAddress& group,
                                 const orva::net::utils::IPAddress& source, unsigned short port,
                                 unsigned int interfaceIndex)
    : group_(group), source_(source), port_(port), interfaceIndex_(interfaceIndex) {
  Detail::CheckedInterfaceIndex(interfaceIndex, ORVA_LOCATION());
  ValidateGroup();
  ValidateSrcAddress();
  SocketSetup();
}

WiredScanSender::WiredScanSender(const orva::net::utils::IPAddress& group,
                                 const orva::net::utils::IPAddress& source, unsigned short port,
                                 const std::string& interfaceName)
    : group_(group), source_(source), port_(port) {
  interfaceIndex_ = Detail::InterfaceIndexOf(interfaceName, ORVA_LOCATION());
  ValidateGroup();
  ValidateSrcAddress();
  SocketSetup();
}

void WiredScanSender::ValidateGroup() const {
  if (!group_.IsIPv6()) {
    ORVA_THROW(InvalidArgumentException, "group [" + group_.ToString() + "] is not IPv6 address");
  }
  if (!group_.IsMulticast()) {
    ORVA_THROW(InvalidArgumentException, "group [" + group_.ToString() + "] is not IPv6 Multicast address");
  }
}

void WiredScanSender::ValidateSrcAddress() const {
  if (!source_.IsIPv6()) {
    ORVA_THROW(InvalidArgumentException, "source address [" + source_.ToString() + "] is not IPv6 address");
  }
}

void WiredScanSender::SocketSetup() {
  socket_ = std::make_unique<SocketWrapper>(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
  const int fd = socket_->GetFd();
  const int index = static_cast<int>(interfaceIndex_);
  if (::setsockopt(fd, IPPROTO_IPV6, IPV6_MULTICAST_IF, &index, sizeof(index)) == -1) {
    ORVA_THROW(RuntimeException,
               ::ORVA::MESH::SDK::Exception::WithErrno("Fail to set socket option IPV6_MULTICAST_IF", errno));
  }
  const std::string text = source_.ToString();
  sockaddr_in6 local{};
  local.sin6_family = AF_INET6;
  int parsed = ::inet_pton(AF_INET6, text.c_str(), &local.sin6_addr);
  if (parsed == 0) ORVA_THROW(RuntimeException, "source address [" + text + "] is not a valid IPv6 address");
  ORVA_THROW_ERRNO_IF(parsed == -1, RuntimeException, "Fail to inet_pton");
  // A link-local source is only bindable together with its link.
  local.sin6_scope_id = interfaceIndex_;
  if (::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof(local)) == -1) {
    ORVA_THROW(RuntimeException, ::ORVA::MESH::SDK::Exception::WithErrno("Fail to bind", errno));
  }
}

void WiredScanSender::SendProbe(const ProbePacket& probe) const { SendBuffer(BuildProbePacket(probe)); }

void WiredScanSender::SendBuffer(const std::vector<unsigned char>& buffer) const {
  Detail::SendDatagram(socket_->GetFd(), group_.ToString(), port_, interfaceIndex_, buffer, ORVA_LOCATION());
}

}  // namespace ORVA::MESH::SDK::ScanWired
