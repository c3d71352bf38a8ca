#pragma once
// The daemon's refusal codes as they travel on the bus (the `code` of a GError in the mesh
// error domain), their names and the casts to and from the client's ERROR_CODE. The bus enum
// has no "unknown" member, so bus number n >= 1 is client number n + 1; the client's
// UNKNOWN_ERROR can never be sent.
//
// Unknown values are a programming error on the way out (InvalidEnumException) and a data
// error on the way in (MalformedEnumException). ToSemanticString never throws because log
// lines use it.
#include <cstdint>
#include <map>
#include <string>

#include "orvamesh/client/error_code.h"
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Dbus {

enum class MESH_GDBUS_ERROR_CODE : uint16_t {
  NONE = 0,
  INTERNAL_ERROR = 1,
  SETUP_IN_PROGRESS = 2,
  REMOVAL_IN_PROGRESS = 3,
  SCANNING_IN_PROGRESS = 4,
  UPGRADE_IN_PROGRESS = 5,
  CURRENTLY_UNAVAILABLE = 6,
  NODE_NOT_EXIST = 7,
  NODE_ALREADY_EXIST = 8,
  SETUP_REJECT_PLATFORM_INCOMPATIBLE = 9,
  SETUP_REJECT_CAP_NEED_UPGRADE = 10,
};

ORVA_EXPORT std::string ToNumericalString(MESH_GDBUS_ERROR_CODE code);
// "None", "InternalError", ...; "UndefinedEnum" for a value without a name.
ORVA_EXPORT const char* ToSemanticString(MESH_GDBUS_ERROR_CODE code);
// A copy of the name table, in ascending number.
ORVA_EXPORT std::map<MESH_GDBUS_ERROR_CODE, const char*> GetMeshGDBusErrorCodeMap();

ORVA_EXPORT uint16_t MarshalToNumerical(MESH_GDBUS_ERROR_CODE code);
ORVA_EXPORT MESH_GDBUS_ERROR_CODE UnmarshalFromNumerical(uint16_t number);

ORVA_EXPORT Client::ERROR_CODE ToClientErrorCode(MESH_GDBUS_ERROR_CODE code);
ORVA_EXPORT MESH_GDBUS_ERROR_CODE FromClientErrorCode(Client::ERROR_CODE code);

}  // namespace ORVA::MESH::SDK::Dbus
