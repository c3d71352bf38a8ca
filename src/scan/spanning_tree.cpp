#include "scan/spanning_tree.h"

#include <limits>
#include <queue>

namespace ORVA::MESH::SDK::Scan {
namespace {

bool Better(const WeightedEdge& a, const WeightedEdge& b) {
  if (a.cost != b.cost) return a.cost < b.cost;
  if (a.low != b.low) return a.low < b.low;
  if (a.high != b.high) return a.high < b.high;
  return a.medium < b.medium;
}

struct Candidate {
  double cost;
  uint32_t edge;
  uint32_t vertex;
};

}  // namespace

Adjacency::Adjacency(uint32_t n, const std::vector<WeightedEdge>& edges) : start(n + 1, 0), arcs(2 * edges.size()) {
  for (const auto& e : edges) {
    ++start[e.low + 1];
    ++start[e.high + 1];
  }
  for (uint32_t i = 1; i <= n; ++i) start[i] += start[i - 1];
  std::vector<uint32_t> next(start.begin(), start.end() - 1);
  for (uint32_t e = 0; e < edges.size(); ++e) {
    arcs[next[edges[e].low]++] = {edges[e].cost, edges[e].high, e};
    arcs[next[edges[e].high]++] = {edges[e].cost, edges[e].low, e};
  }
}

std::vector<TreeVertex> SpanningTree(const Adjacency& graph, const std::vector<WeightedEdge>& edges, uint32_t root) {
  const uint32_t n = static_cast<uint32_t>(graph.start.size() - 1);
  std::vector<TreeVertex> tree(n);
  // Each outside vertex's best edge into the tree so far; a candidate enters the queue only when
  // it improves on that, which keeps the queue near the number of vertices. A vertex in the tree
  // has a best cost of minus infinity, so one comparison skips it and every worse edge.
  std::vector<uint32_t> best(n, TreeVertex::kNoEdge);
  std::vector<double> bestCost(n, std::numeric_limits<double>::infinity());
  auto worse = [&edges](const Candidate& a, const Candidate& b) {
    return a.cost != b.cost ? a.cost > b.cost : Better(edges[b.edge], edges[a.edge]);
  };
  std::vector<Candidate> storage;
  storage.reserve(n);
  std::priority_queue<Candidate, std::vector<Candidate>, decltype(worse)> queue(worse, std::move(storage));
  auto visit = [&](uint32_t v) {
    tree[v].reached = true;
    bestCost[v] = -std::numeric_limits<double>::infinity();
    for (uint32_t k = graph.start[v]; k < graph.start[v + 1]; ++k) {
      const Arc& arc = graph.arcs[k];
      const double current = bestCost[arc.other];
      if (arc.cost > current) continue;
      if (arc.cost == current && !Better(edges[arc.edge], edges[best[arc.other]])) continue;
      best[arc.other] = arc.edge;
      bestCost[arc.other] = arc.cost;
      queue.push({arc.cost, arc.edge, arc.other});
    }
  };
  visit(root);
  while (!queue.empty()) {
    const Candidate c = queue.top();
    queue.pop();
    if (tree[c.vertex].reached) continue;
    const WeightedEdge& e = edges[c.edge];
    const TreeVertex& parent = tree[e.low == c.vertex ? e.high : e.low];
    tree[c.vertex].edge = c.edge;
    tree[c.vertex].hops = parent.hops + 1;
    tree[c.vertex].pathCost = parent.pathCost + e.cost;
    visit(c.vertex);
  }
  return tree;
}

}  // namespace ORVA::MESH::SDK::Scan
