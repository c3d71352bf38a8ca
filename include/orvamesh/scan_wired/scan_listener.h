#pragma once
// The range extender's receiver of wired-scan probes. It joins an IPv6 multicast group on one
// interface, binds a UDP socket to the group and port on that interface, and runs one IO
// thread that receives datagrams, reads each as a probe and hands every valid probe, with its
// source address, to the registered callbacks in ascending id order.
//
// Threads and locks: the public operations hold the API mutex around their private twins, so
// start and stop never interleave. The IO thread takes only the state mutex (to copy the
// callback table and read the stop request), and callbacks run on the IO thread without any
// lock of the listener, so a callback may add or delete callbacks. A callback must not stop
// its own listener: the stop waits for the IO thread.
//
// The socket is bound to the group address with the interface as scope, so it only sees
// datagrams to that group arriving on that interface. When the IO thread ends by itself (an
// unexpected fault), the socket is released by the next StopListening() or by the
// destructor; the listener counts as running until then.
#include <netinet/in.h>
#include <sys/socket.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/platform/ip_address.h"
#include "orvamesh/utils/socket_wrapper.h"

namespace ORVA::MESH::SDK::ScanWired {

class ProbePacket;
namespace Detail {
template <typename Packet>
class DatagramReceiver;
}  // namespace Detail

class ORVA_EXPORT WiredScanListener {
 public:
  using Callback = std::function<void(const ProbePacket&, const sockaddr_storage&)>;

  // Throws InvalidArgumentException for an unknown interface or a group that is not an IPv6
  // multicast address. A port of 0 lets the system choose one (see GetListeningPort()).
  WiredScanListener(const orva::net::utils::IPAddress& group, const std::string& interfaceName,
                    unsigned short port);
  WiredScanListener(const orva::net::utils::IPAddress& group, unsigned int interfaceIndex,
                    unsigned short port);
  // Stops listening; never throws.
  virtual ~WiredScanListener();
  WiredScanListener(const WiredScanListener&) = delete;
  WiredScanListener& operator=(const WiredScanListener&) = delete;

  // Both are idempotent.
  void StartListening();
  void StopListening();
  // Whether the IO thread still receives. False after a stop, and also when the thread ended
  // by itself on a fault (the owner then stops and starts again to recover).
  bool IsReceiving() const noexcept;

  // Returns the new callback's id; ids are never reused.
  int AddCallback(const Callback& callback);
  void DelCallback(int id);

  // The bound port in host order; throws LogicException when not listening.
  unsigned short GetListeningPort() const;

 private:
  void ValidateGroup() const;
  void MakeReceiver();
  std::shared_ptr<SocketWrapper> SocketSetup() const;

  orva::net::utils::IPAddress group_;
  unsigned int interfaceIndex_ = 0;
  unsigned short port_ = 0;
  std::unique_ptr<Detail::DatagramReceiver<ProbePacket>> receiver_;
};

}  // namespace ORVA::MESH::SDK::ScanWired
