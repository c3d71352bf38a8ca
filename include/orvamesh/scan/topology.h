#pragma once
// The mesh as a tree rooted at the CAP: every reachable device's parent, hops, path cost and the
// medium of its uplink, and the devices that no link reaches.
#include <map>
#include <string>
#include <vector>
#include <json/json.h>
#include "orvamesh/export.h"
#include "orvamesh/mac.h"
#include "orvamesh/scan/scan_link.h"

namespace ORVA::MESH::SDK::Scan {

struct ORVA_EXPORT TopologyNode {
  Mac parent;  // the root's is invalid
  LINK_MEDIUM medium = LINK_MEDIUM::ETHERNET;  // of the uplink; meaningless for the root
  unsigned hops = 0;
  double pathCost = 0;
  double uplinkCost = 0;
};

class ORVA_EXPORT Topology {
 public:
  Topology(const Mac& root, std::map<Mac, TopologyNode> nodes, std::vector<Mac> unreachable);

  const Mac& GetRoot() const noexcept { return root_; }
  // Every reachable device, the root included.
  const std::map<Mac, TopologyNode>& GetNodes() const noexcept { return nodes_; }
  const std::vector<Mac>& GetUnreachable() const noexcept { return unreachable_; }
  double TotalCost() const;

  // Child MAC -> parent MAC by uplink medium name: the map "GetDataMeshTopology" carries.
  std::map<std::string, std::map<Mac, Mac>> ToMeshTopologyMap() const;
  // {"root": MAC, "nodes": {MAC: {parent, medium, hops, path_cost}}, "unreachable": [MAC...]}
  Json::Value ToJson() const;
  // A Graphviz digraph, parents pointing at their children, edges labelled with the medium.
  std::string ToDot() const;

 private:
  Mac root_;
  std::map<Mac, TopologyNode> nodes_;
  std::vector<Mac> unreachable_;
};

}  // namespace ORVA::MESH::SDK::Scan
