#pragma once
// ICMPv6 echo: is a neighbour or the gateway answering, and how fast. An unprivileged ICMPv6
// datagram socket is used where the kernel allows it (net.ipv4.ping_group_range), a raw socket
// otherwise. Replies are matched by identifier and sequence; stray and foreign replies are
// ignored, and no call waits past its deadline.
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include "orvamesh/export.h"
#include "orvamesh/platform/ip_address.h"
#include "orvamesh/utils/deadline.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT Ping6Session {
 public:
  // Pings leave through `interfaceName`, which a link-local target needs as its scope; empty
  // lets the routing table choose (global targets only). Throws RuntimeException when no
  // socket can be opened, InvalidArgumentException for an interface that does not exist.
  explicit Ping6Session(const std::string& interfaceName = "");
  ~Ping6Session();
  Ping6Session(Ping6Session&& other) noexcept;
  Ping6Session& operator=(Ping6Session&& other) noexcept;
  Ping6Session(const Ping6Session&) = delete;
  Ping6Session& operator=(const Ping6Session&) = delete;

  // One echo request; the round-trip time of its reply, or none by the deadline. Throws
  // InvalidArgumentException for a target that is not IPv6 (or link-local without an
  // interface), RuntimeException when the request cannot be sent at all.
  std::optional<std::chrono::microseconds> Ping(const orva::net::utils::IPAddress& target, const Deadline& deadline);
  bool IsUnprivileged() const noexcept { return datagram_; }

 private:
  bool Matches(const unsigned char* packet, size_t size, uint16_t sequence) const;

  int fd_ = -1;
  bool datagram_ = false;
  unsigned scope_ = 0;
  uint16_t identifier_ = 0;
  uint16_t sequence_ = 0;
};

// One ping with a session of its own.
ORVA_EXPORT std::optional<std::chrono::microseconds> Ping6(const orva::net::utils::IPAddress& target,
                                                           const std::string& interfaceName,
                                                           std::chrono::milliseconds timeout);

}  // namespace ORVA::MESH::SDK
