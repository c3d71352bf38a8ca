#include "orvamesh/scan/topology.h"

#include <sstream>

namespace ORVA::MESH::SDK::Scan {
namespace {

std::string Quoted(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + "\"";
}

}  // namespace

Topology::Topology(const Mac& root, std::map<Mac, TopologyNode> nodes, std::vector<Mac> unreachable)
    : root_(root), nodes_(std::move(nodes)), unreachable_(std::move(unreachable)) {}

double Topology::TotalCost() const {
  double total = 0;
  for (const auto& [mac, node] : nodes_) total += node.uplinkCost;
  return total;
}

std::map<std::string, std::map<Mac, Mac>> Topology::ToMeshTopologyMap() const {
  std::map<std::string, std::map<Mac, Mac>> out;
  for (const auto& [mac, node] : nodes_) {
    if (!(mac == root_)) out[LinkMediumToString(node.medium)][mac] = node.parent;
  }
  return out;
}

Json::Value Topology::ToJson() const {
  Json::Value out(Json::objectValue);
  out["root"] = root_.ToString();
  Json::Value& nodes = out["nodes"] = Json::Value(Json::objectValue);
  for (const auto& [mac, node] : nodes_) {
    Json::Value entry(Json::objectValue);
    const bool isRoot = mac == root_;
    entry["parent"] = isRoot ? Json::Value() : Json::Value(node.parent.ToString());
    entry["medium"] = isRoot ? Json::Value() : Json::Value(LinkMediumToString(node.medium));
    entry["hops"] = node.hops;
    entry["path_cost"] = node.pathCost;
    nodes[mac.ToString()] = entry;
  }
  Json::Value& unreachable = out["unreachable"] = Json::Value(Json::arrayValue);
  for (const auto& mac : unreachable_) unreachable.append(mac.ToString());
  return out;
}

std::string Topology::ToDot() const {
  std::ostringstream out;
  out << "digraph mesh {\n  node [shape=box, style=rounded];\n";
  for (const auto& [mac, node] : nodes_) {
    out << "  " << Quoted(mac.ToString()) << (mac == root_ ? " [penwidth=2]" : "") << ";\n";
  }
  for (const auto& mac : unreachable_) out << "  " << Quoted(mac.ToString()) << " [style=\"rounded,dashed\"];\n";
  for (const auto& [mac, node] : nodes_) {
    if (mac == root_) continue;
    out << "  " << Quoted(node.parent.ToString()) << " -> " << Quoted(mac.ToString()) << " [label="
        << Quoted(LinkMediumToString(node.medium)) << "];\n";
  }
  out << "}\n";
  return out.str();
}

}  // namespace ORVA::MESH::SDK::Scan
