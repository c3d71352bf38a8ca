#pragma once
// The front-LED modes of a node and their text forms, shared by the LED settings records and
// the LED helper. On the web API the mode travels as its text; in JSON records as its number.
#include <cstdint>
#include <string>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK {

// Any 32-bit value may be stored (records keep what they were given); only the first three
// have a text form. UNKNOWN is what a failed conversion yields.
enum class LED_MODE : int32_t {
  SCHEDULE = 0,
  SLEEP = 1,
  NORMAL = 2,
  UNKNOWN = 3,
};

// "schedule", "sleep", "normal"; the empty string for every other value.
ORVA_EXPORT std::string ledModeToString(LED_MODE mode);
// The exact (case-sensitive) inverse; LED_MODE::UNKNOWN for any other text.
ORVA_EXPORT LED_MODE stringToLedMode(const std::string& text);

}  // namespace ORVA::MESH::SDK
