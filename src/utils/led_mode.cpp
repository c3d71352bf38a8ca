#include "orvamesh/utils/led_mode.h"

namespace ORVA::MESH::SDK {

std::string ledModeToString(LED_MODE mode) {
  switch (mode) {
    case LED_MODE::SCHEDULE:
      return "schedule";
    case LED_MODE::SLEEP:
      return "sleep";
    case LED_MODE::NORMAL:
      return "normal";
    default:
      return "";
  }
}

LED_MODE stringToLedMode(const std::string& text) {
  if (text == "schedule") return LED_MODE::SCHEDULE;
  if (text == "sleep") return LED_MODE::SLEEP;
  if (text == "normal") return LED_MODE::NORMAL;
  return LED_MODE::UNKNOWN;
}

}  // namespace ORVA::MESH::SDK
