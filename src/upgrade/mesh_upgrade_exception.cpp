#include "orvamesh/upgrade/mesh_upgrade_exception.h"

namespace ORVA::MESH::SDK::Upgrade {

MeshUpgradeException::MeshUpgradeException(const Exception::ExceptionLocation& location, const std::string& message)
    : what_(location.ToString() + ": " + message) {}

}  // namespace ORVA::MESH::SDK::Upgrade
