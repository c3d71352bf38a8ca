#include "orvamesh/compatibility/version_compatibility.h"

namespace ORVA::MESH::SDK::Compatibility {

bool VersionCompatibility::IsCompatible(const VersionInfo& a, const VersionInfo& b) {
  return a.version >= b.version;
}

}  // namespace ORVA::MESH::SDK::Compatibility
