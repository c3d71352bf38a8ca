#include "orvamesh/scan_wired/scan_response_receiver.h"


#include <arpa/inet.h>
#include <cxxabi.h>
#include <net/if.h>
#include <sys/epoll.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "orvamesh/scan_wired/response_packet.h"
#include "orvamesh/scan_wired/response_packet_serializer.h"
#include "orvamesh/scan_wired/scan_header.h"
#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "orvamesh/utils/hex_dump.h"
#include "scan_wired/wired_scan_packet.h"
#include "utils/receive_loop.h"

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

using Exception::InvalidArgumentException;
using Exception::LogicException;
using Exception::MalformedPacketException;
using Exception::RuntimeException;

namespace {
constexpr size_t kReceiveBufferSize = 8192;
}  // namespace

WiredScanResponseReceiver::WiredScanResponseReceiver(const orva::net::utils::IPAddress& address,
                                                     const std::vector<unsigned char>& publicKey,
                                                     const std::vector<unsigned char>& secretKey,
                                                     const std::string& interfaceName, unsigned short port)
    : address_(address), publicKey_(publicKey), secretKey_(secretKey), port_(port) {
  loop_ = std::make_unique<::ORVA::MESH::SDK::Detail::ReceiveLoop>();
  interfaceIndex_ = ::if_nametoindex(interfaceName.c_str());
  if (interfaceIndex_ == 0) {
    ORVA_THROW(InvalidArgumentException, "Interface [" + interfaceName + "] does not exist");
  }
  ValidateAddress();
  ValidatePublicKey();
  ValidateSecretKey();
}

WiredScanResponseReceiver::WiredScanResponseReceiver(const orva::net::utils::IPAddress& address,
                                                     const std::vector<unsigned char>& publicKey,
                                                     const std::vector<unsigned char>& secretKey,
                                                     unsigned int interfaceIndex, unsigned short port)
    : address_(address),
      publicKey_(publicKey),
      secretKey_(secretKey),
      interfaceIndex_(interfaceIndex),
      port_(port) {
  loop_ = std::make_unique<::ORVA::MESH::SDK::Detail::ReceiveLoop>();
  char name[IF_NAMESIZE];
  if (::if_indextoname(interfaceIndex, name) == nullptr) {
    if (errno == ENXIO || errno == ENODEV) {
      ORVA_THROW(InvalidArgumentException,
                 "Interface with index [" + std::to_string(interfaceIndex) + "] does not exist");
    }
    ORVA_THROW(RuntimeException, ::ORVA::MESH::SDK::Exception::WithErrno("Fail to check if interface exist", errno));
  }
  ValidateAddress();
  ValidatePublicKey();
  ValidateSecretKey();
}

bool WiredScanResponseReceiver::IsReceiving() const noexcept { return running_ && loop_->IsRunning(); }

WiredScanResponseReceiver::~WiredScanResponseReceiver() {
  try {
    StopReceiving();
  } catch (...) {
    ORVA_LOG_UNHANDLED_IN_DESTRUCTOR();
  }
}

void WiredScanResponseReceiver::ValidateAddress() const {
  if (!address_.IsIPv6()) {
    ORVA_THROW(InvalidArgumentException, "address [" + address_.ToString() + "] is not IPv6 address");
  }
}

void WiredScanResponseReceiver::ValidatePublicKey() const {
  if (publicKey_.size() != kKeySize) ORVA_THROW(InvalidArgumentException, "Invalid key size");
}

void WiredScanResponseReceiver::ValidateSecretKey() const {
  if (secretKey_.size() != kKeySize) ORVA_THROW(InvalidArgumentException, "Invalid key size");
}

// --- public operations -------------------------------------------------------------------

void WiredScanResponseReceiver::StartReceiving() {
  if (!Mutex::CallWithLock(apiMutex_, [&] { _StartReceiving(); })) {
    ORVA_THROW(RuntimeException, "Fail to start receiving");
  }
}

void WiredScanResponseReceiver::StopReceiving() {
  if (!Mutex::CallWithLock(apiMutex_, [&] { _StopReceiving(); })) {
    ORVA_THROW(RuntimeException, "Fail to stop receiving");
  }
}

