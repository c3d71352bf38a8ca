#pragma once
// The CAP's receiver of wired-scan responses. It binds a UDP socket to the CAP's own address
// and port on one interface and runs one IO thread that receives datagrams, opens each sealed
// payload with the scan's key pair, reads the response and hands it, with its source address,
// to the registered callbacks in ascending id order. Anything that cannot be opened or read
// (an answer sealed to another key, a forged or truncated datagram) is logged and dropped.
//
// Threads and locks are those of WiredScanResponseReceiver: the API mutex orders the public
// operations, the IO thread takes only the state mutex, callbacks run on the IO thread without
// a lock of the receiver and must not stop it. When the address is a multicast group the
// socket also joins it; the CAP binds its link-local unicast address.
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

class ResponsePacket;
namespace Detail {
template <typename Packet>
class DatagramReceiver;
}  // namespace Detail

class ORVA_EXPORT WiredScanResponseReceiver {
 public:
  using Callback = std::function<void(const ResponsePacket&, const sockaddr_storage&)>;

  // Throws InvalidArgumentException for an unknown interface, an address that is not IPv6 or a
  // key that is not 32 bytes long. A port of 0 lets the system choose one (GetListeningPort()).
  WiredScanResponseReceiver(const orva::net::utils::IPAddress& address,
                            const std::vector<unsigned char>& publicKey,
                            const std::vector<unsigned char>& secretKey, const std::string& interfaceName,
                            unsigned short port);
  WiredScanResponseReceiver(const orva::net::utils::IPAddress& address,
                            const std::vector<unsigned char>& publicKey,
                            const std::vector<unsigned char>& secretKey, unsigned int interfaceIndex,
                            unsigned short port);
  // Stops listening; never throws.
  virtual ~WiredScanResponseReceiver();
  WiredScanResponseReceiver(const WiredScanResponseReceiver&) = delete;
  WiredScanResponseReceiver& operator=(const WiredScanResponseReceiver&) = delete;

  // Both are idempotent.
  void StartReceiving();
  void StopReceiving();
  // Whether the IO thread still receives. False after a stop, and also when the thread ended
  // by itself on a fault (the owner then stops and starts again to recover).
  bool IsReceiving() const noexcept;

  // Returns the new callback's id; ids are never reused.
  int AddCallback(const Callback& callback);
  void DelCallback(int id);

  // The bound port in host order; throws when not receiving.
  unsigned short GetListeningPort() const;

 private:
  void Validate() const;
  void MakeReceiver();
  void ValidateAddress() const;
  void ValidatePublicKey() const;
  void ValidateSecretKey() const;
  std::shared_ptr<SocketWrapper> SocketSetup() const;

  orva::net::utils::IPAddress address_;
  std::vector<unsigned char> publicKey_;
  std::vector<unsigned char> secretKey_;
  unsigned int interfaceIndex_ = 0;
  unsigned short port_ = 0;
  std::unique_ptr<Detail::DatagramReceiver<ResponsePacket>> receiver_;
};

}  // namespace ORVA::MESH::SDK::ScanWired
