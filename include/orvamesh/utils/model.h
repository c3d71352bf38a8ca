#pragma once
// Translations between the three ways the system names a router model: the ModelName
// enumeration, the display name ("HR1000") and the model unique string a node reports about
// itself ("velanto_ipq806x_hr1000"), plus the dual-band property and the wireless library's
// model number.
//
//   value  name      unique string              dual-band
//   0      "HR1000"  "velanto_ipq806x_hr1000"   yes
//   1      "HM2000"  "velanto_platb_hm2000"     no
//   2      "HR3000"  "velanto_platc_hr3000"     no
//   3      "HW4000"  "velanto_platd_hw4000"     yes
//
// The string conversions never throw: an unknown value gives "" or false. Unique strings
// match exactly (case-sensitive). Only the two conversions to the wireless model number throw
// ModelNotRecognizedException (declared with the other exceptions), because a caller cannot go
// on with an unknown radio layout.
#include <cstdint>
#include <string>

#include "orvamesh/export.h"
#include "orvamesh/platform/wifi_model.h"
#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Model {

enum ModelName : uint32_t {
  HR1000 = 0,
  HM2000 = 1,
  HR3000 = 2,
  HW4000 = 3,
};

ORVA_EXPORT std::string ModelNameEnumToModelName(ModelName model);
ORVA_EXPORT std::string ModelNameEnumToModelUnique(ModelName model);
ORVA_EXPORT std::string ModelUniqueToModelName(const std::string& unique);

// Throw ModelNotRecognizedException "Failed to convert model name enum to wifi model enum:
// [<n>]" / "Failed to convert model unique to wifi model enum: [<unique>]".
ORVA_EXPORT ORVA::Wifi::WIFI_MODEL ModelNameEnumToWifiModelEnum(ModelName model);
ORVA_EXPORT ORVA::Wifi::WIFI_MODEL ModelUniqueToWifiModelEnum(const std::string& unique);

ORVA_EXPORT bool IsDualBandModel(ModelName model);
ORVA_EXPORT bool IsDualBandModel(const std::string& unique);

}  // namespace ORVA::MESH::SDK::Model
