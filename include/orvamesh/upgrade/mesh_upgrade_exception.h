#pragma once
// The upgrade subsystem's own failures. A firmware update either reaches a verified state or
// stops with one of these; none of them leaves a file that looks complete.
#include <exception>
#include <string>
#include "orvamesh/base/exception.h"
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Upgrade {

class ORVA_EXPORT MeshUpgradeException : public std::exception {
 public:
  MeshUpgradeException(const Exception::ExceptionLocation& location, const std::string& message);
  const char* what() const noexcept override { return what_.c_str(); }

 private:
  std::string what_;
};

#define ORVA_DECLARE_UPGRADE_EXCEPTION(Name)                                                  \
  class ORVA_EXPORT Name : public MeshUpgradeException {                                      \
   public:                                                                                    \
    using MeshUpgradeException::MeshUpgradeException;                                         \
  }

// The feed could not be fetched, was not signed by the pinned key, or could not be read.
ORVA_DECLARE_UPGRADE_EXCEPTION(FeedException);
// The image could not be fetched whole, was larger than announced, did not match its SHA-256,
// or would not fit on the disk.
ORVA_DECLARE_UPGRADE_EXCEPTION(DownloadException);
// A node could not be updated: the writer failed, the image did not arrive intact, or the node
// did not come back with the new version in time.
ORVA_DECLARE_UPGRADE_EXCEPTION(NodeUpdateException);
// The group-update file cannot be read or written.
ORVA_DECLARE_UPGRADE_EXCEPTION(GroupUpdateException);

#undef ORVA_DECLARE_UPGRADE_EXCEPTION

}  // namespace ORVA::MESH::SDK::Upgrade
