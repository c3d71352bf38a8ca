#include "orvamesh/utils/model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/thrown_text.h"

namespace {

namespace Model = ORVA::MESH::SDK::Model;

struct Row {
  uint32_t value;
  const char* name;
  const char* unique;
  bool dualBand;
};
const Row kModels[] = {
    {0, "HR1000", "velanto_ipq806x_hr1000", true},
    {1, "HM2000", "velanto_platb_hm2000", false},
    {2, "HR3000", "velanto_platc_hr3000", false},
    {3, "HW4000", "velanto_platd_hw4000", true},
};

TEST(Model, EveryRowConvertsEveryWay) {
  for (const Row& row : kModels) {
    const auto model = static_cast<Model::ModelName>(row.value);
    EXPECT_EQ(Model::ModelNameEnumToModelName(model), row.name);
    EXPECT_EQ(Model::ModelNameEnumToModelUnique(model), row.unique);
    EXPECT_EQ(Model::ModelUniqueToModelName(row.unique), row.name);
    EXPECT_EQ(Model::ModelNameEnumToWifiModelEnum(model), row.value);
    EXPECT_EQ(Model::ModelUniqueToWifiModelEnum(row.unique), row.value);
    EXPECT_EQ(Model::IsDualBandModel(model), row.dualBand) << row.name;
    EXPECT_EQ(Model::IsDualBandModel(std::string(row.unique)), row.dualBand) << row.unique;
  }
}

TEST(Model, UnknownValuesGiveEmptyAnswersWithoutThrowing) {
  for (uint32_t value : {4u, 5u, 0xffffffffu}) {
    const auto model = static_cast<Model::ModelName>(value);
    EXPECT_EQ(Model::ModelNameEnumToModelName(model), "");
    EXPECT_EQ(Model::ModelNameEnumToModelUnique(model), "");
    EXPECT_FALSE(Model::IsDualBandModel(model));
  }
  for (const char* unique : {"", "VELANTO_PLATC_HR3000", "velanto_platc_hr3000 ", "HR3000", "velanto"}) {
    EXPECT_EQ(Model::ModelUniqueToModelName(unique), "") << unique;
    EXPECT_FALSE(Model::IsDualBandModel(std::string(unique))) << unique;
  }
}

TEST(Model, WifiModelConversionsThrowForUnknownModels) {
  using Thrown = Model::ModelNotRecognizedException;
  EXPECT_THAT(orva::test::ThrownText<Thrown>([] { Model::ModelNameEnumToWifiModelEnum(Model::ModelName(4)); }),
              testing::HasSubstr("Failed to convert model name enum to wifi model enum: [4]"));
  EXPECT_THAT(orva::test::ThrownText<Thrown>([] { Model::ModelUniqueToWifiModelEnum("velanto_platz_hx9000"); }),
              testing::HasSubstr("Failed to convert model unique to wifi model enum: [velanto_platz_hx9000]"));
}

}  // namespace
