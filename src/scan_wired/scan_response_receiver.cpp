#include "orvamesh/scan_wired/scan_response_receiver.h"

#include <arpa/inet.h>

#include <cerrno>
#include <utility>

#include "orvamesh/scan_wired/response_packet.h"
#include "orvamesh/scan_wired/response_packet_serializer.h"
#include "orvamesh/scan_wired/scan_header.h"
#include "orvamesh/base/exception.h"
#include "scan_wired/wired_scan_packet.h"
#include "scan_wired/datagram_receiver.h"

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
  if (auto problem = Detail::HeaderProblem(datagram); !problem.empty()) {
    ORVA_THROW_IN(Exception::MalformedPacketException, "ParsePacket", problem);
  }
  const auto opened = DecryptPayload(datagram, ScanHeader::kHeaderSize, publicKey, secretKey);
  auto [response, consumed] = ResponsePacketSerializer().Deserialize(opened, 0);
  if (consumed < opened.size()) {
    ORVA_THROW_IN(Exception::MalformedPacketException, "ParsePacket", Detail::TrailingBytesMessage());
  }
  return std::move(response);
}

// --- WiredScanResponseReceiver ----------------------------------------

WiredScanResponseReceiver::WiredScanResponseReceiver(const orva::net::utils::IPAddress& address,
                                                     const std::vector<unsigned char>& publicKey,
                                                     const std::vector<unsigned char>& secretKey,
                                                     const std::string& interfaceName, unsigned short port)
    : address_(address),
      publicKey_(publicKey),
      secretKey_(secretKey),
      interfaceIndex_(Detail::InterfaceIndexOf(interfaceName, ORVA_LOCATION())),
      port_(port) {
  Validate();
  MakeReceiver();
}

WiredScanResponseReceiver::WiredScanResponseReceiver(const orva::net::utils::IPAddress& address,
                                                     const std::vector<unsigned char>& publicKey,
                                                     const std::vector<unsigned char>& secretKey,
                                                     unsigned int interfaceIndex, unsigned short port)
    : address_(address),
      publicKey_(publicKey),
      secretKey_(secretKey),
      interfaceIndex_(Detail::CheckedInterfaceIndex(interfaceIndex, ORVA_LOCATION())),
      port_(port) {
  Validate();
  MakeReceiver();
}

// The receiver stops receiving; it never throws.
WiredScanResponseReceiver::~WiredScanResponseReceiver() = default;

void WiredScanResponseReceiver::Validate() const {
  ValidateAddress();
  ValidatePublicKey();
  ValidateSecretKey();
}

void WiredScanResponseReceiver::MakeReceiver() {
  receiver_ = std::make_unique<Detail::DatagramReceiver<ResponsePacket>>(
      Detail::ReceiverOwner{ORVA_SOURCE_FILE, "StartReceiving", "StopReceiving", "receiving", "response"},
      [this] { return SocketSetup(); },
      [this](const std::vector<unsigned char>& datagram) { return ReadResponsePacket(datagram, publicKey_, secretKey_); });
}

void WiredScanResponseReceiver::ValidateAddress() const {
  if (!address_.IsIPv6()) {
    ORVA_THROW(Exception::InvalidArgumentException, "address [" + address_.ToString() + "] is not IPv6 address");
  }
}

void WiredScanResponseReceiver::ValidatePublicKey() const {
  if (publicKey_.size() != kKeySize) ORVA_THROW(Exception::InvalidArgumentException, "Invalid key size");
}

void WiredScanResponseReceiver::ValidateSecretKey() const {
  if (secretKey_.size() != kKeySize) ORVA_THROW(Exception::InvalidArgumentException, "Invalid key size");
}

void WiredScanResponseReceiver::StartReceiving() { receiver_->Start(); }
void WiredScanResponseReceiver::StopReceiving() { receiver_->Stop(); }
bool WiredScanResponseReceiver::IsReceiving() const noexcept { return receiver_->IsReceiving(); }
int WiredScanResponseReceiver::AddCallback(const Callback& callback) { return receiver_->AddCallback(callback); }
void WiredScanResponseReceiver::DelCallback(int id) { receiver_->DelCallback(id); }
unsigned short WiredScanResponseReceiver::GetListeningPort() const { return receiver_->GetListeningPort(); }

std::shared_ptr<SocketWrapper> WiredScanResponseReceiver::SocketSetup() const {
  auto socket = std::make_shared<SocketWrapper>(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
  const std::string text = address_.ToString();
  sockaddr_in6 local{};
  int parsed = ::inet_pton(AF_INET6, text.c_str(), &local.sin6_addr);
  if (parsed == 0) ORVA_THROW(Exception::RuntimeException, "Ill-formed address [" + text + "]");
  ORVA_THROW_ERRNO_IF(parsed == -1, Exception::RuntimeException, "Fail to inet_pton");
  if (address_.IsMulticast()) {
    ipv6_mreq membership{};
    membership.ipv6mr_multiaddr = local.sin6_addr;
    membership.ipv6mr_interface = interfaceIndex_;
    if (::setsockopt(socket->GetFd(), IPPROTO_IPV6, IPV6_ADD_MEMBERSHIP, &membership, sizeof(membership)) == -1) {
      ORVA_THROW(Exception::RuntimeException, "Fail to set IPV6_ADD_MEMBERSHIP for socket");
    }
  }
  // A link-local address means nothing without its link; the scope also keeps the socket to
  // the scanned interface.
  local.sin6_family = AF_INET6;
  local.sin6_port = htons(port_);
  local.sin6_scope_id = interfaceIndex_;
  if (::bind(socket->GetFd(), reinterpret_cast<const sockaddr*>(&local), sizeof(local)) == -1) {
    ORVA_THROW(Exception::RuntimeException, "Fail to bind [" + text + "][" + std::to_string(port_) +
                                                Exception::WithErrno("]", errno));
  }
  return socket;
}

}  // namespace ORVA::MESH::SDK::ScanWired
