#pragma once
// Prim's algorithm over vertices 0..n-1, with a strict total order on edges (cost, then the
// lower and the higher end, then the medium), so the minimum spanning tree is unique and every
// run finds the same one. Duplicate edges need no removal: the better of two always wins.
#include <cstdint>
#include <vector>

namespace ORVA::MESH::SDK::Scan {

struct WeightedEdge {
  double cost;
  uint32_t low;  // low < high
  uint32_t high;
  uint8_t medium;
};

struct TreeVertex {
  static constexpr uint32_t kNoEdge = UINT32_MAX;
  uint32_t edge = kNoEdge;  // index of the uplink edge; kNoEdge for the root and the unreached
  bool reached = false;
  unsigned hops = 0;
  double pathCost = 0;
};

// Compressed adjacency: the edges of vertex v are arcs[start[v] .. start[v+1]), each with its
// cost and far end inline so that relaxing a vertex reads one contiguous run.
struct Arc {
  double cost;
  uint32_t other;
  uint32_t edge;
};

struct Adjacency {
  std::vector<uint32_t> start;
  std::vector<Arc> arcs;
  Adjacency(uint32_t vertices, const std::vector<WeightedEdge>& edges);
};

std::vector<TreeVertex> SpanningTree(const Adjacency& graph, const std::vector<WeightedEdge>& edges, uint32_t root);

}  // namespace ORVA::MESH::SDK::Scan
