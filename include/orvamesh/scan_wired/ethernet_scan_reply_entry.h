#pragma once
// What the CAP keeps for each RE that answered a wired scan, and its JSON form. ToJson writes
// the keys in the order unique, serial, os_name, os_build_num, os_update_num, os_version,
// mac_address, ipv6_address, access_port, uptime, country_compatibility (note that
// Json::Value itself keeps object members sorted by key, so writers print them sorted).
// The MAC address text is ether_ntoa's form ("2:0:ab:c:d:e": no leading zeros), the IPv6
// address text inet_ntop's.
#include <json/value.h>
#include <netinet/ether.h>
#include <netinet/in.h>

#include <string>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::ScanWired {

class ResponsePacket;

class ORVA_EXPORT EthernetScanReplyEntry {
 public:
  EthernetScanReplyEntry(const std::string& osName, const std::string& unique, const std::string& serial,
                         std::string osVersion, unsigned int osBuildNum, unsigned char osUpdateNum,
                         const ether_addr& mac, const in6_addr& ipv6, unsigned short accessPort,
                         unsigned long uptime, bool countryCompatibility);
  // The ten fields of a received response plus the CAP's compatibility verdict.
  EthernetScanReplyEntry(const ResponsePacket& response, bool countryCompatibility);

  // Throws Exception::RuntimeException "ether_ntoa failed" or "inet_ntop failed, errno: [e]"
  // when an address cannot be written.
  Json::Value ToJson() const;
  // All eleven keys are required. The six text keys must be strings, "country_compatibility" a
  // boolean, and the numeric keys non-negative integers that fit their field; anything else
  // throws Exception::RuntimeException "Ill-formed json". Address texts that do not parse throw
  // "Ill-formed IPv6 address [text]" or "ether_aton failed on [text]".
  static EthernetScanReplyEntry FromJson(const Json::Value& json);

  const std::string& GetOsName() const noexcept { return osName_; }
  const std::string& GetUnique() const noexcept { return unique_; }
  const std::string& GetSerial() const noexcept { return serial_; }
  const std::string& GetOsVersion() const noexcept { return osVersion_; }
  unsigned int GetOsBuildNum() const noexcept { return osBuildNum_; }
  unsigned char GetOsUpdateNum() const noexcept { return osUpdateNum_; }
  const ether_addr& GetMacAddress() const noexcept { return macAddress_; }
  const in6_addr& GetIpv6Address() const noexcept { return ipv6Address_; }
  unsigned short GetAccessPort() const noexcept { return accessPort_; }
  unsigned long GetUptime() const noexcept { return uptime_; }
  bool GetCountryCompatibility() const noexcept { return countryCompatibility_; }

 private:
  std::string osName_;
  std::string unique_;
  std::string serial_;
  std::string osVersion_;
  unsigned int osBuildNum_;
  unsigned char osUpdateNum_;
  ether_addr macAddress_;
  in6_addr ipv6Address_;
  unsigned short accessPort_;
  unsigned long uptime_;
  bool countryCompatibility_;
};

}  // namespace ORVA::MESH::SDK::ScanWired