int WiredScanResponseReceiver::AddCallback(const Callback& callback) {
  int id = -1;
  if (!Mutex::CallWithLock(apiMutex_, [&] { id = _AddCallback(callback); })) {
    ORVA_THROW(RuntimeException, "Fail to add callback");
  }
  return id;
}

void WiredScanResponseReceiver::DelCallback(int id) {
  bool locked = false;
  try {
    locked = Mutex::CallWithLock(apiMutex_, [&] { _DelCallback(id); });
  } catch (const std::exception&) {
    std::throw_with_nested(
        RuntimeException(ORVA_LOCATION(), "Fail to delete callback [" + std::to_string(id) + "]"));
  }
  if (!locked) ORVA_THROW(RuntimeException, "Fail to del callback");
}

unsigned short WiredScanResponseReceiver::GetListeningPort() const {
  unsigned short port = 0;
  bool locked = false;
  try {
    locked = Mutex::CallWithLock(apiMutex_, [&] { port = _GetListeningPort(); });
  } catch (const std::exception&) {
    std::throw_with_nested(RuntimeException(ORVA_LOCATION(), "Fail to get listening port"));
  }
  if (!locked) ORVA_THROW(RuntimeException, "Fail to get listening port");
  return port;
}

// --- private twins -----------------------------------------------------------------------

void WiredScanResponseReceiver::_StartReceiving() {
  if (running_) return;
  try {
    SocketSetup();
    try {
      loop_->Start(socket_->GetFd(), [this](uint32_t events) { return OnSocketEvent(events); },
                   [] { ORVA_LOG_INFO("socket IO thread terminated"); });
    } catch (const std::exception&) {
      std::throw_with_nested(RuntimeException(ORVA_LOCATION(), "Fail to start socket IO thread"));
    }
  } catch (...) {
    socket_.reset();
    throw;
  }
  running_ = true;
}

void WiredScanResponseReceiver::_StopReceiving() {
  if (!running_) return;
  // Joins the IO thread, whether it still runs or a fault already ended it.
  loop_->Stop();
  socket_.reset();
  running_ = false;
}

int WiredScanResponseReceiver::_AddCallback(const Callback& callback) {
  int id = -1;
  if (!Mutex::CallWithLock(stateMutex_, [&] {
        id = nextId_++;
        if (!callbacks_.emplace(id, callback).second) {
          ORVA_THROW_IN(RuntimeException, "_AddCallback", "Fail to insert callback");
        }
      })) {
    ORVA_THROW(RuntimeException, "Fail to add callback");
  }
  return id;
}

void WiredScanResponseReceiver::_DelCallback(int id) {
  if (!Mutex::CallWithLock(stateMutex_, [&] {
        if (callbacks_.erase(id) == 0) {
          ORVA_THROW_IN(InvalidArgumentException, "_DelCallback",
                        "callback with id [" + std::to_string(id) + "] does not exist");
        }
      })) {
    ORVA_THROW(RuntimeException, "Fail to del callback");
  }
}

unsigned short WiredScanResponseReceiver::_GetListeningPort() const {
  if (!socket_) ORVA_THROW(LogicException, "No socket opened");
  sockaddr_storage address{};
  socklen_t length = sizeof(address);
  if (::getsockname(socket_->GetFd(), reinterpret_cast<sockaddr*>(&address), &length) == -1) {
    ORVA_THROW(RuntimeException, ::ORVA::MESH::SDK::Exception::WithErrno("Fail to getsockname", errno));
  }
  if (length != sizeof(sockaddr_in6)) ORVA_THROW(RuntimeException, "Address info truncated");
  return ntohs(reinterpret_cast<const sockaddr_in6*>(&address)->sin6_port);
}

// --- socket and thread -------------------------------------------------------------------

