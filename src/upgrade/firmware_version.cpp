#include "orvamesh/upgrade/firmware_version.h"

namespace ORVA::MESH::SDK::Upgrade {

Compatibility::VersionInfo FirmwareVersion::ToVersionInfo() const {
  // Builds fit in 24 bits for as long as the numbering scheme has existed; the update fills
  // the low byte.
  return Compatibility::VersionInfo((build << 8) | update, version);
}

std::string FirmwareVersion::ToString() const {
  return osName + " " + version + " (build " + std::to_string(build) + ", update " + std::to_string(update) + ")";
}

}  // namespace ORVA::MESH::SDK::Upgrade
