#include "orvamesh/scan/scan_result.h"

#include <algorithm>
#include "orvamesh/scan_wired/ethernet_scan_reply_entry.h"

namespace ORVA::MESH::SDK::Scan {

void ScanResult::AddDevice(const ScanDevice& device) { devices_.push_back(device); }

void ScanResult::AddLink(const ScanLink& link) { links_.push_back(link); }

void ScanResult::AddWiredScan(const Mac& scanner, const std::vector<ScanWired::EthernetScanReplyEntry>& entries) {
  for (const auto& entry : entries) {
    const ScanDevice device = ScanDevice::FromWiredEntry(entry);
    // A device the daemon already described keeps its description; the scan adds the link.
    const bool known = std::any_of(devices_.begin(), devices_.end(),
                                   [&](const ScanDevice& d) { return d.mac == device.mac; });
    if (!known) devices_.push_back(device);
    links_.emplace_back(scanner, device.mac, LINK_MEDIUM::ETHERNET);
  }
}

ScanResult ScanResult::FromNodeInfos(const Client::NodeInfoMap& nodes) {
  ScanResult scan;
  for (const auto& [id, node] : nodes) {
    ScanDevice device;
    device.nodeId = id;
    device.mac = node.mac;
    device.role = node.role == Client::NODE_ROLE::CAP ? DEVICE_ROLE::CAP : DEVICE_ROLE::RE;
    device.modelUnique = node.modelUnique;
    scan.AddDevice(device);
  }
  for (const auto& [id, node] : nodes) {
    const auto uplink = nodes.find(node.uplink);
    if (node.uplink == 0 || uplink == nodes.end() || node.uplink == id) continue;
    const LINK_MEDIUM medium = node.backhaul == Client::BACKHAUL_TYPE::NONE
                                   ? LINK_MEDIUM::ETHERNET
                                   : LinkMediumFromString(Client::BackhaulTypeToString(node.backhaul));
    scan.AddLink(ScanLink(uplink->second.mac, node.mac, medium));
  }
  return scan;
}

}  // namespace ORVA::MESH::SDK::Scan