void WiredScanResponseReceiver::SocketSetup() {
  socket_ = std::make_shared<SocketWrapper>(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
  const std::string text = address_.ToString();
  sockaddr_in6 local{};
  int parsed = ::inet_pton(AF_INET6, text.c_str(), &local.sin6_addr);
  if (parsed == 0) ORVA_THROW(RuntimeException, "Ill-formed address [" + text + "]");
  ORVA_THROW_ERRNO_IF(parsed == -1, RuntimeException, "Fail to inet_pton");
  if (address_.IsMulticast()) {
    ipv6_mreq membership{};
    membership.ipv6mr_multiaddr = local.sin6_addr;
    membership.ipv6mr_interface = interfaceIndex_;
    if (::setsockopt(socket_->GetFd(), IPPROTO_IPV6, IPV6_ADD_MEMBERSHIP, &membership, sizeof(membership)) == -1) {
      ORVA_THROW(RuntimeException, "Fail to set IPV6_ADD_MEMBERSHIP for socket");
    }
  }
  // A link-local address means nothing without its link; the scope also keeps the socket to
  // the scanned interface.
  local.sin6_family = AF_INET6;
  local.sin6_port = htons(port_);
  local.sin6_scope_id = interfaceIndex_;
  if (::bind(socket_->GetFd(), reinterpret_cast<const sockaddr*>(&local), sizeof(local)) == -1) {
    ORVA_THROW(RuntimeException, "Fail to bind [" + text + "][" + std::to_string(port_) +
                                     ::ORVA::MESH::SDK::Exception::WithErrno("]", errno));
  }
}

bool WiredScanResponseReceiver::OnSocketEvent(uint32_t events) {
  try {
    HandleSocketEvent(events);
    return true;
  } catch (abi::__forced_unwind&) {
    throw;
  } catch (const std::exception& e) {
    ORVA_LOG_ERR("Unhandled exception occured, terminating socket IO thread: %s", e.what());
  } catch (...) {
    ORVA_LOG_ERR("Unhandled and unknown exception occured, terminating socket IO thread");
  }
  return false;
}

void WiredScanResponseReceiver::HandleSocketEvent(uint32_t events) {
  if (events & EPOLLERR) ORVA_THROW(RuntimeException, "Error event on socket");
  if (!(events & EPOLLIN)) {
    ORVA_THROW(RuntimeException, "epoll_wait return socket event but no EPOLLIN event exist");
  }
  if (events & ~static_cast<uint32_t>(EPOLLIN | EPOLLHUP)) {
    ORVA_THROW(RuntimeException, "epoll_wait returned unknown eventType: [" + std::to_string(events) + "]");
  }
  try {
    sockaddr_storage source{};
    std::vector<unsigned char> packet = ReceivePacket(source);
    ResponsePacket response = ParsePacket(packet);
    Dispatch(response, source);
  } catch (const MalformedPacketException& e) {
    ORVA_LOG_INFO("Dropping malformed response packet, reason: %s", e.what());
  }
}

std::vector<unsigned char> WiredScanResponseReceiver::ReceivePacket(sockaddr_storage& source) const {
  return Detail::ReceiveDatagram(socket_->GetFd(), source, kReceiveBufferSize, ORVA_LOCATION());
}

ResponsePacket WiredScanResponseReceiver::ParsePacket(const std::vector<unsigned char>& packet) const {
  // Everything wrong with the datagram itself is a MalformedPacketException (dropped by the
  // loop); msgpack's type error for a non-ext element is not, and ends the IO thread.
  return ReadResponsePacket(packet, publicKey_, secretKey_);
}

void WiredScanResponseReceiver::Dispatch(const ResponsePacket& packet, const sockaddr_storage& source) {
  std::vector<std::pair<int, Callback>> callbacks;
  if (!Mutex::CallWithLock(stateMutex_, [&] { callbacks.assign(callbacks_.begin(), callbacks_.end()); })) {
    ORVA_THROW(RuntimeException, "Fail to copy callbacks");
  }
  for (const auto& [id, callback] : callbacks) InvokeCallback(id, callback, packet, source);
}

void WiredScanResponseReceiver::InvokeCallback(int id, const Callback& callback, const ResponsePacket& packet,
                                       const sockaddr_storage& source) const {
  try {
    callback(packet, source);
  } catch (abi::__forced_unwind&) {
    throw;
  } catch (const std::exception& e) {
    ORVA_LOG_ERR("Exception thrown in callback [%d]: %s", id, e.what());
  } catch (...) {
    ORVA_LOG_ERR("Unrecognized exception thrown in callback [%d]", id);
  }
}

}  // namespace ORVA::MESH::SDK::ScanWired
