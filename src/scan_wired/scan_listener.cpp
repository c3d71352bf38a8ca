#include "orvamesh/scan_wired/scan_listener.h"

#include <arpa/inet.h>
#include <cxxabi.h>
#include <net/if.h>
#include <sys/epoll.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "orvamesh/scan_wired/probe_packet.h"
#include "orvamesh/scan_wired/probe_packet_serializer.h"
#include "orvamesh/scan_wired/scan_header.h"
#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "orvamesh/utils/hex_dump.h"
#include "scan_wired/wired_scan_packet.h"
#include "utils/receive_loop.h"

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

using Exception::InvalidArgumentException;
using Exception::LogicException;
using Exception::MalformedPacketException;
using Exception::RuntimeException;

namespace {
constexpr size_t kReceiveBufferSize = 8192;
}  // namespace

WiredScanListener::WiredScanListener(const orva::net::utils::IPAddress& group,
                                     const std::string& interfaceName, unsigned short port)
    : group_(group), port_(port) {
  loop_ = std::make_unique<::ORVA::MESH::SDK::Detail::ReceiveLoop>();
  interfaceIndex_ = ::if_nametoindex(interfaceName.c_str());
  if (interfaceIndex_ == 0) {
    ORVA_THROW(InvalidArgumentException, "Interface [" + interfaceName + "] does not exist");
  }
  ValidateGroup();
}

WiredScanListener::WiredScanListener(const orva::net::utils::IPAddress& group,
                                     unsigned int interfaceIndex, unsigned short port)
    : group_(group), interfaceIndex_(interfaceIndex), port_(port) {
  loop_ = std::make_unique<::ORVA::MESH::SDK::Detail::ReceiveLoop>();
  char name[IF_NAMESIZE];
  if (::if_indextoname(interfaceIndex, name) == nullptr) {
    if (errno == ENXIO || errno == ENODEV) {
      ORVA_THROW(InvalidArgumentException,
                 "Interface with index [" + std::to_string(interfaceIndex) + "] does not exist");
    }
    ORVA_THROW(RuntimeException, ::ORVA::MESH::SDK::Exception::WithErrno("Fail to check if interface exist", errno));
  }
  ValidateGroup();
}

bool WiredScanListener::IsReceiving() const noexcept { return running_ && loop_->IsRunning(); }

WiredScanListener::~WiredScanListener() {
  try {
    StopListening();
  } catch (...) {
    ORVA_LOG_UNHANDLED_IN_DESTRUCTOR();
  }
}

void WiredScanListener::ValidateGroup() const {
  if (!group_.IsIPv6()) {
    ORVA_THROW(InvalidArgumentException, "group [" + group_.ToString() + "] is not IPv6 address");
  }
  if (!group_.IsMulticast()) {
    ORVA_THROW(InvalidArgumentException,
               "group [" + group_.ToString() + "] is not IPv6 Multicast address");
  }
}

// --- public operations -------------------------------------------------------------------

void WiredScanListener::StartListening() {
  if (!Mutex::CallWithLock(apiMutex_, [&] { _StartListening(); })) {
    ORVA_THROW(RuntimeException, "Fail to start listening");
  }
}

void WiredScanListener::StopListening() {
  if (!Mutex::CallWithLock(apiMutex_, [&] { _StopListening(); })) {
    ORVA_THROW(RuntimeException, "Fail to stop listening");
  }
}

int WiredScanListener::AddCallback(const Callback& callback) {
  int id = -1;
  if (!Mutex::CallWithLock(apiMutex_, [&] { id = _AddCallback(callback); })) {
    ORVA_THROW(RuntimeException, "Fail to add callback");
  }
  return id;
}

void WiredScanListener::DelCallback(int id) {
  bool locked = false;
  try {
    locked = Mutex::CallWithLock(apiMutex_, [&] { _DelCallback(id); });
  } catch (const std::exception&) {
    std::throw_with_nested(
        RuntimeException(ORVA_LOCATION(), "Fail to delete callback [" + std::to_string(id) + "]"));
  }
  if (!locked) ORVA_THROW(RuntimeException, "Fail to del callback");
}

