#pragma once
// The uplink's state as the monitor judges it from the port's carrier and the gateway's
// answers, with hysteresis so that one lost ping does not flap the mesh's routing.
//
//   any state --carrier lost-------------------------> DOWN
//   DOWN      --carrier back-------------------------> DEGRADED
//   UP        --N consecutive unanswered pings-------> DEGRADED
//   DEGRADED  --M consecutive answered pings---------> UP
#include <cstdint>
#include <optional>
#include <string>
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Monitor {

enum class UPLINK_STATE : uint8_t { DOWN = 0, DEGRADED = 1, UP = 2 };

ORVA_EXPORT const char* UplinkStateToString(UPLINK_STATE state);

struct ORVA_EXPORT UplinkChange {
  UPLINK_STATE from;
  UPLINK_STATE to;
  std::string reason;
};

class ORVA_EXPORT UplinkState {
 public:
  // missesToLeaveUp (N) and answersToReturn (M) are at least 1.
  UplinkState(unsigned missesToLeaveUp, unsigned answersToReturn);

  UPLINK_STATE Get() const noexcept { return state_; }
  // Each returns the change it caused, if any.
  std::optional<UplinkChange> Carrier(bool present);
  std::optional<UplinkChange> PingAnswered();
  std::optional<UplinkChange> PingMissed();

 private:
  std::optional<UplinkChange> MoveTo(UPLINK_STATE to, std::string reason);

  unsigned missesToLeaveUp_;
  unsigned answersToReturn_;
  UPLINK_STATE state_ = UPLINK_STATE::DOWN;
  bool carrier_ = false;
  unsigned misses_ = 0;
  unsigned answers_ = 0;
};

}  // namespace ORVA::MESH::SDK::Monitor
