#include "orvamesh/dbus/mesh_gdbus_error_code.h"

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Dbus {

namespace {
using Client::ERROR_CODE;
using Code = MESH_GDBUS_ERROR_CODE;

const std::map<Code, const char*>& SemanticTable() {
  static const std::map<Code, const char*> table = {
      {Code::NONE, "None"},
      {Code::INTERNAL_ERROR, "InternalError"},
      {Code::SETUP_IN_PROGRESS, "SetupInProgress"},
      {Code::REMOVAL_IN_PROGRESS, "RemovalInProgress"},
      {Code::SCANNING_IN_PROGRESS, "ScanningInProgress"},
      {Code::UPGRADE_IN_PROGRESS, "UpgradeInProgress"},
      {Code::CURRENTLY_UNAVAILABLE, "CurrentlyUnavailable"},
      {Code::NODE_NOT_EXIST, "NodeNotExist"},
      {Code::NODE_ALREADY_EXIST, "NodeAlreadyExist"},
      {Code::SETUP_REJECT_PLATFORM_INCOMPATIBLE, "SetupRejectPlatformIncompatible"},
      {Code::SETUP_REJECT_CAP_NEED_UPGRADE, "SetupRejectCAPNeedUpgrade"},
  };
  return table;
}

const std::map<Code, ERROR_CODE>& ToClientTable() {
  static const std::map<Code, ERROR_CODE> table = {
      {Code::NONE, ERROR_CODE::NONE},
      {Code::INTERNAL_ERROR, ERROR_CODE::SERVER_INTERNAL_ERROR},
      {Code::SETUP_IN_PROGRESS, ERROR_CODE::SETUP_IN_PROGRESS},
      {Code::REMOVAL_IN_PROGRESS, ERROR_CODE::REMOVAL_IN_PROGRESS},
      {Code::SCANNING_IN_PROGRESS, ERROR_CODE::SCANNING_IN_PROGRESS},
      {Code::UPGRADE_IN_PROGRESS, ERROR_CODE::UPGRADE_IN_PROGRESS},
      {Code::CURRENTLY_UNAVAILABLE, ERROR_CODE::CURRENTLY_UNAVAILABLE},
      {Code::NODE_NOT_EXIST, ERROR_CODE::NODE_NOT_EXIST},
      {Code::NODE_ALREADY_EXIST, ERROR_CODE::NODE_ALREADY_EXIST},
      {Code::SETUP_REJECT_PLATFORM_INCOMPATIBLE, ERROR_CODE::SETUP_REJECT_PLATFORM_INCOMPATIBLE},
      {Code::SETUP_REJECT_CAP_NEED_UPGRADE, ERROR_CODE::SETUP_REJECT_CAP_NEED_UPGRADE},
  };
  return table;
}

// UNKNOWN_ERROR is missing on purpose: a daemon may not send it.
const std::map<ERROR_CODE, Code>& FromClientTable() {
  static const std::map<ERROR_CODE, Code> table = {
      {ERROR_CODE::NONE, Code::NONE},
      {ERROR_CODE::SERVER_INTERNAL_ERROR, Code::INTERNAL_ERROR},
      {ERROR_CODE::SETUP_IN_PROGRESS, Code::SETUP_IN_PROGRESS},
      {ERROR_CODE::REMOVAL_IN_PROGRESS, Code::REMOVAL_IN_PROGRESS},
      {ERROR_CODE::SCANNING_IN_PROGRESS, Code::SCANNING_IN_PROGRESS},
      {ERROR_CODE::UPGRADE_IN_PROGRESS, Code::UPGRADE_IN_PROGRESS},
      {ERROR_CODE::CURRENTLY_UNAVAILABLE, Code::CURRENTLY_UNAVAILABLE},
      {ERROR_CODE::NODE_NOT_EXIST, Code::NODE_NOT_EXIST},
      {ERROR_CODE::NODE_ALREADY_EXIST, Code::NODE_ALREADY_EXIST},
      {ERROR_CODE::SETUP_REJECT_PLATFORM_INCOMPATIBLE, Code::SETUP_REJECT_PLATFORM_INCOMPATIBLE},
      {ERROR_CODE::SETUP_REJECT_CAP_NEED_UPGRADE, Code::SETUP_REJECT_CAP_NEED_UPGRADE},
  };
  return table;
}

// The tables are built during static initialisation and only read afterwards.
[[maybe_unused]] const bool kTablesReady =
    (SemanticTable(), ToClientTable(), FromClientTable(), true);

std::string Raw(uint16_t number) { return std::to_string(number); }
}  // namespace

std::string ToNumericalString(MESH_GDBUS_ERROR_CODE code) {
  return Raw(static_cast<uint16_t>(code));
}

const char* ToSemanticString(MESH_GDBUS_ERROR_CODE code) {
  const auto& table = SemanticTable();
  auto it = table.find(code);
  return it == table.end() ? "UndefinedEnum" : it->second;
}

std::map<MESH_GDBUS_ERROR_CODE, const char*> GetMeshGDBusErrorCodeMap() { return SemanticTable(); }

uint16_t MarshalToNumerical(MESH_GDBUS_ERROR_CODE code) {
  if (SemanticTable().count(code) == 0) {
    ORVA_THROW(Exception::InvalidEnumException,
               "Invalid MESH_GDBUS_ERROR_CODE enum passed, raw value: " + ToNumericalString(code));
  }
  return static_cast<uint16_t>(code);
}

MESH_GDBUS_ERROR_CODE UnmarshalFromNumerical(uint16_t number) {
  const auto code = static_cast<MESH_GDBUS_ERROR_CODE>(number);
  if (SemanticTable().count(code) == 0) {
    ORVA_THROW(Exception::MalformedEnumException,
               "Invalid numerical value passed for unmarshalling, raw value: " + Raw(number));
  }
  return code;
}

Client::ERROR_CODE ToClientErrorCode(MESH_GDBUS_ERROR_CODE code) {
  const auto& table = ToClientTable();
  auto it = table.find(code);
  if (it == table.end()) {
    ORVA_THROW(Exception::InvalidEnumException, "Invalid MESH_GDBUS_ERROR_CODE enum passed, raw value: " +
                                                    ToNumericalString(code) +
                                                    ", forgot to add the entry in the cast map?");
  }
  return it->second;
}

MESH_GDBUS_ERROR_CODE FromClientErrorCode(Client::ERROR_CODE code) {
  const auto& table = FromClientTable();
  auto it = table.find(code);
  if (it == table.end()) {
    ORVA_THROW(Exception::InvalidEnumException, "Invalid ERROR_CODE enum passed, raw value: " +
                                                    Client::ErrorCodeToNumericalString(code) +
                                                    ", forgot to add the entry in the cast map?");
  }
  return it->second;
}

}  // namespace ORVA::MESH::SDK::Dbus
