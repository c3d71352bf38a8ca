#include "orvamesh/platform/ip_address.h"

#include <arpa/inet.h>
#include <net/if.h>

#include <cerrno>
#include <cstring>
#include <ostream>

#include "orvamesh/base/exception.h"

namespace orva::net::utils {
namespace {

namespace Exception = ::ORVA::MESH::SDK::Exception;

// The interface's index, or a clear exception naming the interface.
unsigned int InterfaceIndex(const std::string& ifname, const char* function) {
  if (ifname.empty()) {
    ORVA_THROW_IN(Exception::InvalidArgumentException, function,
                  "Cannot use an empty interface name as IPv6 zone");
  }
  const unsigned int index = ::if_nametoindex(ifname.c_str());
  if (index == 0) {
    const int error = errno;
    ORVA_THROW_IN(Exception::RuntimeException, function,
                  "Interface [" + ifname + "] does not exist, errno: [" + std::to_string(error) + "]");
  }
  return index;
}

}  // namespace

IPAddress::IPAddress() noexcept = default;

IPAddress::IPAddress(const std::string& text) {
  if (!TryParse(text, *this)) {
    ORVA_THROW_IN(Exception::InvalidArgumentException, "IPAddress", "Ill-formed IP address [" + text + "]");
  }
}

IPAddress::IPAddress(const in6_addr& address) noexcept : family_(Family::IPV6) {
  std::memcpy(bytes_.data(), address.s6_addr, 16);
}

IPAddress::IPAddress(const in_addr& address) noexcept : family_(Family::IPV4) {
  std::memcpy(bytes_.data(), &address.s_addr, 4);
}

bool IPAddress::TryParse(const std::string& text, IPAddress& out) noexcept {
  // inet_pton stops at a NUL, so text with an embedded one must not pass as its prefix.
  if (text.find('\0') != std::string::npos) return false;
  in6_addr v6{};
  if (::inet_pton(AF_INET6, text.c_str(), &v6) == 1) {
    out = IPAddress(v6);
    return true;
  }
  in_addr v4{};
  if (::inet_pton(AF_INET, text.c_str(), &v4) == 1) {
    out = IPAddress(v4);
    return true;
  }
  return false;
}

bool IPAddress::IsLinkLocal() const noexcept {
  if (IsIPv6()) return bytes_[0] == 0xfe && (bytes_[1] & 0xc0) == 0x80;
  if (IsIPv4()) return bytes_[0] == 169 && bytes_[1] == 254;
  return false;
}

bool IPAddress::IsMulticast() const noexcept {
  if (IsIPv6()) return bytes_[0] == 0xff;
  if (IsIPv4()) return (bytes_[0] & 0xf0) == 0xe0;
  return false;
}

bool IPAddress::ToIn6Addr(in6_addr& out) const noexcept {
  if (IsIPv6()) {
    std::memcpy(out.s6_addr, bytes_.data(), 16);
    return true;
  }
  if (IsIPv4()) {
    std::memset(out.s6_addr, 0, 10);
    out.s6_addr[10] = 0xff;
    out.s6_addr[11] = 0xff;
    std::memcpy(out.s6_addr + 12, bytes_.data(), 4);
    return true;
  }
  return false;
}

bool IPAddress::ToInAddr(in_addr& out) const noexcept {
  if (!IsIPv4()) return false;
  std::memcpy(&out.s_addr, bytes_.data(), 4);
  return true;
}

std::string IPAddress::ToString() const {
  if (IsEmpty()) return std::string();
  char text[INET6_ADDRSTRLEN];
  if (::inet_ntop(GetAddressFamily(), bytes_.data(), text, sizeof text) == nullptr) {
    ORVA_THROW_IN(Exception::RuntimeException, "ToString",
                  ::ORVA::MESH::SDK::Exception::WithErrno("inet_ntop failed", errno));
  }
  return text;
}

std::string IPAddress::AppendIPv6LinkLocalIndex(const std::string& ifname) const {
  const unsigned int index = InterfaceIndex(ifname, "AppendIPv6LinkLocalIndex");
  std::string text = ToString();
  if (IsIPv6() && IsLinkLocal()) text += "%" + std::to_string(index);
  return text;
}

std::string IPAddress::AppendIPv6LinkLocalIndex(const std::string& host, const std::string& ifname) {
  const unsigned int index = InterfaceIndex(ifname, "AppendIPv6LinkLocalIndex");
  IPAddress address;
  if (!TryParse(host, address) || !address.IsIPv6() || !address.IsLinkLocal()) return host;
  return host + "%" + std::to_string(index);
}

bool operator==(const IPAddress& a, const IPAddress& b) noexcept {
  return a.family_ == b.family_ && a.bytes_ == b.bytes_;
}

bool operator<(const IPAddress& a, const IPAddress& b) noexcept {
  if (a.family_ != b.family_) return a.family_ < b.family_;
  return a.bytes_ < b.bytes_;
}

std::ostream& operator<<(std::ostream& out, const IPAddress& address) {
  return out << address.ToString();
}

}  // namespace orva::net::utils
