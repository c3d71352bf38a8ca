#pragma once
// The result of every mesh client operation. NONE means the daemon did what was asked; every
// other value is a refusal by the daemon (faults are exceptions, never codes).
#include <cstdint>
#include <string>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Client {

enum class ERROR_CODE : uint16_t {
  NONE = 0,
  UNKNOWN_ERROR = 1,
  SERVER_INTERNAL_ERROR = 2,
  SETUP_IN_PROGRESS = 3,
  REMOVAL_IN_PROGRESS = 4,
  SCANNING_IN_PROGRESS = 5,
  UPGRADE_IN_PROGRESS = 6,
  CURRENTLY_UNAVAILABLE = 7,
  NODE_NOT_EXIST = 8,
  NODE_ALREADY_EXIST = 9,
  SETUP_REJECT_PLATFORM_INCOMPATIBLE = 10,
  SETUP_REJECT_CAP_NEED_UPGRADE = 11,
};

// The decimal raw value; works for any value.
ORVA_EXPORT std::string ErrorCodeToNumericalString(ERROR_CODE code);
// "NONE", "UNKNOWN_ERROR", ...; throws InvalidEnumException for a value without a name.
ORVA_EXPORT const char* ErrorCodeToSemanticString(ERROR_CODE code);

}  // namespace ORVA::MESH::SDK::Client
