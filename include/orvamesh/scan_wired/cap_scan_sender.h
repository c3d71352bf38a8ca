#pragma once
// The controlling access point's half of the wired scan. Each StartScan() makes a fresh key
// pair, starts a response receiver on UDP port 7784 of the interface's link-local address,
// multicasts one probe carrying the public key to ff02::1 port 7783, and from then on collects
// every RE's answer until StopScan() (or the next StartScan(), which stops the previous scan
// first). The library sends a single probe per scan and never retries; the caller decides how
// long to wait.
//
// The result map is keyed by the answering RE's MAC address in text form ("00:24:e7:01:02:03",
// lower case, zero-padded). Two real REs never share an interface MAC, whereas unique strings
// name a model and serials are whatever the daemon was told. The first answer under a key
// stays: a second one is refused and logged as a failed callback.
//
// country_compatibility of an entry is the Wi-Fi region rule's verdict on the answer's serial
// string taken as the remote's country-code capability, and its unique string as the remote
// model: an RE that wants to be judged compatible reports its capability ("US,CA", "*") there.
//
// Locks: the start/stop operations are ordered by one mutex; the result map has a mutex of its
// own, taken by the receiver's IO thread for each insertion and by GetScanResult(). Keeping
// them apart lets StopScan() wait for the IO thread while an answer is being stored.
#include <sys/socket.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/scan_wired/ethernet_scan_reply_entry.h"
#include "orvamesh/utils/mutex.h"

namespace ORVA::MESH::SDK::ScanWired {

class ResponsePacket;
class WiredScanResponseReceiver;

class ORVA_EXPORT CAPScanSender {
 public:
  static constexpr unsigned short kProbePort = 7783;
  static constexpr unsigned short kResponsePort = 7784;

  // Every scan sends its probe from the interface's IPv6 link-local address as it is at scan
  // time, since REs answer link-local probers only. `sourceAddress` is the daemon's own note of
  // where it scans from: stored and reported by SourceAddress(), never used to send.
  CAPScanSender(const std::string& interfaceName, const std::string& sourceAddress);
  const std::string& SourceAddress() const noexcept { return sourceAddress_; }
  // Stops a running scan; never throws.
  virtual ~CAPScanSender();
  CAPScanSender(const CAPScanSender&) = delete;
  CAPScanSender& operator=(const CAPScanSender&) = delete;

  // Forgets the previous result and starts a new scan. Throws RuntimeException when the
  // interface has no link-local address or the receiver or probe cannot be set up; the object
  // is then idle.
  void StartScan();
  // Stops collecting; the result collected so far stays. Idempotent.
  void StopScan();
  // A copy of the answers collected so far, keyed by MAC text.
  std::map<std::string, EthernetScanReplyEntry> GetScanResult() const;

  // Sizes both keys to 32 bytes and fills them with a new libsodium key pair.
  void GenKeypair(std::vector<unsigned char>& publicKey, std::vector<unsigned char>& secretKey) const;

 private:
  void _StartScan();
  void _StopScan();
  std::map<std::string, EthernetScanReplyEntry> _GetScanResult() const;
  void ResponseCallback(const ResponsePacket& response, const sockaddr_storage& source);

  std::string interfaceName_;
  std::string sourceAddress_;
  std::shared_ptr<WiredScanResponseReceiver> receiver_;
  int callbackId_ = -1;
  std::map<std::string, EthernetScanReplyEntry> result_;
  Mutex mutex_;
  mutable Mutex resultMutex_;
};

}  // namespace ORVA::MESH::SDK::ScanWired
