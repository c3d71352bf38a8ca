#include "orvamesh/monitor/uplink_state.h"

#include <algorithm>
#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Monitor {

const char* UplinkStateToString(UPLINK_STATE state) {
  switch (state) {
    case UPLINK_STATE::DOWN: return "DOWN";
    case UPLINK_STATE::DEGRADED: return "DEGRADED";
    case UPLINK_STATE::UP: return "UP";
  }
  ORVA_THROW(Exception::InvalidEnumException, "UPLINK_STATE has no value " + std::to_string(static_cast<int>(state)));
}

UplinkState::UplinkState(unsigned missesToLeaveUp, unsigned answersToReturn)
    : missesToLeaveUp_(std::max(1u, missesToLeaveUp)), answersToReturn_(std::max(1u, answersToReturn)) {}

std::optional<UplinkChange> UplinkState::MoveTo(UPLINK_STATE to, std::string reason) {
  misses_ = 0;
  answers_ = 0;
  if (to == state_) return std::nullopt;
  const UplinkChange change{state_, to, std::move(reason)};
  state_ = to;
  return change;
}

std::optional<UplinkChange> UplinkState::Carrier(bool present) {
  if (present == carrier_) return std::nullopt;
  carrier_ = present;
  return present ? MoveTo(UPLINK_STATE::DEGRADED, "carrier back, gateway not yet answering")
                 : MoveTo(UPLINK_STATE::DOWN, "carrier lost");
}

std::optional<UplinkChange> UplinkState::PingAnswered() {
  // Without carrier an answer can only be a stale one; it proves nothing about this port.
  if (!carrier_) return std::nullopt;
  misses_ = 0;
  if (state_ != UPLINK_STATE::DEGRADED || ++answers_ < answersToReturn_) return std::nullopt;
  return MoveTo(UPLINK_STATE::UP, "gateway answered " + std::to_string(answersToReturn_) + " pings in a row");
}

std::optional<UplinkChange> UplinkState::PingMissed() {
  if (!carrier_) return std::nullopt;
  answers_ = 0;
  if (state_ != UPLINK_STATE::UP || ++misses_ < missesToLeaveUp_) return std::nullopt;
  return MoveTo(UPLINK_STATE::DEGRADED, "gateway missed " + std::to_string(missesToLeaveUp_) + " pings in a row");
}

}  // namespace ORVA::MESH::SDK::Monitor
