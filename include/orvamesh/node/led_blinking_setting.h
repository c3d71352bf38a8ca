#pragma once
// One node's blinking switch in JSON: {"id": node id, "blinking": bool}.
#include <json/value.h>

#include <cstdint>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK {

struct ORVA_EXPORT LedBlinkingSetting {
  // -1 means "no node" and is refused by Deserialize.
  int32_t id = -1;
  bool blinking = false;

  // Replaces `out` with the record's JSON object. Always 0.
  int Serialize(Json::Value& out) const;
  // 0, or -1 with one error line (null input, no node id, a value of the wrong type).
  int Deserialize(const Json::Value& in);

  bool operator==(const LedBlinkingSetting& other) const {
    return id == other.id && blinking == other.blinking;
  }
  bool operator!=(const LedBlinkingSetting& other) const { return !(*this == other); }
};

}  // namespace ORVA::MESH::SDK
