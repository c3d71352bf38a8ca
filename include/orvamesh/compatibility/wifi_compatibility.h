#pragma once
// Is a remote node's Wi-Fi region compatible with the local one? The remote node is named by
// its model unique string and reports a country-code capability string; the comparison with
// the local country is the Wi-Fi client service's (see orvamesh/platform/wifi_client.h for the
// capability format and the local region file). Never throws: an unknown remote model, an
// empty capability or a service failure is logged and answers false.
#include <string>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Compatibility {

class ORVA_EXPORT WifiCompatibility {
 public:
  static bool IsRegionCompatibleWithLocal(const std::string& remoteCountryCodeCapability,
                                          const std::string& remoteUnique) noexcept;
};

}  // namespace ORVA::MESH::SDK::Compatibility
