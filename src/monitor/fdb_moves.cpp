#include "monitor/fdb_moves.h"

namespace ORVA::MESH::SDK::Monitor {

std::optional<FdbMove> FdbMoves::Learned(const Mac& mac, uint32_t port, Clock::time_point now) {
  const auto at = seen_.find(mac);
  if (at == seen_.end()) {
    seen_.emplace(mac, Seen{port, now, std::nullopt});
    return std::nullopt;
  }
  Seen& seen = at->second;
  if (seen.port == port) return std::nullopt;
  // Two moves within the window, or a move right after it was learned: it is going round.
  const bool quick = now - seen.since <= loopWindow_ || (seen.lastMove && now - *seen.lastMove <= loopWindow_);
  const FdbMove move{mac, seen.port, port, quick};
  seen = Seen{port, now, now};
  return move;
}

void FdbMoves::Forgotten(const Mac& mac, uint32_t port) {
  const auto at = seen_.find(mac);
  if (at != seen_.end() && at->second.port == port) seen_.erase(at);
}

void FdbMoves::PortLeft(uint32_t port) {
  for (auto it = seen_.begin(); it != seen_.end();) {
    it = it->second.port == port ? seen_.erase(it) : std::next(it);
  }
}

std::map<Mac, uint32_t> FdbMoves::Entries() const {
  std::map<Mac, uint32_t> out;
  for (const auto& [mac, seen] : seen_) out[mac] = seen.port;
  return out;
}

}  // namespace ORVA::MESH::SDK::Monitor
