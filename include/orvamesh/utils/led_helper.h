#pragma once
// Drives the node's front LEDs: mode, schedule and blinking through the local web API, the
// sequential "network set-up in progress" blink through the platform's LED tool, and the list
// of mesh backhaul interfaces for the LED driver. Stateless; every operation returns 0 on
// success and -1 on failure with one log line, and never throws.
#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/utils/led_mode.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT LedHelper {
 public:
  static int GetLedConfig(LED_MODE& mode, std::string& schedule);
  // A mode without a text form is refused before anything is called.
  static int SetLedConfig(const LED_MODE& mode, const std::string& schedule);
  static int SetLedBlinking(bool on);
  static int SetLedSequentialBlinking(bool on);
  // Writes the names, comma-separated, then one NUL byte, to the driver's backhaul file.
  static int SetMeshBackhaulInterfaces(std::vector<std::string> ifnames);

  // The web API calls behind the operations above; outputs are untouched on failure.
  static int ExecLedGetWebapi(std::string& modeText, std::string& schedule);
  static int ExecLedSetWebapi(const std::string& modeText, const std::string& schedule);
  static int ExecLedBlinkStartWebapi();
  static int ExecLedBlinkStopWebapi();
  // "/usr/orva/bin/orvaledcontrol" with "--network-setting" or "--network-setting-end",
  // then "processing"; a non-zero exit is a failure.
  static int ExecLedSeqBlinkStartTool();
  static int ExecLedSeqBlinkStopTool();
};

}  // namespace ORVA::MESH::SDK
