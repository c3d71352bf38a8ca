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

}  // namespace ORVA::MESH::SDK::Scan
