#pragma once
// A node's LED configuration as the web API and the configuration files carry it in JSON:
// {"blinking": bool, "mode": integer, "schedule": text}. The same record crosses the D-Bus
// interface as Client::LedConfig.
#include <json/value.h>

#include <string>

#include "orvamesh/export.h"
#include "orvamesh/utils/led_mode.h"

namespace ORVA::MESH::SDK {

struct ORVA_EXPORT LedConfig {
  bool blinking = false;
  LED_MODE mode = LED_MODE::NORMAL;
  // Empty, or 168 characters: one per hour of the week. Only the length is checked here.
  std::string schedule;

  // Replaces `out` with the record's JSON object. Always 0.
  int Serialize(Json::Value& out) const;
  // Reads every key (a missing "mode" reads as LED_MODE::UNKNOWN and is refused), then
  // validates. 0, or -1 with one error line; fields read before a failed check keep their new
  // values. Never throws, also not on values of the wrong JSON type.
  int Deserialize(const Json::Value& in);

  bool operator==(const LedConfig& other) const {
    return blinking == other.blinking && mode == other.mode && schedule == other.schedule;
  }
  bool operator!=(const LedConfig& other) const { return !(*this == other); }
};

namespace Client {
using LedConfig = ::ORVA::MESH::SDK::LedConfig;
}  // namespace Client

}  // namespace ORVA::MESH::SDK
