#pragma once
// An RE's answer to a probe: who it is and where it can be reached. Every field is required on
// receipt. On the wire the fields are sealed to the probing CAP's public key.
#include <netinet/ether.h>
#include <netinet/in.h>

#include <string>

#include "orvamesh/export.h"
#include "orvamesh/scan_wired/serializable_packet.h"

namespace ORVA::MESH::SDK::ScanWired {

class ORVA_EXPORT ResponsePacket : public SerializablePacket {
 public:
  // All strings empty, numbers and addresses zero; what a received response is read into.
  ResponsePacket();
  ResponsePacket(const std::string& osName, const std::string& unique, const std::string& serial,
                 std::string osVersion, unsigned int osBuildNum, unsigned char osUpdateNum, const ether_addr& mac,
                 const in6_addr& ipv6, unsigned short accessPort, unsigned long uptime);

  SerializeMap GetSerializeMap() const override;
  DeserializeMap GetDeserializeMap() override;

  const std::string& GetOsName() const noexcept { return osName_; }
  const std::string& GetUnique() const noexcept { return unique_; }
  const std::string& GetSerial() const noexcept { return serial_; }
  const std::string& GetOsVersion() const noexcept { return osVersion_; }
  unsigned int GetOsBuildNum() const noexcept { return osBuildNum_; }
  unsigned char GetOsUpdateNum() const noexcept { return osUpdateNum_; }
  const ether_addr& GetMacAddress() const noexcept { return macAddress_; }
  const in6_addr& GetIpv6Address() const noexcept { return ipv6Address_; }
  unsigned short GetAccessPort() const noexcept { return accessPort_; }
  // Seconds since the RE booted, as of the answer.
  unsigned long GetUptime() const noexcept { return uptime_; }
  void SetUptime(unsigned long uptime) noexcept { uptime_ = uptime; }

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
};

}  // namespace ORVA::MESH::SDK::ScanWired
