#pragma once
// What the wired scan listener and the response receiver share: their public operations under
// the API mutex, the socket's life, the IO thread (a ReceiveLoop), the callback table, and the
// handling of each datagram. The owner brings its socket set-up, its packet reader and its
// words; its source file comes in through ORVA_SOURCE_FILE at the owner, so every exception
// location and log line still names the owner. Not installed.
#include <sys/socket.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "orvamesh/base/exception.h"
#include "orvamesh/utils/mutex.h"
#include "orvamesh/utils/socket_wrapper.h"
#include "utils/receive_loop.h"

namespace ORVA::MESH::SDK::ScanWired::Detail {

// The owner's words, as its exceptions and log lines spell them.
struct ReceiverOwner {
  std::string_view file;  // ORVA_SOURCE_FILE at the owner
  const char* start;    // "StartListening"
  const char* stop;     // "StopListening"
  const char* action;   // "listening", in "Fail to start listening"
  const char* packet;   // "probe", in "Dropping malformed probe packet"
};

template <typename Packet>
class DatagramReceiver {
 public:
  using Callback = std::function<void(const Packet&, const sockaddr_storage&)>;
  // Opens, configures and binds the socket; throws with the owner's location.
  using OpenSocket = std::function<std::shared_ptr<SocketWrapper>()>;
  // A datagram into a packet; MalformedPacketException drops the datagram.
  using ReadPacket = std::function<Packet(const std::vector<unsigned char>&)>;

  DatagramReceiver(ReceiverOwner owner, OpenSocket open, ReadPacket read);
  ~DatagramReceiver();
  DatagramReceiver(const DatagramReceiver&) = delete;
  DatagramReceiver& operator=(const DatagramReceiver&) = delete;

  void Start();
  void Stop();
  bool IsReceiving() const noexcept { return running_ && loop_.IsRunning(); }
  int AddCallback(const Callback& callback);
  void DelCallback(int id);
  unsigned short GetListeningPort() const;

 private:
  Exception::ExceptionLocation At(const std::string& function, int line) const;
  void StartTwin();
  void StopTwin();
  int AddCallbackTwin(const Callback& callback);
  void DelCallbackTwin(int id);
  unsigned short GetListeningPortTwin() const;
  bool OnSocketEvent(uint32_t events);
  void HandleSocketEvent(uint32_t events);
  void Dispatch(const Packet& packet, const sockaddr_storage& source);

  ReceiverOwner owner_;
  OpenSocket open_;
  ReadPacket read_;
  std::shared_ptr<SocketWrapper> socket_;
  std::atomic<bool> running_{false};
  ::ORVA::MESH::SDK::Detail::ReceiveLoop loop_;
  std::map<int, Callback> callbacks_;
  int nextId_ = 0;
  mutable Mutex apiMutex_;
  Mutex stateMutex_;
};

}  // namespace ORVA::MESH::SDK::ScanWired::Detail
