#include "orvamesh/mac.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>

#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "platform/random_seam.h"

namespace ORVA::MESH::SDK {
namespace {

constexpr size_t kOuiLength = 8;
constexpr size_t kDevicePartOffset = 9;
constexpr size_t kDevicePartLength = 8;
constexpr size_t kNoColonLength = 12;

bool IsHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

}  // namespace

Mac::Mac() = default;
Mac::Mac(const std::string& text) : address_(text) {}
Mac::Mac(const ether_addr& address) : address_(address) {}
Mac::Mac(const orva::net::utils::MacAddress& address) : address_(address) {}

const std::map<std::string, std::string>& Mac::GetOrvaGuestPrefixMapping() {
  static const std::map<std::string, std::string> mapping{{"00:24:e7", "02:24:e7"},
                                                          {"84:3a:5b", "86:3a:5b"}};
  return mapping;
}

const std::map<std::string, std::string>& Mac::GetOrvaBackhaulPrefixMapping() {
  static const std::map<std::string, std::string> mapping{{"00:24:e7", "16:24:e7"},
                                                          {"84:3a:5b", "9a:3a:5b"}};
  return mapping;
}

const std::map<std::string, std::string>& Mac::GetOrvaBackhaulSTAPrefixMapping() {
  static const std::map<std::string, std::string> mapping{{"00:24:e7", "12:24:e7"},
                                                          {"84:3a:5b", "96:3a:5b"}};
  return mapping;
}

const std::vector<std::string>& Mac::GetOrvaBackhaulPrefixList() {
  static const std::vector<std::string> list{"16:24:e7", "9a:3a:5b"};
  return list;
}

int Mac::MacToStr(const unsigned char* bytes, std::string& out) {
  if (bytes == nullptr) {
    ORVA_LOG_ERR("Cannot format a MAC from a null pointer");
    return -1;
  }
  char text[MAC_ADDR_LENGTH + 1];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2], bytes[3],
                bytes[4], bytes[5]);
  out = text;
  return 0;
}

int Mac::MacToStr(const ether_addr& address, std::string& out) {
  return MacToStr(address.ether_addr_octet, out);
}

int Mac::StrToMac(const std::string& text, unsigned char* bytes) {
  if (bytes == nullptr) {
    ORVA_LOG_ERR("Cannot parse a MAC into a null pointer");
    return -1;
  }
  if (text.size() != MAC_ADDR_LENGTH) {
    ORVA_LOG_ERR("Invalid MAC length [%zu]: %s", text.size(), text.c_str());
    return -1;
  }
  for (size_t i = 0; i < MAC_ADDR_LENGTH; ++i) {
    const bool ok = i % 3 == 2 ? text[i] == ':' : IsHexDigit(text[i]);
    if (!ok) {
      ORVA_LOG_ERR("Invalid MAC format: %s", text.c_str());
      return -1;
    }
  }
  unsigned char parsed[6];
  std::sscanf(text.c_str(), "%hhx:%hhx:%hhx:%hhx:%hhx:%hhx", &parsed[0], &parsed[1], &parsed[2], &parsed[3],
              &parsed[4], &parsed[5]);
  std::memcpy(bytes, parsed, sizeof parsed);
  return 0;
}

int Mac::StrToMac(const std::string& text, ether_addr& address) {
  return StrToMac(text, address.ether_addr_octet);
}

int Mac::ExcludeOUI(const Mac& mac, std::string& out) {
  if (!mac.IsValid()) {
    ORVA_LOG_ERR("Please give a valid mac address");
    return -1;
  }
  const std::string text = mac.ToString();
  std::string part = text.size() > kDevicePartOffset ? text.substr(kDevicePartOffset) : std::string();
  if (part.size() != kDevicePartLength) {
    ORVA_LOG_ERR("Invalid no oui MAC:%s", part.c_str());
    return -1;
  }
  out = part;
  return 0;
}

int Mac::ExtractOUI(const Mac& mac, std::string& out) {
  if (!mac.IsValid()) {
    ORVA_LOG_ERR("Please give a valid mac address");
    return -1;
  }
  std::string oui = mac.ToString().substr(0, kOuiLength);
  if (oui.size() != kOuiLength) {
    ORVA_LOG_ERR("Invalid no oui MAC:%s", oui.c_str());
    return -1;
  }
  out = oui;
  return 0;
}

int Mac::ExcludeColon(const Mac& mac, std::string& out) {
  if (!mac.IsValid()) {
    ORVA_LOG_ERR("Please give a valid mac address");
    return -1;
  }
  std::string digits;
  for (char c : mac.ToString()) {
    if (c != ':') digits.push_back(c);
  }
  if (digits.size() != kNoColonLength) {
    ORVA_LOG_ERR("Invalid no colon MAC:%s", digits.c_str());
    return -1;
  }
  out = digits;
  return 0;
}

