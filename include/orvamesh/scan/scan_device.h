#pragma once
// One device of the mesh as a scan saw it.
#include <cstdint>
#include <map>
#include <string>
#include "orvamesh/export.h"
#include "orvamesh/mac.h"

namespace ORVA::MESH::SDK::ScanWired {
class EthernetScanReplyEntry;
}

namespace ORVA::MESH::SDK::Scan {

enum class DEVICE_ROLE : uint8_t { CAP = 1, RE = 2 };

ORVA_EXPORT const char* DeviceRoleToString(DEVICE_ROLE role);

struct ORVA_EXPORT ScanDevice {
  uint32_t nodeId = 0;
  // The MAC that names the device in the topology map.
  Mac mac;
  // Interface name -> MAC; links may name the device by any of them.
  std::map<std::string, Mac> interfaceMacs;
  DEVICE_ROLE role = DEVICE_ROLE::RE;
  std::string modelUnique;

  // An RE that answered the CAP's wired scan.
  static ScanDevice FromWiredEntry(const ScanWired::EthernetScanReplyEntry& entry, uint32_t nodeId = 0);
};

}  // namespace ORVA::MESH::SDK::Scan
