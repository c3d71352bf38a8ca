#pragma once
// The network utility library's IP address value: an IPv4 or IPv6 address, or empty.
//
// Text construction accepts the numeric forms of inet_pton ("192.0.2.1", "fe80::1"); anything
// else (host names, zone-qualified text, stray spaces) throws InvalidArgumentException, and
// TryParse is the non-throwing twin. The 16-byte form of an IPv4 address is its IPv4-mapped
// IPv6 address (::ffff:192.0.2.1), so every non-empty address has one.
//
// Zone indices. A link-local IPv6 address means nothing without the link it belongs to.
// AppendIPv6LinkLocalIndex qualifies it with the interface's index as its zone:
// "fe80::1" on an interface with index 3 becomes "fe80::1%3". The numeric zone is what
// getaddrinfo, curl and ssh all accept and does not depend on the interface name's length.
// Addresses that are not link-local IPv6 (and host names) come back unchanged, since they
// need no zone. An empty interface name throws InvalidArgumentException and an interface the
// kernel does not know throws RuntimeException, whatever the host.
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "orvamesh/export.h"

namespace orva::net::utils {

class ORVA_EXPORT IPAddress {
 public:
  enum class Family : int { NONE = AF_UNSPEC, IPV4 = AF_INET, IPV6 = AF_INET6 };

  // Empty: no family, no text, no 16-byte form.
  IPAddress() noexcept;
  // Throws InvalidArgumentException "Ill-formed IP address [<text>]".
  explicit IPAddress(const std::string& text);
  explicit IPAddress(const in6_addr& address) noexcept;
  explicit IPAddress(const in_addr& address) noexcept;

  // Parses `text` into `out`; false (and `out` untouched) when it is no numeric address.
  static bool TryParse(const std::string& text, IPAddress& out) noexcept;

  bool IsEmpty() const noexcept { return family_ == Family::NONE; }
  Family GetFamily() const noexcept { return family_; }
  // AF_INET, AF_INET6 or AF_UNSPEC.
  int GetAddressFamily() const noexcept { return static_cast<int>(family_); }
  bool IsIPv4() const noexcept { return family_ == Family::IPV4; }
  bool IsIPv6() const noexcept { return family_ == Family::IPV6; }
  // fe80::/10 for IPv6, 169.254.0.0/16 for IPv4.
  bool IsLinkLocal() const noexcept;
  // ff00::/8 for IPv6, 224.0.0.0/4 for IPv4.
  bool IsMulticast() const noexcept;

  // The 16-byte form; false for an empty address.
  bool ToIn6Addr(in6_addr& out) const noexcept;
  // The IPv4 address; false unless IsIPv4().
  bool ToInAddr(in_addr& out) const noexcept;
  // The canonical text (inet_ntop); empty for an empty address.
  std::string ToString() const;

  // This address as text, zone-qualified when it is link-local IPv6 (see above).
  std::string AppendIPv6LinkLocalIndex(const std::string& ifname) const;
  // The same for a host given as text, which may also be a name (returned unchanged) or an
  // address that already carries a zone (also unchanged).
  static std::string AppendIPv6LinkLocalIndex(const std::string& host, const std::string& ifname);

  friend ORVA_EXPORT bool operator==(const IPAddress& a, const IPAddress& b) noexcept;
  friend ORVA_EXPORT bool operator<(const IPAddress& a, const IPAddress& b) noexcept;
  friend bool operator!=(const IPAddress& a, const IPAddress& b) noexcept { return !(a == b); }

 private:
  Family family_ = Family::NONE;
  // IPv6: all 16 bytes; IPv4: the first 4.
  std::array<uint8_t, 16> bytes_{};
};

ORVA_EXPORT std::ostream& operator<<(std::ostream& out, const IPAddress& address);

}  // namespace orva::net::utils
