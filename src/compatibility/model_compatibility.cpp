#include "orvamesh/compatibility/model_compatibility.h"

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Compatibility {
namespace {

const char* const kModel1 = "velanto_ipq806x_hr1000";
const char* const kModel2 = "velanto_platb_hm2000";
const char* const kModel3 = "velanto_platc_hr3000";
const char* const kModel4 = "velanto_platd_hw4000";

}  // namespace

bool ModelCompatibility::IsCompatible(const std::string& firstUnique, const std::string& secondUnique) {
  if (firstUnique.empty() || secondUnique.empty()) {
    ORVA_THROW(Exception::InvalidArgumentException, "Empty unique as argument");
  }
  if (firstUnique == secondUnique) return true;
  if (secondUnique == kModel2) return true;
  if (firstUnique == kModel3 && secondUnique == kModel4) return true;
  if (firstUnique == kModel3 && secondUnique == kModel1) return true;
  if (firstUnique == kModel4 && secondUnique == kModel1) return true;
  return false;
}

}  // namespace ORVA::MESH::SDK::Compatibility
