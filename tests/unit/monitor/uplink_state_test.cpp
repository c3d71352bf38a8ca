#include <gtest/gtest.h>

#include "orvamesh/monitor/uplink_state.h"

namespace {

using namespace ORVA::MESH::SDK::Monitor;
using S = UPLINK_STATE;

// One letter per event: C carrier up, c carrier lost, a answered ping, m missed ping. The
// expected text lists every state the machine moved to, in order.
std::string Feed(UplinkState& machine, const std::string& events) {
  std::string moves;
  for (char e : events) {
    std::optional<UplinkChange> change = e == 'C'   ? machine.Carrier(true)
                                         : e == 'c' ? machine.Carrier(false)
                                         : e == 'a' ? machine.PingAnswered()
                                                    : machine.PingMissed();
    if (change) {
      EXPECT_NE(change->from, change->to);
      EXPECT_FALSE(change->reason.empty());
      moves += std::string(moves.empty() ? "" : " ") + UplinkStateToString(change->to);
    }
  }
  return moves;
}

TEST(UplinkState, MovesWithHysteresis) {
  struct Case { unsigned n, m; std::string events, moves; } cases[] = {
      {3, 2, "Cama", "DEGRADED"},                            // answers must be consecutive
      {3, 2, "Caamm", "DEGRADED UP"},                        // two misses are not three
      {3, 2, "Caammammm", "DEGRADED UP DEGRADED"},           // an answer resets the misses
      {3, 2, "Caac", "DEGRADED UP DOWN"},                    // carrier loss is immediate
      {3, 2, "cmaaa", ""},                                   // pings without carrier prove nothing
      {0, 0, "Cam", "DEGRADED UP DEGRADED"},                 // zero is taken as one
      {3, 2, "CC", "DEGRADED"},
  };
  for (const auto& c : cases) {
    UplinkState machine(c.n, c.m);
    EXPECT_EQ(Feed(machine, c.events), c.moves) << c.events << " N=" << c.n << " M=" << c.m;
  }
}

}  // namespace
