#include "orvamesh/compatibility/wifi_compatibility.h"

#include <exception>

#include "orvamesh/platform/wifi_client.h"
#include "orvamesh/base/log.h"
#include "orvamesh/utils/model.h"

namespace ORVA::MESH::SDK::Compatibility {

bool WifiCompatibility::IsRegionCompatibleWithLocal(const std::string& remoteCountryCodeCapability,
                                                    const std::string& remoteUnique) noexcept {
  try {
    ORVA::Wifi::WIFI_MODEL remoteModel;
    try {
      remoteModel = Model::ModelUniqueToWifiModelEnum(remoteUnique);
    } catch (const Model::ModelNotRecognizedException&) {
      ORVA_LOG_ERR("Received unrecognized remote unique [%s], return false on Wifi compatibility",
                   remoteUnique.c_str());
      return false;
    }
    if (remoteCountryCodeCapability.empty()) {
      ORVA_LOG_ERR("Remote country code capability is empty for %s, this should not happened", remoteUnique.c_str());
      return false;
    }
    return ORVA::Wifi::WifiClientFactoryForMesh::GetInstance()->IsCountryCodeCompatible(remoteCountryCodeCapability,
                                                                                       remoteModel);
  } catch (const std::exception& e) {
    ORVA_LOG_ERR("Failed to check Wi-Fi region compatibility for %s: %s", remoteUnique.c_str(), e.what());
  } catch (...) {
    ORVA_LOG_ERR("Failed to check Wi-Fi region compatibility for %s", remoteUnique.c_str());
  }
  return false;
}

}  // namespace ORVA::MESH::SDK::Compatibility