unsigned short WiredScanListener::GetListeningPort() const {
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

void WiredScanListener::_StartListening() {
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

void WiredScanListener::_StopListening() {
  if (!running_) return;
  // Joins the IO thread, whether it still runs or a fault already ended it.
  loop_->Stop();
  socket_.reset();
  running_ = false;
}

int WiredScanListener::_AddCallback(const Callback& callback) {
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

void WiredScanListener::_DelCallback(int id) {
  if (!Mutex::CallWithLock(stateMutex_, [&] {
        if (callbacks_.erase(id) == 0) {
          ORVA_THROW_IN(InvalidArgumentException, "_DelCallback",
                        "callback with id [" + std::to_string(id) + "] does not exist");
        }
      })) {
    ORVA_THROW(RuntimeException, "Fail to del callback");
  }
}

unsigned short WiredScanListener::_GetListeningPort() const {
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

void WiredScanListener::SocketSetup() {
  socket_ = std::make_shared<SocketWrapper>(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
  const std::string text = group_.ToString();
  ipv6_mreq membership{};
  int parsed = ::inet_pton(AF_INET6, text.c_str(), &membership.ipv6mr_multiaddr);
  if (parsed == 0) ORVA_THROW(RuntimeException, "Ill-formed address [" + text + "]");
  ORVA_THROW_ERRNO_IF(parsed == -1, RuntimeException, "Fail to inet_pton");
  membership.ipv6mr_interface = interfaceIndex_;
  if (::setsockopt(socket_->GetFd(), IPPROTO_IPV6, IPV6_ADD_MEMBERSHIP, &membership, sizeof(membership)) == -1) {
    ORVA_THROW(RuntimeException, "Fail to set IPV6_ADD_MEMBERSHIP for socket");
  }
  // The interface as scope binds the socket to it: a link-local group needs one, and the
  // listener must not hear the same group on the node's other links.
  sockaddr_in6 local{};
  local.sin6_family = AF_INET6;
  local.sin6_port = htons(port_);
  local.sin6_addr = membership.ipv6mr_multiaddr;
  local.sin6_scope_id = interfaceIndex_;
  if (::bind(socket_->GetFd(), reinterpret_cast<const sockaddr*>(&local), sizeof(local)) == -1) {
    ORVA_THROW(RuntimeException, "Fail to bind [" + text + "][" + std::to_string(port_) +
                                     ::ORVA::MESH::SDK::Exception::WithErrno("]", errno));
  }
}

bool WiredScanListener::OnSocketEvent(uint32_t events) {
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

void WiredScanListener::HandleSocketEvent(uint32_t events) {
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
    ProbePacket probe = ParsePacket(packet);
    Dispatch(probe, source);
  } catch (const MalformedPacketException& e) {
    ORVA_LOG_INFO("Dropping malformed probe packet, reason: %s", e.what());
  }
}

std::vector<unsigned char> WiredScanListener::ReceivePacket(sockaddr_storage& source) const {
  return Detail::ReceiveDatagram(socket_->GetFd(), source, kReceiveBufferSize, ORVA_LOCATION());
}

ProbePacket WiredScanListener::ParsePacket(const std::vector<unsigned char>& packet) {
  // Everything wrong with the datagram itself is a MalformedPacketException (dropped by the
  // loop); msgpack's type error for a non-ext element is not, and ends the IO thread.
  return ReadProbePacket(packet);
}

void WiredScanListener::Dispatch(const ProbePacket& packet, const sockaddr_storage& source) {
  std::vector<std::pair<int, Callback>> callbacks;
  if (!Mutex::CallWithLock(stateMutex_, [&] { callbacks.assign(callbacks_.begin(), callbacks_.end()); })) {
    ORVA_THROW(RuntimeException, "Fail to copy callbacks");
  }
  for (const auto& [id, callback] : callbacks) InvokeCallback(id, callback, packet, source);
}

void WiredScanListener::InvokeCallback(int id, const Callback& callback, const ProbePacket& packet,
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
