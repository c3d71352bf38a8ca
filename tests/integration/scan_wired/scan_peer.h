#pragma once
// Test-side helpers for the wired scan: a plain UDP socket inside a test namespace to send
// hand-made datagrams, a response collector, and a well-formed probe sent from a host.
#include <netinet/in.h>
#include <sys/socket.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "orvamesh/scan_wired/response_packet.h"
#include "orvamesh/scan_wired/scan_response_receiver.h"
#include "support/netns.h"

namespace orva::test {

// A UDP/IPv6 socket created inside `ns`; link-local destinations are scoped to the host's eth0.
class UdpPeer {
 public:
  // `bindAddress` empty: unbound (the system picks the source address and port).
  explicit UdpPeer(const NetNs& ns, const std::string& bindAddress = "");
  ~UdpPeer();
  UdpPeer(const UdpPeer&) = delete;
  UdpPeer& operator=(const UdpPeer&) = delete;

  void SendTo(const std::string& address, unsigned short port, const std::vector<unsigned char>& bytes) const;

 private:
  int fd_ = -1;
  unsigned int interfaceIndex_ = 0;
};

struct KeyPair {
  std::vector<unsigned char> publicKey;
  std::vector<unsigned char> secretKey;
};
KeyPair MakeKeyPair();

// A response receiver on a host's eth0 link-local address, port 7784, that keeps every answer.
class AnswerCollector {
 public:
  AnswerCollector(const NetNs& ns, const KeyPair& keys);

  std::vector<ORVA::MESH::SDK::ScanWired::ResponsePacket> Answers() const;
  // Waits until at least `n` answers arrived; false on time-out.
  bool WaitFor(size_t n) const;

 private:
  // The receiver goes first: its callback uses the others.
  mutable std::mutex mutex_;
  std::vector<ORVA::MESH::SDK::ScanWired::ResponsePacket> answers_;
  std::unique_ptr<ORVA::MESH::SDK::ScanWired::WiredScanResponseReceiver> receiver_;
};

// Sends one well-formed probe carrying `publicKey` from the host's eth0 link-local address.
void SendProbe(const NetNs& ns, const std::vector<unsigned char>& publicKey);

// Entries of /proc/self/fd and /proc/self/task.
size_t OpenDescriptorCount();
size_t ThreadCount();

}  // namespace orva::test
