#include "orvamesh/utils/ping6.h"

#include <net/if.h>
#include <netinet/icmp6.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK {
namespace {

using Exception::InvalidArgumentException;
using Exception::RuntimeException;

constexpr size_t kPayload = 16;  // the send time, and room to tell our packets apart

int OpenSocket(bool& datagram) {
  int fd = ::socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_ICMPV6);
  datagram = fd >= 0;
  if (fd < 0) fd = ::socket(AF_INET6, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMPV6);
  ORVA_THROW_ERRNO_IF(fd < 0, RuntimeException, "Fail to open an ICMPv6 socket");
  if (!datagram) {
    // A raw socket sees every ICMPv6 packet of the host; only echo replies are of interest.
    icmp6_filter filter;
    ICMP6_FILTER_SETBLOCKALL(&filter);
    ICMP6_FILTER_SETPASS(ICMP6_ECHO_REPLY, &filter);
    ::setsockopt(fd, IPPROTO_ICMPV6, ICMP6_FILTER, &filter, sizeof filter);
  }
  return fd;
}

}  // namespace

Ping6Session::Ping6Session(const std::string& interfaceName) {
  if (!interfaceName.empty()) {
    scope_ = ::if_nametoindex(interfaceName.c_str());
    if (scope_ == 0) ORVA_THROW(InvalidArgumentException, "Interface [" + interfaceName + "] does not exist");
  }
  fd_ = OpenSocket(datagram_);
  if (!interfaceName.empty() &&
      ::setsockopt(fd_, SOL_SOCKET, SO_BINDTODEVICE, interfaceName.c_str(), static_cast<socklen_t>(interfaceName.size())) != 0) {
    const int error = errno;
    ::close(fd_);
    ORVA_THROW(RuntimeException, Exception::WithErrno("Fail to bind the ping socket to [" + interfaceName + "]", error));
  }
  // A datagram socket's identifier is its port, chosen by the kernel; a raw one needs its own.
  if (::getrandom(&identifier_, sizeof identifier_, 0) != sizeof identifier_) identifier_ = static_cast<uint16_t>(::getpid());
  if (datagram_) {
    sockaddr_in6 local{};
    socklen_t length = sizeof local;
    local.sin6_family = AF_INET6;
    ::bind(fd_, reinterpret_cast<sockaddr*>(&local), sizeof local);
    if (::getsockname(fd_, reinterpret_cast<sockaddr*>(&local), &length) == 0) identifier_ = ntohs(local.sin6_port);
  }
}

Ping6Session::~Ping6Session() {
  if (fd_ >= 0) ::close(fd_);
}

Ping6Session::Ping6Session(Ping6Session&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)),
      datagram_(other.datagram_),
      scope_(other.scope_),
      identifier_(other.identifier_),
      sequence_(other.sequence_) {}

Ping6Session& Ping6Session::operator=(Ping6Session&& other) noexcept {
  if (this != &other) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = std::exchange(other.fd_, -1);
    datagram_ = other.datagram_;
    scope_ = other.scope_;
    identifier_ = other.identifier_;
    sequence_ = other.sequence_;
  }
  return *this;
}

bool Ping6Session::Matches(const unsigned char* packet, size_t size, uint16_t sequence) const {
  if (size < sizeof(icmp6_hdr)) return false;
  icmp6_hdr header;
  std::memcpy(&header, packet, sizeof header);
  if (header.icmp6_type != ICMP6_ECHO_REPLY || ntohs(header.icmp6_seq) != sequence) return false;
  // The kernel already matched a datagram socket's replies to its port.
  return datagram_ || ntohs(header.icmp6_id) == identifier_;
}

std::optional<std::chrono::microseconds> Ping6Session::Ping(const orva::net::utils::IPAddress& target,
                                                            const Deadline& deadline) {
  sockaddr_in6 to{};
  to.sin6_family = AF_INET6;
  if (!target.IsIPv6() || !target.ToIn6Addr(to.sin6_addr)) ORVA_THROW(InvalidArgumentException, "[" + target.ToString() + "] is not IPv6");
  if (target.IsLinkLocal() && scope_ == 0) {
    ORVA_THROW(InvalidArgumentException, "Link-local [" + target.ToString() + "] needs an interface");
  }
  to.sin6_scope_id = target.IsLinkLocal() ? scope_ : 0;
  const uint16_t sequence = ++sequence_;
  unsigned char request[sizeof(icmp6_hdr) + kPayload] = {};
  icmp6_hdr header{};
  header.icmp6_type = ICMP6_ECHO_REQUEST;
  header.icmp6_id = htons(identifier_);
  header.icmp6_seq = htons(sequence);
  std::memcpy(request, &header, sizeof header);
  const auto sent = Deadline::Clock::now();
  ssize_t n;
  do {
    n = ::sendto(fd_, request, sizeof request, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
  } while (n < 0 && errno == EINTR);
  ORVA_THROW_ERRNO_IF(n < 0 && errno != ENETUNREACH && errno != EHOSTUNREACH && errno != EADDRNOTAVAIL,
                      RuntimeException, "Fail to send an echo request to [" + target.ToString() + "]");
  if (n < 0) return std::nullopt;  // no route: as good as no answer
  unsigned char reply[1500];
  for (;;) {
    pollfd entry{fd_, POLLIN, 0};
    const int ready = ::poll(&entry, 1, deadline.PollTimeoutMs());
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return std::nullopt;
    sockaddr_in6 from{};
    socklen_t length = sizeof from;
    const ssize_t got = ::recvfrom(fd_, reply, sizeof reply, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &length);
    // Another host's reply to a request of the same number is not this target's answer.
    const bool fromTarget = got > 0 && std::memcmp(&from.sin6_addr, &to.sin6_addr, sizeof to.sin6_addr) == 0;
    if (fromTarget && Matches(reply, static_cast<size_t>(got), sequence)) {
      return std::chrono::duration_cast<std::chrono::microseconds>(Deadline::Clock::now() - sent);
    }
    if (deadline.Expired()) return std::nullopt;
  }
}

std::optional<std::chrono::microseconds> Ping6(const orva::net::utils::IPAddress& target, const std::string& interfaceName,
                                               std::chrono::milliseconds timeout) {
  Ping6Session session(interfaceName);
  return session.Ping(target, Deadline(timeout));
}

}  // namespace ORVA::MESH::SDK
