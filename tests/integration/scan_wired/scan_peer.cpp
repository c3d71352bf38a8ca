#include "scan_peer.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <sodium.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "orvamesh/platform/ip_address.h"
#include "orvamesh/scan_wired/probe_packet.h"
#include "orvamesh/scan_wired/scan_sender.h"
#include "support/lan.h"
#include "support/wait_until.h"

namespace orva::test {

using ORVA::MESH::SDK::ScanWired::ResponsePacket;
using orva::net::utils::IPAddress;

UdpPeer::UdpPeer(const NetNs& ns, const std::string& bindAddress) {
  ns.RunIn([&] {
    fd_ = ::socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
    if (fd_ == -1) throw std::runtime_error("socket failed");
    interfaceIndex_ = ::if_nametoindex(Lan::kHostInterface);
    if (bindAddress.empty()) return;
    sockaddr_in6 local{AF_INET6, 0, 0, {}, interfaceIndex_};
    if (::inet_pton(AF_INET6, bindAddress.c_str(), &local.sin6_addr) != 1 ||
        ::bind(fd_, reinterpret_cast<sockaddr*>(&local), sizeof(local)) != 0) {
      throw std::runtime_error("cannot bind " + bindAddress);
    }
  });
}

UdpPeer::~UdpPeer() {
  if (fd_ != -1) ::close(fd_);
}

void UdpPeer::SendTo(const std::string& address, unsigned short port, const std::vector<unsigned char>& bytes) const {
  sockaddr_in6 to{AF_INET6, htons(port), 0, {}, interfaceIndex_};
  if (::inet_pton(AF_INET6, address.c_str(), &to.sin6_addr) != 1) throw std::runtime_error("bad " + address);
  const auto* destination = reinterpret_cast<const sockaddr*>(&to);
  if (::sendto(fd_, bytes.data(), bytes.size(), 0, destination, sizeof to) != ssize_t(bytes.size())) {
    throw std::runtime_error("sendto failed to " + address);
  }
}

KeyPair MakeKeyPair() {
  if (sodium_init() < 0) throw std::runtime_error("libsodium");
  KeyPair keys{std::vector<unsigned char>(crypto_box_PUBLICKEYBYTES), std::vector<unsigned char>(crypto_box_SECRETKEYBYTES)};
  crypto_box_keypair(keys.publicKey.data(), keys.secretKey.data());
  return keys;
}

AnswerCollector::AnswerCollector(const NetNs& ns, const KeyPair& keys) {
  const IPAddress address(ns.LinkLocal(Lan::kHostInterface));
  ns.RunIn([&] {
    receiver_ = std::make_unique<ORVA::MESH::SDK::ScanWired::WiredScanResponseReceiver>(
        address, keys.publicKey, keys.secretKey, Lan::kHostInterface, 7784);
    receiver_->AddCallback([this](const ResponsePacket& response, const sockaddr_storage&) {
      std::lock_guard<std::mutex> lock(mutex_);
      answers_.push_back(response);
    });
    receiver_->StartReceiving();
  });
}

std::vector<ResponsePacket> AnswerCollector::Answers() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return answers_;
}

bool AnswerCollector::WaitFor(size_t n) const {
  return WaitUntil([&] { return Answers().size() >= n; });
}

void SendProbe(const NetNs& ns, const std::vector<unsigned char>& publicKey) {
  const IPAddress source(ns.LinkLocal(Lan::kHostInterface));
  ns.RunIn([&] {
    ORVA::MESH::SDK::ScanWired::WiredScanSender(IPAddress("ff02::1"), source, 7783, Lan::kHostInterface)
        .SendProbe(ORVA::MESH::SDK::ScanWired::ProbePacket(publicKey));
  });
}

// The directory stream itself holds one descriptor while counting; it is the same every time.
static size_t CountEntries(const char* path) {
  return std::distance(std::filesystem::directory_iterator(path), std::filesystem::directory_iterator());
}

size_t OpenDescriptorCount() { return CountEntries("/proc/self/fd"); }
size_t ThreadCount() { return CountEntries("/proc/self/task"); }

}  // namespace orva::test
