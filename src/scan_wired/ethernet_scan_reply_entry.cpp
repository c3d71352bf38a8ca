#include "orvamesh/scan_wired/ethernet_scan_reply_entry.h"

#include <arpa/inet.h>

#include <cerrno>
#include <limits>
#include <utility>

#include "orvamesh/scan_wired/response_packet.h"
#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::ScanWired {

namespace {

constexpr const char* kTextKeys[] = {"unique", "serial", "os_name", "os_version", "mac_address", "ipv6_address"};
constexpr const char* kNumberKeys[] = {"os_build_num", "os_update_num", "access_port", "uptime"};

// A non-negative integer no larger than `max`; anything else (text, fractions, negative
// numbers, booleans) makes the entry ill-formed rather than silently converted.
bool FitsUnsigned(const Json::Value& value, Json::UInt64 max) {
  return value.isUInt64() && value.asUInt64() <= max;
}

}  // namespace

EthernetScanReplyEntry::EthernetScanReplyEntry(const std::string& osName, const std::string& unique,
                                               const std::string& serial, std::string osVersion,
                                               unsigned int osBuildNum, unsigned char osUpdateNum,
                                               const ether_addr& mac, const in6_addr& ipv6,
                                               unsigned short accessPort, unsigned long uptime,
                                               bool countryCompatibility)
    : osName_(osName),
      unique_(unique),
      serial_(serial),
      osVersion_(std::move(osVersion)),
      osBuildNum_(osBuildNum),
      osUpdateNum_(osUpdateNum),
      macAddress_(mac),
      ipv6Address_(ipv6),
      accessPort_(accessPort),
      uptime_(uptime),
      countryCompatibility_(countryCompatibility) {}

EthernetScanReplyEntry::EthernetScanReplyEntry(const ResponsePacket& response, bool countryCompatibility)
    : EthernetScanReplyEntry(response.GetOsName(), response.GetUnique(), response.GetSerial(),
                             response.GetOsVersion(), response.GetOsBuildNum(), response.GetOsUpdateNum(),
                             response.GetMacAddress(), response.GetIpv6Address(), response.GetAccessPort(),
                             response.GetUptime(), countryCompatibility) {}

Json::Value EthernetScanReplyEntry::ToJson() const {
  char ipv6Text[INET6_ADDRSTRLEN];
  if (inet_ntop(AF_INET6, &ipv6Address_, ipv6Text, sizeof ipv6Text) == nullptr) {
    ORVA_THROW(Exception::RuntimeException, ::ORVA::MESH::SDK::Exception::WithErrno("inet_ntop failed", errno));
  }
  // ether_ntoa's form through its reentrant twin: entries are written from several threads.
  char macText[3 * 6];
  if (ether_ntoa_r(&macAddress_, macText) == nullptr) {
    ORVA_THROW(Exception::RuntimeException, "ether_ntoa failed");
  }
  Json::Value json(Json::objectValue);
  json["unique"] = unique_;
  json["serial"] = serial_;
  json["os_name"] = osName_;
  json["os_build_num"] = Json::UInt(osBuildNum_);
  json["os_update_num"] = Json::UInt(osUpdateNum_);
  json["os_version"] = osVersion_;
  json["mac_address"] = macText;
  json["ipv6_address"] = ipv6Text;
  json["access_port"] = Json::UInt(accessPort_);
  json["uptime"] = Json::UInt64(uptime_);
  json["country_compatibility"] = countryCompatibility_;
  return json;
}

EthernetScanReplyEntry EthernetScanReplyEntry::FromJson(const Json::Value& json) {
  bool wellFormed = json.isObject() && json.isMember("country_compatibility") &&
                    json["country_compatibility"].isBool();
  for (const char* key : kTextKeys) {
    wellFormed = wellFormed && json.isMember(key) && json[key].isString();
  }
  for (const char* key : kNumberKeys) {
    wellFormed = wellFormed && json.isMember(key);
  }
  wellFormed = wellFormed && FitsUnsigned(json["os_build_num"], std::numeric_limits<unsigned int>::max()) &&
               FitsUnsigned(json["os_update_num"], std::numeric_limits<unsigned char>::max()) &&
               FitsUnsigned(json["access_port"], std::numeric_limits<unsigned short>::max()) &&
               FitsUnsigned(json["uptime"], std::numeric_limits<unsigned long>::max());
  if (!wellFormed) {
    ORVA_THROW(Exception::RuntimeException, "Ill-formed json");
  }

  const std::string ipv6Text = json["ipv6_address"].asString();
  in6_addr ipv6{};
  const int parsed = inet_pton(AF_INET6, ipv6Text.c_str(), &ipv6);
  if (parsed == 0) {
    ORVA_THROW(Exception::RuntimeException, "Ill-formed IPv6 address [" + ipv6Text + "]");
  }
  if (parsed < 0) {
    ORVA_THROW(Exception::RuntimeException,
               "inet_pton failed on [" + ipv6Text + ::ORVA::MESH::SDK::Exception::WithErrno("]", errno));
  }
  const std::string macText = json["mac_address"].asString();
  ether_addr mac{};
  if (ether_aton_r(macText.c_str(), &mac) == nullptr) {
    ORVA_THROW(Exception::RuntimeException, "ether_aton failed on [" + macText + "]");
  }

  return EthernetScanReplyEntry(json["os_name"].asString(), json["unique"].asString(), json["serial"].asString(),
                                json["os_version"].asString(), json["os_build_num"].asUInt(),
                                static_cast<unsigned char>(json["os_update_num"].asUInt()), mac, ipv6,
                                static_cast<unsigned short>(json["access_port"].asUInt()),
                                json["uptime"].asUInt64(), json["country_compatibility"].asBool());
}

}  // namespace ORVA::MESH::SDK::ScanWired
