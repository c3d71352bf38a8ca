#pragma once
// The wireless library's router model numbers. They coincide with the SDK's model
// enumeration (0 to 3); radio layouts and region rules are keyed by them.
#include <cstdint>

namespace ORVA::Wifi {

enum WIFI_MODEL : uint32_t {
  WIFI_MODEL_HR1000 = 0,
  WIFI_MODEL_HM2000 = 1,
  WIFI_MODEL_HR3000 = 2,
  WIFI_MODEL_HW4000 = 3,
};

}  // namespace ORVA::Wifi
