#include "orvamesh/scan_wired/response_packet.h"

#include <utility>

#include "orvamesh/serialization/int_serialization.h"
#include "orvamesh/serialization/ipv6_address_serialization.h"
#include "orvamesh/serialization/mac_address_serialization.h"
#include "orvamesh/serialization/string_serialization.h"

namespace ORVA::MESH::SDK::ScanWired {

namespace {
namespace S = Serialization;
using StringField = S::Serializer<std::string, S::StringSerialization>;
using UInt8Field = S::Serializer<unsigned char, S::UInt8Serialization>;
using UInt16Field = S::Serializer<unsigned short, S::UInt16Serialization>;
using UInt32Field = S::Serializer<unsigned int, S::UInt32Serialization>;
using UInt64Field = S::Serializer<unsigned long, S::UInt64Serialization>;
using MacField = S::Serializer<ether_addr, S::MACAddressSerialization>;
using Ipv6Field = S::Serializer<in6_addr, S::IPv6AddressSerialization>;
}  // namespace

ResponsePacket::ResponsePacket()
    : osBuildNum_(0), osUpdateNum_(0), macAddress_{}, ipv6Address_{}, accessPort_(0), uptime_(0) {}

ResponsePacket::ResponsePacket(const std::string& osName, const std::string& unique, const std::string& serial,
                               std::string osVersion, unsigned int osBuildNum, unsigned char osUpdateNum,
                               const ether_addr& mac, const in6_addr& ipv6, unsigned short accessPort,
                               unsigned long uptime)
    : osName_(osName),
      unique_(unique),
      serial_(serial),
      osVersion_(std::move(osVersion)),
      osBuildNum_(osBuildNum),
      osUpdateNum_(osUpdateNum),
      macAddress_(mac),
      ipv6Address_(ipv6),
      accessPort_(accessPort),
      uptime_(uptime) {}

SerializeMap ResponsePacket::GetSerializeMap() const {
  using T = WiredScanFieldType;
  return {
      {T::UNIQUE, StringField::GenerateSerializeCallback(unique_)},
      {T::SERIAL, StringField::GenerateSerializeCallback(serial_)},
      {T::OS_NAME, StringField::GenerateSerializeCallback(osName_)},
      {T::OS_BUILD_NUM, UInt32Field::GenerateSerializeCallback(osBuildNum_)},
      {T::OS_UPDATE_NUM, UInt8Field::GenerateSerializeCallback(osUpdateNum_)},
      {T::OS_VERSION, StringField::GenerateSerializeCallback(osVersion_)},
      {T::MAC_ADDRESS, MacField::GenerateSerializeCallback(macAddress_)},
      {T::IPV6_ADDRESS, Ipv6Field::GenerateSerializeCallback(ipv6Address_)},
      {T::ACCESS_PORT, UInt16Field::GenerateSerializeCallback(accessPort_)},
      {T::UPTIME, UInt64Field::GenerateSerializeCallback(uptime_)},
  };
}

DeserializeMap ResponsePacket::GetDeserializeMap() {
  using T = WiredScanFieldType;
  return {
      {T::UNIQUE, StringField::GenerateDeserializeCallback(unique_)},
      {T::SERIAL, StringField::GenerateDeserializeCallback(serial_)},
      {T::OS_NAME, StringField::GenerateDeserializeCallback(osName_)},
      {T::OS_BUILD_NUM, UInt32Field::GenerateDeserializeCallback(osBuildNum_)},
      {T::OS_UPDATE_NUM, UInt8Field::GenerateDeserializeCallback(osUpdateNum_)},
      {T::OS_VERSION, StringField::GenerateDeserializeCallback(osVersion_)},
      {T::MAC_ADDRESS, MacField::GenerateDeserializeCallback(macAddress_)},
      {T::IPV6_ADDRESS, Ipv6Field::GenerateDeserializeCallback(ipv6Address_)},
      {T::ACCESS_PORT, UInt16Field::GenerateDeserializeCallback(accessPort_)},
      {T::UPTIME, UInt64Field::GenerateDeserializeCallback(uptime_)},
  };
}

}  // namespace ORVA::MESH::SDK::ScanWired
