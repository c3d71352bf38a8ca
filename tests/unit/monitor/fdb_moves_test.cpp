#include <gtest/gtest.h>

#include "monitor/fdb_moves.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Monitor;
using namespace std::chrono_literals;

// "" for no move, else "move 1->2" or "loop 1->2".
std::string Text(const std::optional<FdbMove>& move) {
  if (!move) return "";
  return std::string(move->possibleLoop ? "loop " : "move ") + std::to_string(move->fromPort) + "->" +
         std::to_string(move->toPort);
}

TEST(FdbMoves, TellsAMovedDeviceFromALoop) {
  struct Step { int atMs; uint32_t port; const char* expected; };
  struct Case { const char* name; std::vector<Step> steps; } cases[] = {
      {"learned once", {{0, 1, ""}, {5000, 1, ""}}},
      {"unplugged and moved", {{0, 1, ""}, {5000, 2, "move 1->2"}}},
      {"going round", {{0, 1, ""}, {100, 2, "loop 1->2"}, {200, 1, "loop 2->1"}}},
  };
  const auto start = FdbMoves::Clock::now();
  const Mac mac("02:00:00:00:00:07");
  for (const auto& c : cases) {
    FdbMoves moves(1000ms);
    for (const auto& step : c.steps) {
      EXPECT_EQ(Text(moves.Learned(mac, step.port, start + std::chrono::milliseconds(step.atMs))), step.expected)
          << c.name << " at " << step.atMs;
    }
  }
}

TEST(FdbMoves, ForgetsEntriesWithTheirPort) {
  FdbMoves moves(1000ms);
  const auto now = FdbMoves::Clock::now();
  moves.Learned(Mac("02:00:00:00:00:01"), 1, now);
  moves.Learned(Mac("02:00:00:00:00:02"), 2, now);
  moves.Learned(Mac("02:00:00:00:00:03"), 2, now);
  moves.Forgotten(Mac("02:00:00:00:00:01"), 9);  // not where it was learned: kept
  moves.PortLeft(2);
  EXPECT_EQ(moves.Entries(), (std::map<Mac, uint32_t>{{Mac("02:00:00:00:00:01"), 1}}));
  moves.Forgotten(Mac("02:00:00:00:00:01"), 1);
  EXPECT_TRUE(moves.Entries().empty());
  // Unplugged (flushed) and plugged in elsewhere: still a move.
  EXPECT_EQ(Text(moves.Learned(Mac("02:00:00:00:00:01"), 3, now + std::chrono::seconds(10))), "move 1->3");
}

}  // namespace
