#pragma once
// Is one firmware version new enough for another? Only the numeric version is compared.
#include <cstdint>
#include <string>
#include <utility>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Compatibility {

struct ORVA_EXPORT VersionInfo {
  // The firmware's version number; the only field the rule reads.
  uint32_t version = 0;
  // The version as people read it ("5.2.1"), carried along for messages.
  std::string name;

  VersionInfo() = default;
  explicit VersionInfo(uint32_t versionNumber, std::string versionName = std::string())
      : version(versionNumber), name(std::move(versionName)) {}
};

class ORVA_EXPORT VersionCompatibility {
 public:
  // True when a's version is at least b's.
  static bool IsCompatible(const VersionInfo& a, const VersionInfo& b);
};

}  // namespace ORVA::MESH::SDK::Compatibility
