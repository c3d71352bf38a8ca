#include "orvamesh/utils/model.h"

namespace ORVA::MESH::SDK::Model {
namespace {

struct Row {
  const char* name;
  const char* unique;
  bool dualBand;
};

// Indexed by ModelName.
constexpr Row kModels[] = {
    {"HR1000", "velanto_ipq806x_hr1000", true},
    {"HM2000", "velanto_platb_hm2000", false},
    {"HR3000", "velanto_platc_hr3000", false},
    {"HW4000", "velanto_platd_hw4000", true},
};
constexpr uint32_t kModelCount = sizeof kModels / sizeof kModels[0];

const Row* RowOf(ModelName model) { return model < kModelCount ? &kModels[model] : nullptr; }

const Row* RowOf(const std::string& unique, uint32_t& index) {
  for (index = 0; index < kModelCount; ++index) {
    if (unique == kModels[index].unique) return &kModels[index];
  }
  return nullptr;
}

}  // namespace

std::string ModelNameEnumToModelName(ModelName model) {
  const Row* row = RowOf(model);
  return row ? row->name : "";
}

std::string ModelNameEnumToModelUnique(ModelName model) {
  const Row* row = RowOf(model);
  return row ? row->unique : "";
}

std::string ModelUniqueToModelName(const std::string& unique) {
  uint32_t index;
  const Row* row = RowOf(unique, index);
  return row ? row->name : "";
}

ORVA::Wifi::WIFI_MODEL ModelNameEnumToWifiModelEnum(ModelName model) {
  if (RowOf(model) == nullptr) {
    ORVA_THROW(ModelNotRecognizedException,
               "Failed to convert model name enum to wifi model enum: [" + std::to_string(model) + "]");
  }
  return static_cast<ORVA::Wifi::WIFI_MODEL>(model);
}

ORVA::Wifi::WIFI_MODEL ModelUniqueToWifiModelEnum(const std::string& unique) {
  uint32_t index;
  if (RowOf(unique, index) == nullptr) {
    ORVA_THROW(ModelNotRecognizedException,
               "Failed to convert model unique to wifi model enum: [" + unique + "]");
  }
  return static_cast<ORVA::Wifi::WIFI_MODEL>(index);
}

bool IsDualBandModel(ModelName model) {
  const Row* row = RowOf(model);
  return row != nullptr && row->dualBand;
}

bool IsDualBandModel(const std::string& unique) {
  uint32_t index;
  const Row* row = RowOf(unique, index);
  return row != nullptr && row->dualBand;
}

}  // namespace ORVA::MESH::SDK::Model
