#include "orvamesh/scan/link_cost.h"

#include <algorithm>
#include <cmath>
#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Scan {
namespace {

constexpr double kWifiPenalty = 1000;
constexpr double kGoodRssiDbm = -65;
constexpr double kStaleAfterSeconds = 60;
constexpr double kMaxStaleFactor = 10;

void Check(const ScanLink& link, const char* what, double value, bool mayBeNegative, bool mayBePositive = true) {
  if (!std::isfinite(value) || (!mayBeNegative && value < 0) || (!mayBePositive && value > 0)) {
    ORVA_THROW_IN(Exception::InvalidArgumentException, "LinkCost",
                  "link " + link.ToString() + ": " + what + " " + std::to_string(value) + " is not a valid figure");
  }
}

void CheckMeasurement(const ScanLink& link) {
  const LinkMeasurement& m = link.GetMeasurement();
  if (m.phyRateMbps) Check(link, "PHY rate", *m.phyRateMbps, false);
  if (m.throughputMbps) Check(link, "throughput", *m.throughputMbps, false);
  // Above 0 dBm no receiver reports.
  if (m.rssiDbm) Check(link, "RSSI", *m.rssiDbm, true, false);
  Check(link, "age", m.ageSeconds, false);
}

double TypicalMbps(LINK_MEDIUM medium) {
  switch (medium) {
    case LINK_MEDIUM::ETHERNET: return 1000;
    case LINK_MEDIUM::WIFI_2G: return 50;
    case LINK_MEDIUM::WIFI_5G: return 300;
    case LINK_MEDIUM::WIFI_6G: return 500;
  }
  return 1;
}

double ExpectedMbps(const ScanLink& link, bool wifi) {
  const LinkMeasurement& m = link.GetMeasurement();
  double mbps = TypicalMbps(link.GetMedium());
  if (m.throughputMbps && *m.throughputMbps > 0) {
    mbps = *m.throughputMbps;
  } else if (m.phyRateMbps && *m.phyRateMbps > 0) {
    mbps = *m.phyRateMbps * (wifi ? 0.55 : 0.94);
  }
  // A link measured at (nearly) nothing still carries beacons; keep its cost finite.
  return std::max(mbps, 0.001);
}

}  // namespace

double LinkCost(const ScanLink& link) {
  CheckMeasurement(link);
  const LinkMeasurement& m = link.GetMeasurement();
  const bool wifi = link.GetMedium() != LINK_MEDIUM::ETHERNET;
  double cost = 1000 / ExpectedMbps(link, wifi);
  if (wifi && m.rssiDbm && *m.rssiDbm < kGoodRssiDbm) cost *= 1 + (kGoodRssiDbm - *m.rssiDbm) / 5;
  if (m.ageSeconds > kStaleAfterSeconds) {
    cost *= std::min(1 + (m.ageSeconds - kStaleAfterSeconds) / kStaleAfterSeconds, kMaxStaleFactor);
  }
  return wifi ? cost + kWifiPenalty : cost;
}

}  // namespace ORVA::MESH::SDK::Scan
