#pragma once
// The minimum spanning tree of the scan's links, rooted at the CAP, over the costs of LinkCost.
// Ties are broken by the MAC texts of the link's ends, so the same input gives the same tree.
#include "orvamesh/export.h"
#include "orvamesh/scan/scan_result.h"
#include "orvamesh/scan/topology.h"

namespace ORVA::MESH::SDK::Scan {

class ORVA_EXPORT TopologyBuilder {
 public:
  // Throws InvalidArgumentException when no device or more than one is the CAP, when two
  // devices share a MAC, when a link names a MAC no device has or joins a device to itself,
  // and when a measurement is not a valid figure. Of two links between the same devices the
  // cheaper one counts.
  static Topology Build(const ScanResult& scan);
};

}  // namespace ORVA::MESH::SDK::Scan
