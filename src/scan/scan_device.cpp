#include "orvamesh/scan/scan_device.h"

#include "orvamesh/base/exception.h"
#include "orvamesh/scan_wired/ethernet_scan_reply_entry.h"

namespace ORVA::MESH::SDK::Scan {

const char* DeviceRoleToString(DEVICE_ROLE role) {
  switch (role) {
    case DEVICE_ROLE::CAP: return "CAP";
    case DEVICE_ROLE::RE: return "RE";
  }
  ORVA_THROW(Exception::InvalidEnumException,
             "DEVICE_ROLE has no value " + std::to_string(static_cast<int>(role)));
}

ScanDevice ScanDevice::FromWiredEntry(const ScanWired::EthernetScanReplyEntry& entry, uint32_t nodeId) {
  ScanDevice device;
  device.nodeId = nodeId;
  device.mac = Mac(entry.GetMacAddress());
  device.role = DEVICE_ROLE::RE;
  device.modelUnique = entry.GetUnique();
  return device;
}

}  // namespace ORVA::MESH::SDK::Scan
