#include "scan_wired/datagram_receiver.h"

#include <arpa/inet.h>
#include <cxxabi.h>
#include <netinet/in.h>
#include <sys/epoll.h>

#include <cerrno>
#include <exception>
#include <utility>

#include "orvamesh/base/log.h"
#include "orvamesh/scan_wired/probe_packet.h"
#include "orvamesh/scan_wired/response_packet.h"
#include "scan_wired/wired_scan_packet.h"

namespace ORVA::MESH::SDK::ScanWired::Detail {

using Exception::InvalidArgumentException;
using Exception::LogicException;
using Exception::MalformedPacketException;
using Exception::RuntimeException;

namespace {
constexpr size_t kReceiveBufferSize = 8192;
}  // namespace

// Locations and log lines carry the owner's file and the owner's function names.
#define ORVA_OWNER_THROW(Type, function, message) throw Type(At((function), __LINE__), (message))
#define ORVA_OWNER_LOG(priority, ...) ::ORVA::MESH::SDK::Log::Write((priority), owner_.file, __LINE__, __VA_ARGS__)

template <typename Packet>
DatagramReceiver<Packet>::DatagramReceiver(ReceiverOwner owner, OpenSocket open, ReadPacket read)
    : owner_(owner), open_(std::move(open)), read_(std::move(read)) {}

template <typename Packet>
DatagramReceiver<Packet>::~DatagramReceiver() {
  try {
    Stop();
  } catch (...) {
    ::ORVA::MESH::SDK::Log::UnhandledInDestructor(owner_.file, __LINE__);
  }
}

template <typename Packet>
Exception::ExceptionLocation DatagramReceiver<Packet>::At(const std::string& function, int line) const {
  return Exception::ExceptionLocation(std::string(owner_.file), function, line);
}

// --- public operations: each runs its twin under the API mutex -----------------------------

template <typename Packet>
void DatagramReceiver<Packet>::Start() {
  if (!Mutex::CallWithLock(apiMutex_, [&] { StartTwin(); })) {
    ORVA_OWNER_THROW(RuntimeException, owner_.start, std::string("Fail to start ") + owner_.action);
  }
}

template <typename Packet>
void DatagramReceiver<Packet>::Stop() {
  if (!Mutex::CallWithLock(apiMutex_, [&] { StopTwin(); })) {
    ORVA_OWNER_THROW(RuntimeException, owner_.stop, std::string("Fail to stop ") + owner_.action);
  }
}

template <typename Packet>
int DatagramReceiver<Packet>::AddCallback(const Callback& callback) {
  int id = -1;
  if (!Mutex::CallWithLock(apiMutex_, [&] { id = AddCallbackTwin(callback); })) {
    ORVA_OWNER_THROW(RuntimeException, "AddCallback", "Fail to add callback");
  }
  return id;
}

template <typename Packet>
void DatagramReceiver<Packet>::DelCallback(int id) {
  bool locked = false;
  try {
    locked = Mutex::CallWithLock(apiMutex_, [&] { DelCallbackTwin(id); });
  } catch (const std::exception&) {
    std::throw_with_nested(
        RuntimeException(At("DelCallback", __LINE__), "Fail to delete callback [" + std::to_string(id) + "]"));
  }
  if (!locked) ORVA_OWNER_THROW(RuntimeException, "DelCallback", "Fail to del callback");
}

template <typename Packet>
unsigned short DatagramReceiver<Packet>::GetListeningPort() const {
  unsigned short port = 0;
  bool locked = false;
  try {
    locked = Mutex::CallWithLock(apiMutex_, [&] { port = GetListeningPortTwin(); });
  } catch (const std::exception&) {
    std::throw_with_nested(RuntimeException(At("GetListeningPort", __LINE__), "Fail to get listening port"));
  }
  if (!locked) ORVA_OWNER_THROW(RuntimeException, "GetListeningPort", "Fail to get listening port");
  return port;
}

// --- private twins -----------------------------------------------------------------------

template <typename Packet>
void DatagramReceiver<Packet>::StartTwin() {
  if (running_) return;
  try {
    socket_ = open_();
    try {
      loop_.Start(socket_->GetFd(), [this](uint32_t events) { return OnSocketEvent(events); },
                  [this] { ORVA_OWNER_LOG(LOG_INFO, "socket IO thread terminated"); });
    } catch (const std::exception&) {
      std::throw_with_nested(
          RuntimeException(At(std::string("_") + owner_.start, __LINE__), "Fail to start socket IO thread"));
    }
  } catch (...) {
    socket_.reset();
    throw;
  }
  running_ = true;
}

template <typename Packet>
void DatagramReceiver<Packet>::StopTwin() {
  if (!running_) return;
  // Joins the IO thread, whether it still runs or a fault already ended it.
  loop_.Stop();
  socket_.reset();
  running_ = false;
}

template <typename Packet>
int DatagramReceiver<Packet>::AddCallbackTwin(const Callback& callback) {
  int id = -1;
  if (!Mutex::CallWithLock(stateMutex_, [&] {
        id = nextId_++;
        if (!callbacks_.emplace(id, callback).second) {
          ORVA_OWNER_THROW(RuntimeException, "_AddCallback", "Fail to insert callback");
        }
      })) {
    ORVA_OWNER_THROW(RuntimeException, "_AddCallback", "Fail to add callback");
  }
  return id;
}

template <typename Packet>
void DatagramReceiver<Packet>::DelCallbackTwin(int id) {
  if (!Mutex::CallWithLock(stateMutex_, [&] {
        if (callbacks_.erase(id) == 0) {
          ORVA_OWNER_THROW(InvalidArgumentException, "_DelCallback",
                           "callback with id [" + std::to_string(id) + "] does not exist");
        }
      })) {
    ORVA_OWNER_THROW(RuntimeException, "_DelCallback", "Fail to del callback");
  }
}

template <typename Packet>
unsigned short DatagramReceiver<Packet>::GetListeningPortTwin() const {
  if (!socket_) ORVA_OWNER_THROW(LogicException, "_GetListeningPort", "No socket opened");
  sockaddr_storage address{};
  socklen_t length = sizeof(address);
  if (::getsockname(socket_->GetFd(), reinterpret_cast<sockaddr*>(&address), &length) == -1) {
    ORVA_OWNER_THROW(RuntimeException, "_GetListeningPort", Exception::WithErrno("Fail to getsockname", errno));
  }
  if (length != sizeof(sockaddr_in6)) ORVA_OWNER_THROW(RuntimeException, "_GetListeningPort", "Address info truncated");
  return ntohs(reinterpret_cast<const sockaddr_in6*>(&address)->sin6_port);
}

// --- the IO thread -----------------------------------------------------------------------

template <typename Packet>
bool DatagramReceiver<Packet>::OnSocketEvent(uint32_t events) {
  try {
    HandleSocketEvent(events);
    return true;
  } catch (abi::__forced_unwind&) {
    throw;
  } catch (const std::exception& e) {
    ORVA_OWNER_LOG(LOG_ERR, "Unhandled exception occured, terminating socket IO thread: %s", e.what());
  } catch (...) {
    ORVA_OWNER_LOG(LOG_ERR, "Unhandled and unknown exception occured, terminating socket IO thread");
  }
  return false;
}

template <typename Packet>
void DatagramReceiver<Packet>::HandleSocketEvent(uint32_t events) {
  if (events & EPOLLERR) ORVA_OWNER_THROW(RuntimeException, "HandleSocketEvent", "Error event on socket");
  if (!(events & EPOLLIN)) {
    ORVA_OWNER_THROW(RuntimeException, "HandleSocketEvent", "epoll_wait return socket event but no EPOLLIN event exist");
  }
  if (events & ~static_cast<uint32_t>(EPOLLIN | EPOLLHUP)) {
    ORVA_OWNER_THROW(RuntimeException, "HandleSocketEvent",
                     "epoll_wait returned unknown eventType: [" + std::to_string(events) + "]");
  }
  try {
    sockaddr_storage source{};
    const auto datagram = ReceiveDatagram(socket_->GetFd(), source, kReceiveBufferSize, At("ReceivePacket", __LINE__));
    // Everything wrong with the datagram itself is a MalformedPacketException (dropped here);
    // msgpack's type error for a non-ext element is not, and ends the IO thread.
    Dispatch(read_(datagram), source);
  } catch (const MalformedPacketException& e) {
    ORVA_OWNER_LOG(LOG_INFO, "Dropping malformed %s packet, reason: %s", owner_.packet, e.what());
  }
}

template <typename Packet>
void DatagramReceiver<Packet>::Dispatch(const Packet& packet, const sockaddr_storage& source) {
  std::vector<std::pair<int, Callback>> callbacks;
  if (!Mutex::CallWithLock(stateMutex_, [&] { callbacks.assign(callbacks_.begin(), callbacks_.end()); })) {
    ORVA_OWNER_THROW(RuntimeException, "Dispatch", "Fail to copy callbacks");
  }
  for (const auto& [id, callback] : callbacks) {
    try {
      callback(packet, source);
    } catch (abi::__forced_unwind&) {
      throw;
    } catch (const std::exception& e) {
      ORVA_OWNER_LOG(LOG_ERR, "Exception thrown in callback [%d]: %s", id, e.what());
    } catch (...) {
      ORVA_OWNER_LOG(LOG_ERR, "Unrecognized exception thrown in callback [%d]", id);
    }
  }
}

#undef ORVA_OWNER_LOG
#undef ORVA_OWNER_THROW

template class DatagramReceiver<ProbePacket>;
template class DatagramReceiver<ResponsePacket>;

}  // namespace ORVA::MESH::SDK::ScanWired::Detail
