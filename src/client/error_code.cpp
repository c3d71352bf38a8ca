#include "orvamesh/client/error_code.h"

#include <map>

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Client {

namespace {
const std::map<ERROR_CODE, const char*>& SemanticTable() {
  static const std::map<ERROR_CODE, const char*> table = {
      {ERROR_CODE::NONE, "NONE"},
      {ERROR_CODE::UNKNOWN_ERROR, "UNKNOWN_ERROR"},
      {ERROR_CODE::SERVER_INTERNAL_ERROR, "SERVER_INTERNAL_ERROR"},
      {ERROR_CODE::SETUP_IN_PROGRESS, "SETUP_IN_PROGRESS"},
      {ERROR_CODE::REMOVAL_IN_PROGRESS, "REMOVAL_IN_PROGRESS"},
      {ERROR_CODE::SCANNING_IN_PROGRESS, "SCANNING_IN_PROGRESS"},
      {ERROR_CODE::UPGRADE_IN_PROGRESS, "UPGRADE_IN_PROGRESS"},
      {ERROR_CODE::CURRENTLY_UNAVAILABLE, "CURRENTLY_UNAVAILABLE"},
      {ERROR_CODE::NODE_NOT_EXIST, "NODE_NOT_EXIST"},
      {ERROR_CODE::NODE_ALREADY_EXIST, "NODE_ALREADY_EXIST"},
      {ERROR_CODE::SETUP_REJECT_PLATFORM_INCOMPATIBLE, "SETUP_REJECT_PLATFORM_INCOMPATIBLE"},
      {ERROR_CODE::SETUP_REJECT_CAP_NEED_UPGRADE, "SETUP_REJECT_CAP_NEED_UPGRADE"},
  };
  return table;
}
// Filled during static initialisation, read-only afterwards.
[[maybe_unused]] const auto& kTableReady = SemanticTable();
}  // namespace

std::string ErrorCodeToNumericalString(ERROR_CODE code) {
  return std::to_string(static_cast<uint16_t>(code));
}

const char* ErrorCodeToSemanticString(ERROR_CODE code) {
  const auto& table = SemanticTable();
  auto it = table.find(code);
  if (it == table.end()) {
    ORVA_THROW(Exception::InvalidEnumException,
               "Invalid error code passed, raw value: " + ErrorCodeToNumericalString(code));
  }
  return it->second;
}

}  // namespace ORVA::MESH::SDK::Client
