#include "scan_peer.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <net/if.h>
#include <sodium.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "orvamesh/platform/ip_address.h"
#include "orvamesh/scan_wired/probe_packet.h"
#include "orvamesh/scan_wired/scan_sender.h"
#include "orvamesh/utils/address.h"
#include "support/lan.h"
#include "support/wait_until.h"

namespace orva::test {

using ORVA::MESH::SDK::ScanWired::ProbePacket;
using ORVA::MESH::SDK::ScanWired::ResponsePacket;
using ORVA::MESH::SDK::ScanWired::WiredScanResponseReceiver;
using ORVA::MESH::SDK::ScanWired::WiredScanSender;
using orva::net::utils::IPAddress;

UdpPeer::UdpPeer(const NetNs& ns, int family, const std::string& bindAddress) : family_(family) {
  ns.RunIn([&] {
    fd_ = ::socket(family, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
    if (fd_ == -1) throw std::runtime_error("socket failed");
    interfaceIndex_ = ::if_nametoindex(Lan::kHostInterface);
    if (bindAddress.empty()) return;
    sockaddr_in6 local{};
    local.sin6_family = AF_INET6;
    local.sin6_scope_id = interfaceIndex_;
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
  ssize_t sent = -1;
  if (family_ == AF_INET6) {
    sockaddr_in6 to{};
    to.sin6_family = AF_INET6;
    to.sin6_port = htons(port);
    to.sin6_scope_id = interfaceIndex_;
    if (::inet_pton(AF_INET6, address.c_str(), &to.sin6_addr) != 1) throw std::runtime_error("bad " + address);
    sent = ::sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof(to));
  } else {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    if (::inet_pton(AF_INET, address.c_str(), &to.sin_addr) != 1) throw std::runtime_error("bad " + address);
    sent = ::sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof(to));
  }
  if (sent != static_cast<ssize_t>(bytes.size())) throw std::runtime_error("sendto failed to " + address);
}

KeyPair MakeKeyPair() {
  if (sodium_init() < 0) throw std::runtime_error("libsodium");
  KeyPair keys{std::vector<unsigned char>(crypto_box_PUBLICKEYBYTES), std::vector<unsigned char>(crypto_box_SECRETKEYBYTES)};
  crypto_box_keypair(keys.publicKey.data(), keys.secretKey.data());
  return keys;
}

AnswerCollector::AnswerCollector(const NetNs& ns, const KeyPair& keys) {
  ns.RunIn([&] {
    auto address = ORVA::MESH::SDK::Address::GetInterfaceIPv6LinkLocal(Lan::kHostInterface);
    if (!address) throw std::runtime_error("no link-local address in " + ns.Name());
    receiver_ = std::make_unique<WiredScanResponseReceiver>(*address, keys.publicKey, keys.secretKey,
                                                            Lan::kHostInterface, 7784);
    receiver_->AddCallback([this](const ResponsePacket& response, const sockaddr_storage&) {
      std::lock_guard<std::mutex> lock(mutex_);
      answers_.push_back(response);
    });
    receiver_->StartReceiving();
  });
}

AnswerCollector::~AnswerCollector() { receiver_.reset(); }

std::vector<ResponsePacket> AnswerCollector::Answers() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return answers_;
}

size_t AnswerCollector::Count() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return answers_.size();
}

bool AnswerCollector::WaitFor(size_t n) const {
  return WaitUntil([&] { return Count() >= n; });
}

void SendProbe(const NetNs& ns, const std::vector<unsigned char>& publicKey) {
  ns.RunIn([&] {
    auto address = ORVA::MESH::SDK::Address::GetInterfaceIPv6LinkLocal(Lan::kHostInterface);
    if (!address) throw std::runtime_error("no link-local address in " + ns.Name());
    WiredScanSender(IPAddress("ff02::1"), *address, 7783, Lan::kHostInterface).SendProbe(ProbePacket(publicKey));
  });
}

namespace {
size_t CountEntries(const char* path) {
  size_t count = 0;
  DIR* dir = ::opendir(path);
  if (dir == nullptr) return 0;
  while (dirent* entry = ::readdir(dir)) {
    if (entry->d_name[0] != '.') ++count;
  }
  ::closedir(dir);
  return count;
}
}  // namespace

// The directory stream itself holds one descriptor while counting; it is the same every time.
size_t OpenDescriptorCount() { return CountEntries("/proc/self/fd"); }
size_t ThreadCount() { return CountEntries("/proc/self/task"); }

unsigned long UptimeNow() {
  std::ifstream file("/proc/uptime");
  double seconds = 0;
  file >> seconds;
  return static_cast<unsigned long>(seconds);
}

}  // namespace orva::test
