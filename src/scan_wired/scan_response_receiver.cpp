#include "orvamesh/scan_wired/scan_response_receiver.h"


#include <arpa/inet.h>
#include <cxxabi.h>
#include <fcntl.h>
#include <net/if.h>
#include <signal.h>
#include <sys/epoll.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "orvamesh/scan_wired/response_packet.h"
#include "orvamesh/scan_wired/response_packet_serializer.h"
#include "orvamesh/scan_wired/scan_header.h"
#include "orvamesh/utils/epoll_wrapper.h"
#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "orvamesh/utils/hex_dump.h"
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
constexpr int kMaxEvents = 2;
}  // namespace

WiredScanResponseReceiver::WiredScanResponseReceiver(const orva::net::utils::IPAddress& address,
                                                     const std::vector<unsigned char>& publicKey,
                                                     const std::vector<unsigned char>& secretKey,
                                                     const std::string& interfaceName, unsigned short port)
    : address_(address), publicKey_(publicKey), secretKey_(secretKey), port_(port) {
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
    pipe_ = std::make_shared<PipeWrapper>(O_CLOEXEC);
    SocketSetup();
    if (!Mutex::CallWithLock(stateMutex_, [&] { stopRequested_ = false; })) {
      ORVA_THROW(RuntimeException, "Fail to reset thread stop predicate");
    }
    try {
      StartIOThread();
    } catch (const std::exception&) {
      std::throw_with_nested(RuntimeException(ORVA_LOCATION(), "Fail to start socket IO thread"));
    }
  } catch (...) {
    ReleaseResources();
    throw;
  }
  running_ = true;
}

void WiredScanResponseReceiver::_StopReceiving() {
  if (!running_) return;
  if (!Mutex::CallWithLock(stateMutex_, [&] {
        stopRequested_ = true;
        WakeUpIOThreadWithPipe();
      })) {
    ORVA_THROW(RuntimeException, "Fail to request socket IO thread stop");
  }
  try {
    JoinIOThread();
  } catch (const std::exception&) {
    std::throw_with_nested(RuntimeException(ORVA_LOCATION(), "Fail to stop socket IO thread"));
  }
  // The thread released both on a requested stop; after an unexpected end it could not.
  ReleaseResources();
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

void WiredScanResponseReceiver::StartIOThread() {
  // The IO thread inherits a full signal mask, so signals go to the program's own threads and
  // never interrupt the wait.
  sigset_t all;
  sigset_t previous;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &previous);
  ioThreadAlive_ = true;
  int rc = ::pthread_create(&thread_, nullptr, &WiredScanResponseReceiver::ThreadEntry, this);
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  if (rc != 0) {
    ioThreadAlive_ = false;
    ORVA_THROW(RuntimeException, "Fail to start receiving thread");
  }
}

void WiredScanResponseReceiver::JoinIOThread() {
  int rc = ::pthread_join(thread_, nullptr);
  if (rc != 0) ORVA_THROW(RuntimeException, "Fail to join socket IO thread, ret: [" + std::to_string(rc) + "]");
}

void WiredScanResponseReceiver::WakeUpIOThreadWithPipe() { pipe_->CloseWriteFd(); }

void WiredScanResponseReceiver::ReleaseResources() noexcept {
  socket_.reset();
  pipe_.reset();
}

void* WiredScanResponseReceiver::ThreadEntry(void* self) {
  static_cast<WiredScanResponseReceiver*>(self)->LoopTask();
  return nullptr;
}

void WiredScanResponseReceiver::LoopTask() {
  try {
    ReceiveLoop();
  } catch (abi::__forced_unwind&) {
    throw;
  } catch (const std::exception& e) {
    ORVA_LOG_ERR("Unhandled exception occured, terminating socket IO thread: %s", e.what());
  } catch (...) {
    ORVA_LOG_ERR("Unhandled and unknown exception occured, terminating socket IO thread");
  }
  ORVA_LOG_INFO("socket IO thread terminated");
  ioThreadAlive_ = false;
}

