#pragma once
// Devices and links collected from the CAP's wired scan and the daemon's Wi-Fi measurements: the
// input of the topology builder.
#include <vector>
#include "orvamesh/client/mesh_records.h"
#include "orvamesh/export.h"
#include "orvamesh/scan/scan_device.h"
#include "orvamesh/scan/scan_link.h"

namespace ORVA::MESH::SDK::ScanWired {
class EthernetScanReplyEntry;
}

namespace ORVA::MESH::SDK::Scan {

class ORVA_EXPORT ScanResult {
 public:
  void AddDevice(const ScanDevice& device);
  void AddLink(const ScanLink& link);
  // Each RE that answered a wired scan sits on an Ethernet link to the device that scanned.
  void AddWiredScan(const Mac& scanner, const std::vector<ScanWired::EthernetScanReplyEntry>& entries);
  // What a management program knows from "GetNodeInfos": every node, and a link to its uplink
  // over its backhaul (Ethernet when it reports none).
  static ScanResult FromNodeInfos(const Client::NodeInfoMap& nodes);

  const std::vector<ScanDevice>& GetDevices() const noexcept { return devices_; }
  const std::vector<ScanLink>& GetLinks() const noexcept { return links_; }

 private:
  std::vector<ScanDevice> devices_;
  std::vector<ScanLink> links_;
};

}  // namespace ORVA::MESH::SDK::Scan
