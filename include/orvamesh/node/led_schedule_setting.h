#pragma once
// One node's LED mode and schedule in JSON: {"id": node id, "mode": integer, "schedule": text}.
#include <json/value.h>

#include <cstdint>
#include <string>

#include "orvamesh/export.h"
#include "orvamesh/utils/led_mode.h"

namespace ORVA::MESH::SDK {

struct ORVA_EXPORT LedScheduleSetting {
  // -1 means "no node" and is refused by Deserialize.
  int32_t id = -1;
  LED_MODE mode = LED_MODE::UNKNOWN;
  // Empty, or 168 characters; only the length is checked here.
  std::string schedule;

  // Replaces `out` with the record's JSON object. Always 0.
  int Serialize(Json::Value& out) const;
  // 0, or -1 with one error line: null input, no node id, a mode above NORMAL (negative modes
  // pass, as they always have), a schedule of the wrong length, a value of the wrong type.
  int Deserialize(const Json::Value& in);

  bool operator==(const LedScheduleSetting& other) const {
    return id == other.id && mode == other.mode && schedule == other.schedule;
  }
  bool operator!=(const LedScheduleSetting& other) const { return !(*this == other); }
};

}  // namespace ORVA::MESH::SDK
