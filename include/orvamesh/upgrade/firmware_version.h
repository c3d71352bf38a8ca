#pragma once
// What firmware a node runs or a feed offers.
#include <cstdint>
#include <string>
#include "orvamesh/compatibility/version_compatibility.h"
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Upgrade {

struct ORVA_EXPORT FirmwareVersion {
  std::string osName;
  std::string version;  // as people read it, "5.3.0"
  uint32_t build = 0;
  uint8_t update = 0;

  // The number the compatibility rules compare: the build, then the update, so that an update
  // of a build is newer than the build and older than the next one.
  Compatibility::VersionInfo ToVersionInfo() const;
  // "OrvaOS 5.3.0 (build 75000, update 1)"
  std::string ToString() const;
};

// The node a feed is asked for, and whose running firmware decides what is offered.
struct ORVA_EXPORT NodeIdentity {
  std::string modelUnique;
  std::string serial;
  FirmwareVersion running;
};

}  // namespace ORVA::MESH::SDK::Upgrade
