#include "orvamesh/utils/interface.h"

#include <algorithm>
#include <cctype>

#include "orvamesh/base/log.h"

namespace ORVA::MESH::SDK {
namespace {

struct BandNames {
  const char* radio;
  const char* normal;
  const char* backhaul;
  const char* guest;
  const char* station;
};

// Indexed by band 0, 1, 2.
constexpr BandNames kNames[] = {
    {"wifi1", "wlan0", "bwlan0", "gwlan0", "sta0"},
    {"wifi0", "wlan2", "bwlan2", "gwlan2", "sta2"},
    {"wifi2", "wlan1", "bwlan1", "gwlan1", "sta1"},
};

constexpr Interface::WIFI_BAND kBandList[] = {Interface::WIFI_BAND_2G, Interface::WIFI_BAND_5G_1,
                                              Interface::WIFI_BAND_5G_2};

constexpr Interface::VAP_TYPE kVapTypes[] = {Interface::VAP_TYPE_STA,      Interface::VAP_TYPE_STA_ALT,
                                             Interface::VAP_TYPE_BACKHAUL, Interface::VAP_TYPE_BACKHAUL_ALT,
                                             Interface::VAP_TYPE_NORMAL,   Interface::VAP_TYPE_GUEST};

struct NamedValue {
  int32_t value;
  const char* name;
};

constexpr NamedValue kBandNames[] = {{-1, "NONE"}, {0, "2.4G"}, {1, "5G-2"}, {2, "5G-1"}, {3, "5G"}};
constexpr NamedValue kIfTypeNames[] = {{0, "ETHER"}, {1, "WLAN"}, {2, "WLAN_VLAN"}};

bool HasInterfaces(Interface::WIFI_BAND band) { return band >= 0 && band <= 2; }
bool IsKnownType(Interface::VAP_TYPE type) { return type >= 0 && type <= 5; }

int ColumnName(Interface::WIFI_BAND band, bool radio, const char* BandNames::*column, std::string& out) {
  if (!HasInterfaces(band)) {
    ORVA_LOG_ERR("Band [%d] has no interfaces", static_cast<int>(band));
    return -3;
  }
  out = radio ? kNames[band].radio : kNames[band].*column;
  return 0;
}

// Kind and band of a VAP name, searching the bands of the band list and kinds in order.
bool FindVAP(const std::string& name, Interface::WIFI_BAND& band, Interface::VAP_TYPE& type) {
  for (Interface::WIFI_BAND b : kBandList) {
    for (Interface::VAP_TYPE t : kVapTypes) {
      std::string candidate;
      if (Interface::GetVAPName(b, t, false, candidate) == 0 && candidate == name) {
        band = b;
        type = t;
        return true;
      }
    }
  }
  return false;
}

int SearchVAP(const std::string& name, Interface::WIFI_BAND& band, Interface::VAP_TYPE& type) {
  if (name.empty()) {
    ORVA_LOG_ERR("Cannot search the VAP of an empty name");
    return -2;
  }
  if (!FindVAP(name, band, type)) {
    ORVA_LOG_DEBUG("[%s] is no VAP", name.c_str());
    return -5;
  }
  return 0;
}

}  // namespace

int Interface::GetBandName(WIFI_BAND band, std::string& out) {
  for (const NamedValue& entry : kBandNames) {
    if (entry.value == band) {
      out = entry.name;
      return 0;
    }
  }
  if (band < 0) {
    out = "UNKNOWN";
    return 0;
  }
  ORVA_LOG_ERR("Unknown band [%d]", static_cast<int>(band));
  return -1;
}

int Interface::GetBandByBandName(const std::string& name, WIFI_BAND& out) {
  for (const NamedValue& entry : kBandNames) {
    if (name == entry.name) {
      out = static_cast<WIFI_BAND>(entry.value);
      return 0;
    }
  }
  ORVA_LOG_ERR("Unknown band name [%s]", name.c_str());
  return -1;
}

int Interface::GetBandList(std::vector<WIFI_BAND>& out) {
  out.assign(std::begin(kBandList), std::end(kBandList));
  return 0;
}

int Interface::GetIfTypeName(IF_TYPE type, std::string& out) {
  if (type < 0) {
    out = "UNKNOWN";
    return 0;
  }
  if (type > IF_TYPE_WLAN_VLAN) {
    ORVA_LOG_ERR("Unknown interface type [%d]", static_cast<int>(type));
    return -1;
  }
  out = kIfTypeNames[type].name;
  return 0;
}

int Interface::GetIfTypeByTypeName(const std::string& name, IF_TYPE& out) {
  for (const NamedValue& entry : kIfTypeNames) {
    if (name == entry.name) {
      out = static_cast<IF_TYPE>(entry.value);
      return 0;
    }
  }
  ORVA_LOG_ERR("Unknown interface type name [%s]", name.c_str());
  return -1;
}

int Interface::GetNormalAPName(WIFI_BAND band, bool radio, std::string& out) {
  return ColumnName(band, radio, &BandNames::normal, out);
}

int Interface::GetBackhaulAPName(WIFI_BAND band, bool radio, std::string& out) {
  return ColumnName(band, radio, &BandNames::backhaul, out);
}

int Interface::GetGuestAPName(WIFI_BAND band, bool radio, std::string& out) {
  return ColumnName(band, radio, &BandNames::guest, out);
}

int Interface::GetSTAName(WIFI_BAND band, bool radio, std::string& out) {
  return ColumnName(band, radio, &BandNames::station, out);
}

int Interface::GetVAPName(WIFI_BAND band, VAP_TYPE type, bool radio, std::string& out) {
  if (band > WIFI_BAND_5G || !IsKnownType(type)) {
    ORVA_LOG_ERR("Invalid band [%d] or VAP type [%d]", static_cast<int>(band), static_cast<int>(type));
    return -2;
  }
  switch (type) {
    case VAP_TYPE_STA:
    case VAP_TYPE_STA_ALT:
      return GetSTAName(band, radio, out);
    case VAP_TYPE_BACKHAUL:
    case VAP_TYPE_BACKHAUL_ALT:
      return GetBackhaulAPName(band, radio, out);
    case VAP_TYPE_NORMAL:
      return GetNormalAPName(band, radio, out);
    case VAP_TYPE_GUEST:
      return GetGuestAPName(band, radio, out);
  }
  return -2;
}

int Interface::GetIfName(WIFI_BAND band, VAP_TYPE type, std::string& out) {
  std::string vap;
  const int result = GetVAPName(band, type, false, vap);
  if (result != 0) return result;
  out = vap + "." + std::to_string(static_cast<int>(type));
  return 0;
}

int Interface::GetRadioNameByVAPName(std::string name, std::string& out) {
  WIFI_BAND band;
  VAP_TYPE type;
  if (!FindVAP(name, band, type)) {
    ORVA_LOG_DEBUG("[%s] is no VAP", name.c_str());
    return -4;
  }
  return GetVAPName(band, type, true, out);
}

int Interface::GetVAPNameByIfName(std::string ifname, bool radio, std::string& out) {
  WIFI_BAND band;
  VAP_TYPE type;
  std::string vap = ifname;
  const size_t dot = ifname.rfind('.');
  if (dot != std::string::npos && dot + 1 < ifname.size() &&
      std::all_of(ifname.begin() + dot + 1, ifname.end(), [](unsigned char c) { return std::isdigit(c); })) {
    vap.resize(dot);
  }
  if (vap.empty() || !FindVAP(vap, band, type)) {
    ORVA_LOG_DEBUG("[%s] belongs to no VAP", ifname.c_str());
    return -4;
  }
  return GetVAPName(band, type, radio, out);
}

int Interface::GetVAPBand(std::string name, WIFI_BAND& out) {
  WIFI_BAND band;
  VAP_TYPE type;
  const int result = SearchVAP(name, band, type);
  if (result == 0) out = band;
  return result;
}

int Interface::GetVAPBandName(std::string name, std::string& out) {
  WIFI_BAND band;
  const int result = GetVAPBand(std::move(name), band);
  if (result != 0) return result;
  return GetBandName(band, out);
}

int Interface::GetVAPType(std::string name, VAP_TYPE& out) {
  WIFI_BAND band;
  VAP_TYPE type;
  const int result = SearchVAP(name, band, type);
  if (result == 0) out = type;
  return result;
}

int Interface::GetVAPBandAndType(std::string name, WIFI_BAND& band, VAP_TYPE& type) {
  WIFI_BAND foundBand;
  VAP_TYPE foundType;
  const int result = SearchVAP(name, foundBand, foundType);
  if (result == 0) {
    band = foundBand;
    type = foundType;
  }
  return result;
}

int Interface::GetVAPNameList(WIFI_BAND band, bool radio, std::vector<std::string>& out) {
  std::vector<std::string> names;
  for (VAP_TYPE type : kVapTypes) {
    std::string name;
    const int result = GetVAPName(band, type, radio, name);
    if (result != 0) return result;
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  }
  out = std::move(names);
  return 0;
}

int Interface::GetVAPNameList(VAP_TYPE type, bool radio, std::vector<std::string>& out) {
  if (!IsKnownType(type)) {
    ORVA_LOG_ERR("Invalid VAP type [%d]", static_cast<int>(type));
    return -2;
  }
  std::vector<std::string> names;
  for (WIFI_BAND band : kBandList) {
    std::string name;
    GetVAPName(band, type, radio, name);
    names.push_back(name);
  }
  out = std::move(names);
  return 0;
}

int Interface::GetVAPNameList(bool radio, std::vector<std::string>& out) {
  std::vector<std::string> names;
  for (WIFI_BAND band : kBandList) {
    std::vector<std::string> bandNames;
    GetVAPNameList(band, radio, bandNames);
    names.insert(names.end(), bandNames.begin(), bandNames.end());
  }
  out = std::move(names);
  return 0;
}

int Interface::GetVAPNameMap(bool radio, VAPNameMap& out) {
  VAPNameMap map;
  for (WIFI_BAND band : kBandList) {
    for (VAP_TYPE type : kVapTypes) GetVAPName(band, type, radio, map[band][type]);
  }
  out = std::move(map);
  return 0;
}

}  // namespace ORVA::MESH::SDK
