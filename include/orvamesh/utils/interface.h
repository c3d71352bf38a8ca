#pragma once
// The names of the router's radios and virtual access points (VAPs), computed from fixed
// tables per band and VAP kind, and the translations between names, bands, kinds and interface
// types. Nothing is discovered from the system.
//
// Every function returns 0 on success and a negative code otherwise, writing its result
// through the output reference (left untouched on failure):
//   -1  a band or interface-type value beyond the named ones, or a name that is none of them
//   -2  a band above 3 or a VAP kind outside 0..5 (and an empty name for the VAP searches)
//   -3  a band that has no interfaces (3, the unnumbered 5 GHz band, or a negative band)
//   -4  a name that is no VAP (radio and interface-name lookups)
//   -5  a name found in no band (VAP band and kind searches)
// Out-of-range arguments are logged at error priority; a name that is simply not a VAP is an
// answer, not a fault, and is only logged at debug priority.
//
// Name table (band: radio, normal AP, backhaul AP, guest AP, station):
//   0 "2.4G": wifi1, wlan0, bwlan0, gwlan0, sta0
//   1 "5G-2": wifi0, wlan2, bwlan2, gwlan2, sta2
//   2 "5G-1": wifi2, wlan1, bwlan1, gwlan1, sta1
// The radio numbers are deliberately not in band order.
//
// Choices made here:
// - Kinds 0 and 1 share the station name and kinds 2 and 3 the backhaul AP name. Searches
//   (GetVAPType, GetVAPBandAndType) try kinds 0..5 in order, so "sta0" is kind 0 and
//   "bwlan0" kind 2.
// - GetIfName appends "." and the kind's own number (0..5), so each of the six kinds gets its
//   own VLAN interface even where two kinds share a VAP: band 0, kind 5 is "gwlan0.5".
//   GetVAPNameByIfName accepts such names and also plain VAP names.
// - GetVAPNameList by band lists the band's distinct names in kind order ("sta0", "bwlan0",
//   "wlan0", "gwlan0"; with the radio flag just "wifi1"); by kind, the kind's name on every
//   band in band-list order; the overload for all bands concatenates the per-band lists in
//   band-list order. GetVAPNameMap holds all six kinds of every band of the band list
//   (shared names repeated under each kind).
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT Interface {
 public:
  enum WIFI_BAND : int32_t {
    WIFI_BAND_NONE = -1,
    WIFI_BAND_2G = 0,    // "2.4G"
    WIFI_BAND_5G_2 = 1,  // "5G-2"
    WIFI_BAND_5G_1 = 2,  // "5G-1"
    WIFI_BAND_5G = 3,    // "5G", a 5 GHz band without number; no interfaces
  };

  enum IF_TYPE : int32_t {
    IF_TYPE_ETHER = 0,
    IF_TYPE_WLAN = 1,
    IF_TYPE_WLAN_VLAN = 2,
  };

  enum VAP_TYPE : int32_t {
    VAP_TYPE_STA = 0,             // station (client) interface
    VAP_TYPE_STA_ALT = 1,         // station interface, second use of the same VAP
    VAP_TYPE_BACKHAUL = 2,        // backhaul access point
    VAP_TYPE_BACKHAUL_ALT = 3,    // backhaul access point, second use of the same VAP
    VAP_TYPE_NORMAL = 4,          // fronthaul access point
    VAP_TYPE_GUEST = 5,           // guest access point
  };

  using VAPNameMap = std::map<WIFI_BAND, std::map<VAP_TYPE, std::string>>;

  // "NONE", "2.4G", "5G-2", "5G-1", "5G"; other negative values "UNKNOWN"; above 3: -1.
  static int GetBandName(WIFI_BAND band, std::string& out);
  // The inverse of GetBandName for its five names; anything else: -1.
  static int GetBandByBandName(const std::string& name, WIFI_BAND& out);
  // 0, 2, 1: the bands this device has, in the order every list follows.
  static int GetBandList(std::vector<WIFI_BAND>& out);

  // "ETHER", "WLAN", "WLAN_VLAN"; negative values "UNKNOWN"; above 2: -1.
  static int GetIfTypeName(IF_TYPE type, std::string& out);
  static int GetIfTypeByTypeName(const std::string& name, IF_TYPE& out);

  // The VAP of one column of the table, or with `radio` the band's radio; bands other than
  // 0, 1 and 2: -3.
  static int GetNormalAPName(WIFI_BAND band, bool radio, std::string& out);
  static int GetBackhaulAPName(WIFI_BAND band, bool radio, std::string& out);
  static int GetGuestAPName(WIFI_BAND band, bool radio, std::string& out);
  static int GetSTAName(WIFI_BAND band, bool radio, std::string& out);
  // The column chosen by kind; -2 for a band above 3 or a kind outside 0..5, else the
  // column's result.
  static int GetVAPName(WIFI_BAND band, VAP_TYPE type, bool radio, std::string& out);
  // The VAP name with the kind's VLAN suffix ("wlan0.4"); codes as GetVAPName.
  static int GetIfName(WIFI_BAND band, VAP_TYPE type, std::string& out);

  // The radio carrying the VAP `name`; -4 when it is no VAP.
  static int GetRadioNameByVAPName(std::string name, std::string& out);
  // The VAP (or with `radio` its radio) of an interface name, with or without VLAN suffix;
  // -4 when it belongs to no VAP.
  static int GetVAPNameByIfName(std::string ifname, bool radio, std::string& out);

  // Band and kind of a VAP name: -2 for an empty name, -5 for a name that is no VAP.
  static int GetVAPBand(std::string name, WIFI_BAND& out);
  static int GetVAPBandName(std::string name, std::string& out);
  static int GetVAPType(std::string name, VAP_TYPE& out);
  static int GetVAPBandAndType(std::string name, WIFI_BAND& band, VAP_TYPE& type);

  // The lists and the map described above. By band: -2/-3 as GetVAPName; by kind: -2.
  static int GetVAPNameList(WIFI_BAND band, bool radio, std::vector<std::string>& out);
  static int GetVAPNameList(VAP_TYPE type, bool radio, std::vector<std::string>& out);
  static int GetVAPNameList(bool radio, std::vector<std::string>& out);
  static int GetVAPNameMap(bool radio, VAPNameMap& out);
};

}  // namespace ORVA::MESH::SDK
