#pragma once
// May two hardware models, named by their model unique strings, form one mesh? The rule is
// deliberately one-sided; callers pass the two uniques in the order their check expects. The
// first of these steps that applies decides:
//   1. either unique empty: Exception::InvalidArgumentException "Empty unique as argument"
//      (the first one is checked first);
//   2. the same unique twice: compatible, known model or not;
//   3. second is "velanto_platb_hm2000": compatible, whatever the first;
//   4. "velanto_platc_hr3000" then "velanto_platd_hw4000": compatible;
//   5. "velanto_platc_hr3000" then "velanto_ipq806x_hr1000": compatible;
//   6. "velanto_platd_hw4000" then "velanto_ipq806x_hr1000": compatible;
//   7. anything else: not compatible.
#include <string>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Compatibility {

class ORVA_EXPORT ModelCompatibility {
 public:
  static bool IsCompatible(const std::string& firstUnique, const std::string& secondUnique);
};

}  // namespace ORVA::MESH::SDK::Compatibility
