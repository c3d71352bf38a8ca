#include "orvamesh/scan/scan_link.h"

#include <array>
#include <utility>
#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Scan {
namespace {

constexpr std::array<std::pair<LINK_MEDIUM, const char*>, 4> kMediumNames{{
    {LINK_MEDIUM::ETHERNET, "ETHERNET"},
    {LINK_MEDIUM::WIFI_2G, "WIFI_2G"},
    {LINK_MEDIUM::WIFI_5G, "WIFI_5G"},
    {LINK_MEDIUM::WIFI_6G, "WIFI_6G"},
}};

}  // namespace

const char* LinkMediumToString(LINK_MEDIUM medium) {
  for (const auto& [value, name] : kMediumNames) {
    if (value == medium) return name;
  }
  ORVA_THROW(Exception::InvalidEnumException,
             "LINK_MEDIUM has no value " + std::to_string(static_cast<int>(medium)));
}

LINK_MEDIUM LinkMediumFromString(const std::string& text) {
  for (const auto& [value, name] : kMediumNames) {
    if (text == name) return value;
  }
  ORVA_THROW(Exception::InvalidEnumException, "'" + text + "' is no LINK_MEDIUM");
}

ScanLink::ScanLink(const Mac& a, const Mac& b, LINK_MEDIUM medium, const LinkMeasurement& measurement)
    : a_(a), b_(b), medium_(medium), measurement_(measurement) {}

std::string ScanLink::ToString() const {
  return a_.ToString() + " <-> " + b_.ToString() + " (" + LinkMediumToString(medium_) + ")";
}

}  // namespace ORVA::MESH::SDK::Scan
