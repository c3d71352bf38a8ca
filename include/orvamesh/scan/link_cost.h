#pragma once
// What a link costs the tree. Lower is better.
//
// - Expected throughput T in Mbit/s: the measured throughput when known, else the PHY rate
//   times the share a medium usually delivers (Ethernet 0.94, Wi-Fi 0.55), else a typical rate
//   of the medium (Ethernet 1000, 2.4 GHz 50, 5 GHz 300, 6 GHz 500).
// - Base cost 1000 / T, so doubling the throughput halves the cost.
// - Wi-Fi only: RSSI below -65 dBm multiplies the cost by 1 + (-65 - RSSI) / 5, a tenth of a
//   link budget per 5 dB, since weak links fall back to slow rates and retransmit.
// - Figures older than 60 s multiply the cost by 1 + (age - 60) / 60, at most 10: the link may
//   have changed since.
// - Every Wi-Fi link costs 1000 more than it would as Ethernet: a working cable is preferred
//   to any radio as long as it carries more than 1 Mbit/s.
#include "orvamesh/export.h"
#include "orvamesh/scan/scan_link.h"

namespace ORVA::MESH::SDK::Scan {

// Throws InvalidArgumentException naming the link when a figure is negative (RSSI excepted),
// NaN or infinite, or when an RSSI is above 0 dBm.
ORVA_EXPORT double LinkCost(const ScanLink& link);

}  // namespace ORVA::MESH::SDK::Scan