int Mac::ConvertPrefixByMapping(const Mac& in, const std::map<std::string, std::string>& mapping, Mac& out) {
  if (!in.IsValid()) {
    ORVA_LOG_ERR("The input mac is invalid: %s", in.ToString().c_str());
    return -1;
  }
  std::string oui;
  if (ExtractOUI(in, oui) != 0) return -1;
  const auto found = mapping.find(oui);
  if (found == mapping.end()) {
    ORVA_LOG_ERR("The input mac does not start with Velanto OUI: %s", in.ToString().c_str());
    return -1;
  }
  Mac converted(found->second + in.ToString().substr(kOuiLength));
  if (!converted.IsValid()) {
    ORVA_LOG_ERR("The prefix mapped from %s is no OUI: %s", oui.c_str(), found->second.c_str());
    return -1;
  }
  out = converted;
  return 0;
}

int Mac::ConvertToOrvaGuestPrefix(const Mac& in, Mac& out) {
  return ConvertPrefixByMapping(in, GetOrvaGuestPrefixMapping(), out);
}

int Mac::ConvertToOrvaBackhaulPrefix(const Mac& in, Mac& out) {
  return ConvertPrefixByMapping(in, GetOrvaBackhaulPrefixMapping(), out);
}

int Mac::ConvertToOrvaBackhaulSTAPrefix(const Mac& in, Mac& out) {
  return ConvertPrefixByMapping(in, GetOrvaBackhaulSTAPrefixMapping(), out);
}

int Mac::CalculateMac(const Mac& in, int operand, Mac& out) {
  if (!in.IsValid()) {
    ORVA_LOG_ERR("The input mac is invalid: %s", in.ToString().c_str());
    return -1;
  }
  std::string digits;
  if (ExcludeColon(in, digits) != 0) return -1;
  // Unsigned arithmetic: going below zero wraps far beyond 48 bits and is caught below.
  const uint64_t sum = std::strtoull(digits.c_str(), nullptr, 16) + static_cast<uint64_t>(static_cast<int64_t>(operand));
  char text[24];
  std::snprintf(text, sizeof text, "%012" PRIx64, sum);
  Mac result{std::string(text)};
  if (!result.IsValid()) {
    ORVA_LOG_ERR("Failed to calculate new MAC with operand: %s, MAC:%s", std::to_string(operand).c_str(),
                 in.ToString().c_str());
    return -1;
  }
  out = result;
  return 0;
}

int Mac::GenRandomLocalPrefixMac(unsigned char length, std::string& out) {
  if (length > MAC_ADDR_LENGTH) {
    ORVA_LOG_ERR("random mac size can not be bigger than MAC_ADDR_LENGTH.");
    return -1;
  }
  if (!orva::platform::SeedRandom()) {
    ORVA_LOG_ERR("Failed to generate a random seed.");
    return -1;
  }
  static const char kDigits[] = "0123456789abcdef";
  out.clear();
  for (unsigned i = 0; i < length; ++i) {
    if (i % 3 == 2) {
      out.push_back(':');
      continue;
    }
    unsigned digit = static_cast<unsigned>(std::rand()) >> 27;
    if (i == 1) digit |= 0x2;
    out.push_back(kDigits[digit & 0xf]);
  }
  return 0;
}

int Mac::ConvertToRandomOUIPrefix(const Mac& in, Mac& out) {
  if (!in.IsValid()) {
    ORVA_LOG_ERR("The input mac is invalid: %s", in.ToString().c_str());
    return -1;
  }
  std::string oui;
  if (ExtractOUI(in, oui) != 0) {
    ORVA_LOG_ERR("Failed to extract oui from mac: %s", in.ToString().c_str());
    return -1;
  }
  std::string prefix;
  if (GenRandomLocalPrefixMac(kOuiLength, prefix) != 0) {
    ORVA_LOG_ERR("Failed to generate random prefix mac.");
    return -1;
  }
  out = Mac(prefix + in.ToString().substr(kOuiLength));
  return 0;
}

int Mac::GetFromIPv6LinkLocalAddress(const orva::net::utils::IPAddress& address, Mac& out) {
  in6_addr bytes{};
  if (!address.ToIn6Addr(bytes)) {
    ORVA_LOG_ERR("Failed to convert address [%s] to binary format.", address.ToString().c_str());
    return -1;
  }
  if (!IN6_IS_ADDR_LINKLOCAL(&bytes)) {
    ORVA_LOG_ERR("Can't parse mac from non link local address [%s].", address.ToString().c_str());
    return -1;
  }
  const uint8_t* b = bytes.s6_addr;
  out = Mac(orva::net::utils::MacAddress(
      orva::net::utils::MacAddress::Bytes{static_cast<uint8_t>(b[8] ^ 0x2), b[9], b[10], b[13], b[14], b[15]}));
  return 0;
}

bool Mac::IsOrvaBackhaulPrefix() const {
  std::string oui;
  if (ExtractOUI(*this, oui) != 0) return false;
  for (const std::string& prefix : GetOrvaBackhaulPrefixList()) {
    if (prefix == oui) return true;
  }
  return false;
}

ether_addr Mac::ToEtherAddr() const {
  if (!IsValid()) {
    ORVA_THROW(Exception::RuntimeException, "Not a formalized MAC");
  }
  ether_addr address{};
  if (StrToMac(ToString(), address) != 0) {
    ORVA_THROW(Exception::RuntimeException, "Failed to oncvert to ether_addr");
  }
  return address;
}

std::ostream& operator<<(std::ostream& out, const Mac& mac) { return out << mac.ToString(); }

}  // namespace ORVA::MESH::SDK
