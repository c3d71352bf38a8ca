#pragma once
// The range extender's half of the wired scan: listens for probes on one interface (group
// ff02::1, port 7783) and answers each by unicast to the prober's port 7784 with a response
// describing this RE, sealed to the key the probe carried.
//
// The answer template (identity fields, the interface's link-local and MAC address) is built
// once at construction; only the uptime is filled per answer. Answers are sent from the
// listener's IO thread; a failure to answer one probe (an IPv4 or global prober, a bad key, a
// send error) is logged at error priority and does not disturb the listener. The IO thread
// resolves the interface name for every answer, so in a program that switches network
// namespaces per thread, StartListening() must run in the interface's namespace.
#include <netinet/in.h>
#include <sys/socket.h>

#include <memory>
#include <string>

#include "orvamesh/export.h"
#include "orvamesh/scan_wired/response_packet.h"
#include "orvamesh/scan_wired/scan_responder_init_data.h"
#include "orvamesh/utils/mutex.h"

namespace ORVA::MESH::SDK::ScanWired {

class ProbePacket;
class WiredScanListener;
class WiredScanResponder;

class ORVA_EXPORT REScanResponder {
 public:
  static constexpr unsigned short kProbePort = 7783;
  static constexpr unsigned short kResponsePort = 7784;

  // Throws IpAddressNotExistException when the interface has no usable IPv6 link-local
  // address, RuntimeException when its MAC address cannot be read.
  REScanResponder(const ScanResponderInitData& initData, const std::string& interfaceName);
  // Stops listening; never throws.
  virtual ~REScanResponder();
  REScanResponder(const REScanResponder&) = delete;
  REScanResponder& operator=(const REScanResponder&) = delete;

  // Both are idempotent.
  void StartListening();
  void StopListening();
  // False when not started, stopped, or when the listener's IO thread has ended on a fault
  // (a datagram the protocol does not allow ends it, on purpose); stop and start to recover.
  bool IsListening() const;

  // The answer template with the current system uptime.
  ResponsePacket GetUptimeUpdatedResponse() const;

 private:
  ResponsePacket GatherResponseInfo(const ScanResponderInitData& initData) const;
  void _StartListening();
  void _StopListening();
  void ProbeCallback(const ProbePacket& probe, const sockaddr_storage& source);

  std::string interfaceName_;
  ResponsePacket response_;
  std::shared_ptr<WiredScanListener> listener_;
  int callbackId_ = -1;
  // The socket that answered the last prober, kept for its next probe: a CAP probes again and
  // again from one address. Touched by the listener's IO thread, and after it has stopped.
  std::unique_ptr<WiredScanResponder> answerer_;
  in6_addr answererFor_{};
  mutable Mutex mutex_;
};

}  // namespace ORVA::MESH::SDK::ScanWired