void WiredScanResponseReceiver::ReceiveLoop() {
  const int socketFd = socket_->GetFd();
  const int pipeFd = pipe_->GetReadFd();
  EpollWrapper epoll(EPOLL_CLOEXEC);
  epoll_event socketEvent{};
  socketEvent.events = EPOLLIN;
  socketEvent.data.fd = socketFd;
  epoll.AddFd(socketFd, socketEvent);
  // Hang-up is always reported; the pipe needs no other event.
  epoll_event pipeEvent{};
  pipeEvent.data.fd = pipeFd;
  epoll.AddFd(pipeFd, pipeEvent);

  for (;;) {
    std::vector<epoll_event> events;
    try {
      events = epoll.Wait(kMaxEvents, -1);
    } catch (const RuntimeException&) {
      if (errno == EINTR) continue;
      throw;
    }
    for (const epoll_event& event : events) {
      if (event.data.fd == pipeFd) {
        if (HandlePipeEvent(event.events)) {
          epoll.ClearFd();
          ReleaseResources();
          return;
        }
      } else if (event.data.fd == socketFd) {
        HandleSocketEvent(event.events);
      } else {
        ORVA_LOG(LOG_WARNING, "Unknown fd [%d] returned by epoll_wait, ignored", event.data.fd);
      }
    }
  }
}

bool WiredScanResponseReceiver::HandlePipeEvent(uint32_t events) {
  if (events & EPOLLERR) ORVA_THROW(RuntimeException, "Error event on pipe");
  if (!(events & EPOLLHUP)) {
    ORVA_THROW(RuntimeException, "epoll_wait return pipe event but no EPOLLHUP event exist");
  }
  if (events != EPOLLHUP) {
    ORVA_THROW(RuntimeException, "epoll_wait returned unknown eventType: [" + std::to_string(events) + "]");
  }
  bool stop = false;
  if (!Mutex::CallWithLock(stateMutex_, [&] { stop = stopRequested_; })) {
    ORVA_THROW(RuntimeException, "Fail to check if thread need to stop");
  }
  if (!stop) ORVA_THROW(RuntimeException, "pipe fd closed, but thread close predicate not set");
  return true;
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
  std::vector<unsigned char> buffer(kReceiveBufferSize);
  socklen_t sourceLength = sizeof(source);
  ssize_t length;
  do {
    sourceLength = sizeof(source);
    length = ::recvfrom(socket_->GetFd(), buffer.data(), buffer.size(), MSG_TRUNC,
                        reinterpret_cast<sockaddr*>(&source), &sourceLength);
  } while (length == -1 && errno == EINTR);
  if (length == -1) {
    ORVA_THROW(RuntimeException, ::ORVA::MESH::SDK::Exception::WithErrno("Fail to receive packet", errno));
  }
  if (sourceLength > sizeof(source)) {
    ORVA_THROW(RuntimeException, "Source address size [" + std::to_string(sizeof(source)) +
                                     "] too small, recvfrom returned address size [" +
                                     std::to_string(sourceLength) + "]");
  }
  // The limit is one byte short of the buffer: a datagram of exactly 8192 bytes is refused
  // although senders may build one. Receivers in the field behave this way, so we do too.
  if (static_cast<size_t>(length) > kReceiveBufferSize - 1) {
    ORVA_THROW(MalformedPacketException, "Received packet size [" + std::to_string(length) +
                                             "] larger than buffer limit [" +
                                             std::to_string(kReceiveBufferSize) + "]");
  }
  buffer.resize(static_cast<size_t>(length));
  if (Log::Enabled(LOG_DEBUG)) {
    ORVA_LOG_DEBUG("Received %zu bytes:\n%s", buffer.size(), HexDump(buffer.data(), buffer.size()).c_str());
  }
  return buffer;
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
