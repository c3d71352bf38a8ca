#include "orvamesh/utils/interface.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "support/log_capture.h"

namespace {

using ORVA::MESH::SDK::Interface;
using Band = Interface::WIFI_BAND;
using Vap = Interface::VAP_TYPE;
using Names = std::vector<std::string>;

Band B(int value) { return static_cast<Band>(value); }
Vap V(int value) { return static_cast<Vap>(value); }

// The result code of a name lookup and the name it wrote, as "code name"; a lookup that
// refuses must leave the name alone ("untouched").
template <typename Fn, typename... Args>
std::string Got(Fn lookup, Args... args) {
  std::string out = "untouched";
  const int rc = lookup(args..., out);
  return std::to_string(rc) + " " + out;
}

// The whole name table: band, radio, then the VAP of kinds 0..5.
struct Row {
  int band;
  const char* radio;
  const char* byKind[6];
};
const Row kTable[] = {
    {0, "wifi1", {"sta0", "sta0", "bwlan0", "bwlan0", "wlan0", "gwlan0"}},
    {1, "wifi0", {"sta2", "sta2", "bwlan2", "bwlan2", "wlan2", "gwlan2"}},
    {2, "wifi2", {"sta1", "sta1", "bwlan1", "bwlan1", "wlan1", "gwlan1"}},
};

TEST(InterfaceNames, EveryBandAndKindHasItsVapRadioAndIfNameAndEachLeadsBack) {
  Interface::VAPNameMap map;
  ASSERT_EQ(Interface::GetVAPNameMap(false, map), 0);
  EXPECT_EQ(map.size(), 3u);
  for (const Row& row : kTable) {
    const std::string radio = std::string("0 ") + row.radio;
    for (int kind = 0; kind < 6; ++kind) {
      SCOPED_TRACE(std::to_string(row.band) + "/" + std::to_string(kind));
      const std::string vap = row.byKind[kind], ifname = vap + "." + std::to_string(kind);
      EXPECT_EQ(Got(Interface::GetVAPName, B(row.band), V(kind), false), "0 " + vap);
      EXPECT_EQ(Got(Interface::GetVAPName, B(row.band), V(kind), true), radio);
      EXPECT_EQ(Got(Interface::GetIfName, B(row.band), V(kind)), "0 " + ifname);
      EXPECT_EQ(map[B(row.band)][V(kind)], vap);

      // The way back. Kinds 0/1 and 2/3 share a name, which leads to the first of the pair.
      Band band;
      Vap type;
      EXPECT_EQ(Interface::GetVAPBandAndType(vap, band, type), 0);
      EXPECT_EQ(band, row.band);
      EXPECT_EQ(type, kind >= 4 ? kind : kind & ~1);
      EXPECT_EQ(Got(Interface::GetRadioNameByVAPName, vap), radio);
      EXPECT_EQ(Got(Interface::GetVAPBandName, vap), Got(Interface::GetBandName, B(row.band)));
      EXPECT_EQ(Got(Interface::GetVAPNameByIfName, ifname, false), "0 " + vap);
      EXPECT_EQ(Got(Interface::GetVAPNameByIfName, vap, true), radio);
    }
  }
}

TEST(InterfaceNames, BandsAndKindsOutsideTheTableAreRefused) {
  const struct {
    int band, kind, result;
  } cases[] = {
      {3, 4, -3}, {-1, 4, -3}, {4, 0, -2}, {0, 6, -2}, {0, -1, -2}, {3, 6, -2},
  };
  orva::test::LogCapture capture;
  for (const auto& c : cases) {
    const std::string refused = std::to_string(c.result) + " untouched";
    EXPECT_EQ(Got(Interface::GetVAPName, B(c.band), V(c.kind), false), refused) << c.band << "/" << c.kind;
    EXPECT_EQ(Got(Interface::GetIfName, B(c.band), V(c.kind)), refused) << c.band << "/" << c.kind;
  }
  EXPECT_EQ(Got(Interface::GetGuestAPName, B(3), true), "-3 untouched");
}

TEST(InterfaceLookup, NamesThatAreNoVapGetTheirOwnCodes) {
  orva::test::LogCapture capture;
  Band band = B(7);
  Vap type = V(7);
  EXPECT_EQ(Interface::GetVAPBand("", band), -2);
  EXPECT_EQ(Interface::GetVAPType("wlan0.4", type), -5);
  for (const char* name : {"eth0", "wifi1", "WLAN0", "wlan0.4"}) {
    EXPECT_EQ(Interface::GetVAPBandAndType(name, band, type), -5) << name;
  }
  for (const char* name : {"", "eth0", "wifi0", "wlan0.4"}) {
    EXPECT_EQ(Got(Interface::GetRadioNameByVAPName, name), "-4 untouched") << name;
  }
  for (const char* name : {"", ".4", "eth0.4", "wlan0.", "wlan0.x", "wifi1", "wlan0.4.1"}) {
    EXPECT_EQ(Got(Interface::GetVAPNameByIfName, name, false), "-4 untouched") << name;
  }
  EXPECT_EQ(band, 7);
  EXPECT_EQ(type, 7);
}

// Checks a name table both ways: a value without a name gets -1, a name that reads back gets its value.
template <typename Enum>
void ExpectNamesBothWays(int (*toName)(Enum, std::string&), int (*fromName)(const std::string&, Enum&),
                         const std::vector<std::tuple<int, const char*, bool>>& cases) {
  for (const auto& [value, name, readsBack] : cases) {
    std::string text;
    EXPECT_EQ(toName(static_cast<Enum>(value), text), *name ? 0 : -1) << value;
    EXPECT_EQ(text, name);
    Enum back = static_cast<Enum>(99);
    EXPECT_EQ(fromName(name, back), readsBack ? 0 : -1) << name;
    EXPECT_EQ(back, readsBack ? value : 99) << name;
  }
}

TEST(InterfaceBands, NamesBandsAndTypesBothWays) {
  ExpectNamesBothWays(Interface::GetBandName, Interface::GetBandByBandName,
                      {{-1, "NONE", true}, {0, "2.4G", true}, {1, "5G-2", true}, {2, "5G-1", true}, {3, "5G", true},
                       {-2, "UNKNOWN", false}, {4, "", false}});
  ExpectNamesBothWays(Interface::GetIfTypeName, Interface::GetIfTypeByTypeName,
                      {{0, "ETHER", true}, {1, "WLAN", true}, {2, "WLAN_VLAN", true}, {-1, "UNKNOWN", false},
                       {3, "", false}});
}

TEST(InterfaceLists, FollowTheBandListOrder) {
  std::vector<Band> bands;
  EXPECT_EQ(Interface::GetBandList(bands), 0);
  EXPECT_EQ(bands, (std::vector<Band>{B(0), B(2), B(1)}));

  Names names;
  EXPECT_EQ(Interface::GetVAPNameList(B(1), false, names), 0);
  EXPECT_EQ(names, (Names{"sta2", "bwlan2", "wlan2", "gwlan2"}));
  EXPECT_EQ(Interface::GetVAPNameList(Interface::VAP_TYPE_GUEST, false, names), 0);
  EXPECT_EQ(names, (Names{"gwlan0", "gwlan1", "gwlan2"}));
  EXPECT_EQ(Interface::GetVAPNameList(false, names), 0);
  EXPECT_EQ(names, (Names{"sta0", "bwlan0", "wlan0", "gwlan0", "sta1", "bwlan1", "wlan1", "gwlan1", "sta2",
                          "bwlan2", "wlan2", "gwlan2"}));

  orva::test::LogCapture capture;
  EXPECT_EQ(Interface::GetVAPNameList(B(3), false, names), -3);
  EXPECT_EQ(Interface::GetVAPNameList(V(6), false, names), -2);
}

}  // namespace
