#include "orvamesh/scan/topology_builder.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include "orvamesh/base/exception.h"
#include "orvamesh/scan/link_cost.h"
#include "scan/spanning_tree.h"

namespace ORVA::MESH::SDK::Scan {
namespace {

// Big-endian packing keeps the order of the MAC texts, so ranks by key are ranks by text.
uint64_t Key(const Mac& mac) {
  uint64_t key = 0;
  for (uint8_t octet : mac.GetMacAddress().GetBytes()) key = (key << 8) | octet;
  return key;
}

[[noreturn]] void Refuse(const std::string& message) {
  ORVA_THROW_IN(Exception::InvalidArgumentException, "Build", message);
}

// The scan's devices indexed in MAC order (a device's index is its rank in the tie-break) and
// its links as weighted edges between those indexes.
class Graph {
 public:
  explicit Graph(const ScanResult& scan) {
    for (const auto& device : scan.GetDevices()) devices_.push_back(&device);
    std::sort(devices_.begin(), devices_.end(),
              [](const ScanDevice* a, const ScanDevice* b) { return Key(a->mac) < Key(b->mac); });
    byMac_.reserve(devices_.size());
    for (uint32_t i = 0; i < devices_.size(); ++i) IndexDevice(i);
    edges_.reserve(scan.GetLinks().size());
    for (const auto& link : scan.GetLinks()) AddLink(link);
  }

  uint32_t Root() const {
    std::optional<uint32_t> root;
    for (uint32_t i = 0; i < devices_.size(); ++i) {
      if (devices_[i]->role != DEVICE_ROLE::CAP) continue;
      if (root) Refuse("devices " + devices_[*root]->mac.ToString() + " and " + devices_[i]->mac.ToString() + " are both the CAP");
      root = i;
    }
    if (!root) Refuse("no device is the CAP");
    return *root;
  }

  const Mac& MacAt(uint32_t i) const { return devices_[i]->mac; }
  uint32_t Size() const { return static_cast<uint32_t>(devices_.size()); }
  const std::vector<WeightedEdge>& Edges() const { return edges_; }

 private:
  void IndexDevice(uint32_t i) {
    const ScanDevice& device = *devices_[i];
    if (!device.mac.IsValid()) Refuse("device of node " + std::to_string(device.nodeId) + " has no valid MAC");
    Name(device.mac, i);
    for (const auto& [name, mac] : device.interfaceMacs) {
      if (mac.IsValid() && !(mac == device.mac)) Name(mac, i);
    }
  }

  void Name(const Mac& mac, uint32_t i) {
    const auto [at, inserted] = byMac_.emplace(Key(mac), i);
    if (!inserted && at->second != i) Refuse("MAC " + mac.ToString() + " belongs to two devices");
  }

  uint32_t Resolve(const ScanLink& link, const Mac& end) const {
    const auto at = byMac_.find(Key(end));
    if (at == byMac_.end()) Refuse("link " + link.ToString() + " names " + end.ToString() + ", which no device has");
    return at->second;
  }

  void AddLink(const ScanLink& link) {
    const uint32_t a = Resolve(link, link.GetA());
    const uint32_t b = Resolve(link, link.GetB());
    if (a == b) Refuse("link " + link.ToString() + " joins a device to itself");
    edges_.push_back({LinkCost(link), std::min(a, b), std::max(a, b), static_cast<uint8_t>(link.GetMedium())});
  }

  std::vector<const ScanDevice*> devices_;
  std::unordered_map<uint64_t, uint32_t> byMac_;
  std::vector<WeightedEdge> edges_;
};

}  // namespace

Topology TopologyBuilder::Build(const ScanResult& scan) {
  const Graph graph(scan);
  const uint32_t root = graph.Root();
  const std::vector<TreeVertex> tree = SpanningTree(Adjacency(graph.Size(), graph.Edges()), graph.Edges(), root);
  std::map<Mac, TopologyNode> nodes;
  std::vector<Mac> unreachable;
  for (uint32_t v = 0; v < graph.Size(); ++v) {
    const TreeVertex& t = tree[v];
    if (!t.reached) {
      unreachable.push_back(graph.MacAt(v));
      continue;
    }
    TopologyNode node;
    if (t.edge != TreeVertex::kNoEdge) {
      const WeightedEdge& e = graph.Edges()[t.edge];
      node.parent = graph.MacAt(e.low == v ? e.high : e.low);
      node.medium = static_cast<LINK_MEDIUM>(e.medium);
      node.uplinkCost = e.cost;
    }
    node.hops = t.hops;
    node.pathCost = t.pathCost;
    // Indexes run in MAC order, so every insertion goes to the end.
    nodes.emplace_hint(nodes.end(), graph.MacAt(v), node);
  }
  return Topology(graph.MacAt(root), std::move(nodes), std::move(unreachable));
}

}  // namespace ORVA::MESH::SDK::Scan
