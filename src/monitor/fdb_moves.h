#pragma once
// Where the bridge learned each MAC, and whether a MAC moved between ports. A MAC that comes
// back on another port within the loop window is the mark of a loop (a frame going round and
// being learned on every port it enters), not of a device that was unplugged and moved.
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include "orvamesh/mac.h"

namespace ORVA::MESH::SDK::Monitor {

struct FdbMove {
  Mac mac;
  uint32_t fromPort;
  uint32_t toPort;
  bool possibleLoop;
};

class FdbMoves {
 public:
  using Clock = std::chrono::steady_clock;

  explicit FdbMoves(std::chrono::milliseconds loopWindow) : loopWindow_(loopWindow) {}

  // An entry learned (or refreshed) on a port; the move, when it came from another one.
  std::optional<FdbMove> Learned(const Mac& mac, uint32_t port, Clock::time_point now);
  void Forgotten(const Mac& mac, uint32_t port);
  // Entries of a port that left the bridge are gone with it.
  void PortLeft(uint32_t port);
  std::map<Mac, uint32_t> Entries() const;

 private:
  struct Seen {
    uint32_t port;
    Clock::time_point since;
    std::optional<Clock::time_point> lastMove;
  };
  std::chrono::milliseconds loopWindow_;
  std::map<Mac, Seen> seen_;
};

}  // namespace ORVA::MESH::SDK::Monitor
