#include "orvamesh/scan_wired/scan_listener.h"

#include <arpa/inet.h>

#include <cerrno>
#include <utility>

#include "orvamesh/scan_wired/probe_packet.h"
#include "orvamesh/scan_wired/probe_packet_serializer.h"
#include "orvamesh/scan_wired/scan_header.h"
#include "orvamesh/base/exception.h"
#include "scan_wired/wired_scan_packet.h"
#include "scan_wired/datagram_receiver.h"

namespace ORVA::MESH::SDK::ScanWired {

ProbePacket ReadProbePacket(const std::vector<unsigned char>& datagram) {
  if (auto problem = Detail::HeaderProblem(datagram); !problem.empty()) {
    ORVA_THROW_IN(Exception::MalformedPacketException, "ParsePacket", problem);
  }
  auto [probe, consumed] = ProbePacketSerializer().Deserialize(datagram, ScanHeader::kHeaderSize);
  if (consumed < datagram.size() - ScanHeader::kHeaderSize) {
    ORVA_THROW_IN(Exception::MalformedPacketException, "ParsePacket", Detail::TrailingBytesMessage());
  }
  return std::move(probe);
}

// --- WiredScanListener ----------------------------------------

WiredScanListener::WiredScanListener(const orva::net::utils::IPAddress& group,
                                     const std::string& interfaceName, unsigned short port)
    : group_(group), interfaceIndex_(Detail::InterfaceIndexOf(interfaceName, ORVA_LOCATION())), port_(port) {
  ValidateGroup();
  MakeReceiver();
}

WiredScanListener::WiredScanListener(const orva::net::utils::IPAddress& group,
                                     unsigned int interfaceIndex, unsigned short port)
    : group_(group), interfaceIndex_(Detail::CheckedInterfaceIndex(interfaceIndex, ORVA_LOCATION())), port_(port) {
  ValidateGroup();
  MakeReceiver();
}

// The receiver stops listening; it never throws.
WiredScanListener::~WiredScanListener() = default;

void WiredScanListener::ValidateGroup() const {
  if (!group_.IsIPv6()) {
    ORVA_THROW(Exception::InvalidArgumentException, "group [" + group_.ToString() + "] is not IPv6 address");
  }
  if (!group_.IsMulticast()) {
    ORVA_THROW(Exception::InvalidArgumentException,
               "group [" + group_.ToString() + "] is not IPv6 Multicast address");
  }
}

void WiredScanListener::MakeReceiver() {
  receiver_ = std::make_unique<Detail::DatagramReceiver<ProbePacket>>(
      Detail::ReceiverOwner{ORVA_SOURCE_FILE, "StartListening", "StopListening", "listening", "probe"},
      [this] { return SocketSetup(); }, &ReadProbePacket);
}

void WiredScanListener::StartListening() { receiver_->Start(); }
void WiredScanListener::StopListening() { receiver_->Stop(); }
bool WiredScanListener::IsReceiving() const noexcept { return receiver_->IsReceiving(); }
int WiredScanListener::AddCallback(const Callback& callback) { return receiver_->AddCallback(callback); }
void WiredScanListener::DelCallback(int id) { receiver_->DelCallback(id); }
unsigned short WiredScanListener::GetListeningPort() const { return receiver_->GetListeningPort(); }

std::shared_ptr<SocketWrapper> WiredScanListener::SocketSetup() const {
  auto socket = std::make_shared<SocketWrapper>(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
  const std::string text = group_.ToString();
  ipv6_mreq membership{};
  int parsed = ::inet_pton(AF_INET6, text.c_str(), &membership.ipv6mr_multiaddr);
  if (parsed == 0) ORVA_THROW(Exception::RuntimeException, "Ill-formed address [" + text + "]");
  ORVA_THROW_ERRNO_IF(parsed == -1, Exception::RuntimeException, "Fail to inet_pton");
  membership.ipv6mr_interface = interfaceIndex_;
  if (::setsockopt(socket->GetFd(), IPPROTO_IPV6, IPV6_ADD_MEMBERSHIP, &membership, sizeof(membership)) == -1) {
    ORVA_THROW(Exception::RuntimeException, "Fail to set IPV6_ADD_MEMBERSHIP for socket");
  }
  // The interface as scope binds the socket to it: a link-local group needs one, and the
  // listener must not hear the same group on the node's other links.
  sockaddr_in6 local{};
  local.sin6_family = AF_INET6;
  local.sin6_port = htons(port_);
  local.sin6_addr = membership.ipv6mr_multiaddr;
  local.sin6_scope_id = interfaceIndex_;
  if (::bind(socket->GetFd(), reinterpret_cast<const sockaddr*>(&local), sizeof(local)) == -1) {
    ORVA_THROW(Exception::RuntimeException, "Fail to bind [" + text + "][" + std::to_string(port_) +
                                                Exception::WithErrno("]", errno));
  }
  return socket;
}

}  // namespace ORVA::MESH::SDK::ScanWired
