#pragma once
// One link between two devices of the mesh as a scan saw it, with what was measured on it.
#include <optional>
#include <string>
#include "orvamesh/export.h"
#include "orvamesh/mac.h"

namespace ORVA::MESH::SDK::Scan {

// The names match the backhaul types that "GetDataMeshTopology" keys its map by.
enum class LINK_MEDIUM : uint8_t { ETHERNET = 1, WIFI_2G = 2, WIFI_5G = 3, WIFI_6G = 4 };

ORVA_EXPORT const char* LinkMediumToString(LINK_MEDIUM medium);
// Throws InvalidEnumException for a text that names no medium.
ORVA_EXPORT LINK_MEDIUM LinkMediumFromString(const std::string& text);

// Unknown figures stay empty; a known figure must be a finite number, and all but the RSSI must
// not be negative.
struct ORVA_EXPORT LinkMeasurement {
  std::optional<double> phyRateMbps;
  std::optional<double> rssiDbm;         // Wi-Fi only
  std::optional<double> throughputMbps;  // measured, when a test ran
  double ageSeconds = 0;                 // how long ago the figures were taken
};

class ORVA_EXPORT ScanLink {
 public:
  // Either end may be named by any MAC of its device (its own or one of its interfaces').
  ScanLink(const Mac& a, const Mac& b, LINK_MEDIUM medium, const LinkMeasurement& measurement = {});

  const Mac& GetA() const noexcept { return a_; }
  const Mac& GetB() const noexcept { return b_; }
  LINK_MEDIUM GetMedium() const noexcept { return medium_; }
  const LinkMeasurement& GetMeasurement() const noexcept { return measurement_; }
  // "aa:..:aa <-> bb:..:bb (WIFI_5G)": how exceptions and logs name a link.
  std::string ToString() const;

 private:
  Mac a_;
  Mac b_;
  LINK_MEDIUM medium_;
  LinkMeasurement measurement_;
};

}  // namespace ORVA::MESH::SDK::Scan
