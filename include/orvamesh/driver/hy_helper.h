#pragma once
// Prepares and runs the hybrid daemon "hyd" for one bridge: the main network ("hyd", bridge
// br0, or lbr0 on a controller whose topology is 2) or the guest network ("hyd_guest", gbr0),
// on the controller (CAP) or a repeater (RE).
//
// Construction copies the role's default configuration over the live one and rebuilds it:
// bridge name, the bridge's members (classified by name), the Wi-Fi list, the no-relay list,
// the switch VLAN keys and the band-steering sections of lbd. It then stops any copy of the
// service left from an earlier run. StartHyd rebuilds the configuration, sets the bridge's
// multicast behaviour through "/usr/sbin/hyctl" and (re)starts the job manager's service.
//
// Files (all below the system root):
//   written   /usr/orva/etc/mesh/hyd.conf, /usr/orva/etc/mesh/hyd_guest.conf
//   defaults  /usr/orva/etc.defaults/mesh/{cap,re}/hyd.conf, .../hyd_guest.conf
//   read      /usr/orva/etc/wifi/lbd.conf (guest: lbd.guest.conf),
//             /usr/orva/etc/switchvlan.conf (guest: switchvlan_guest.conf),
//             /sys/class/net/<bridge>/brif/
// The topology, the IGMP snooping setting and the LAN bridge name come from the node settings
// (see the README's "Driver helpers and node settings").
//
// Results are 0 or one of the negative codes below, with one error line in the log. Every
// public operation holds the object's mutex for its whole run.
#include <map>
#include <string>
#include <vector>

#include "orvamesh/driver/hy_if.h"
#include "orvamesh/export.h"
#include "orvamesh/utils/mutex.h"

namespace ORVA::MESH::SDK::Driver {

class ORVA_EXPORT HyHelper {
 public:
  static constexpr int kListNotSet = -300;        // member, Wi-Fi or no-relay list; empty radio name
  static constexpr int kNotInitialized = -301;    // no bridge name yet
  static constexpr int kStartFailed = -304;       // "/sbin/start" of the service
  static constexpr int kWriteFailed = -305;       // a key of the hyd file
  static constexpr int kBrModeFailed = -308;      // hyctl setbrmode
  static constexpr int kIfGroupFailed = -309;     // hyctl setifgrp
  static constexpr int kIfBcastFailed = -310;     // hyctl setifbcast
  static constexpr int kRetagFailed = -311;       // hyctl setmc ... retag disable
  static constexpr int kNoSuchIf = -312;          // members not listable; interface not in the map
  static constexpr int kNoDefaultConf = -313;     // default configuration missing
  static constexpr int kNoBridge = -314;          // bridge directory missing
  static constexpr int kNoMemory = -315;
  static constexpr int kIgmpSnoopingFailed = -316;

  HyHelper(bool cap, bool guest);
  HyHelper(const HyHelper&) = delete;
  HyHelper& operator=(const HyHelper&) = delete;

  int StartHyd();
  int StopHyd();
  int RestartHyd();
  int ReloadHydConfig();
  // "hyctl attach|detach <LAN bridge>".
  int AttachHyfiBridge(bool attach);
  int SetIGMPSnooping();

  int GetBr(std::string& bridge);
  int SetBr(const std::string& bridge, bool writeToFile);
  int GetIfRelay(const std::string& name, bool& relay);
  int SetIfRelay(const std::string& name, bool relay, bool writeToFile);
  int GetIfRadioName(const std::string& name, std::string& radio);
  int SetIfRadioName(const std::string& name, const std::string& radio, bool writeToFile);
  int GetIfGrp(const std::string& name, HY_IF_GRP& group);
  int SetIfGrp(const std::string& name, HY_IF_GRP group);
  int GetIfList(std::vector<HyIf>& out);
  int GetIfNoRelayList(std::vector<HyIf>& out);
  int GetWlanList(std::vector<HyIf>& out);
  int SetIfList(const std::vector<HyIf>& list, bool writeToFile);
  int SetWlanList(const std::vector<HyIf>& list, bool writeToFile);
  int AddIf(const HyIf& member, bool writeToFile);
  int DelIf(const HyIf& member, bool writeToFile);
  // Writes bridge name, member list, no-relay list and Wi-Fi list, in that order.
  int SetToFile();

  // "eth0:ETHER,wlan0:WLAN"
  static int ListToStr(const std::vector<HyIf>& list, std::string& out);
  // Names of the members without relay: "sta0,sta1"
  static int NoRelayListToStr(const std::vector<HyIf>& list, std::string& out);
  // Radio and VAP of each Wi-Fi member: "wifi1:wlan0,wifi2:bwlan1"; -300 on an empty radio.
  static int WlanListToStr(const std::vector<HyIf>& list, std::string& out);
  // The reverse parsers: -1 on malformed text.
  static int StrToList(const std::string& text, std::vector<std::string>& names,
                       std::vector<Interface::IF_TYPE>& types);
  static int StrToNoRelayList(const std::string& text, std::vector<std::string>& names);
  static int StrToWlanList(const std::string& text, std::vector<std::string>& radios, std::vector<std::string>& vaps);

  const std::string& GetConfPath() const { return confPath_; }
  const std::string& GetServiceName() const { return service_; }

 private:
  int InitConf();
  int ReplaceConfFileFromDef();
  int StartHydImpl();
  int StopHydImpl();
  int RestartHydImpl();
  int ReloadHydConfigImpl();
  std::string HydBridge() const;
  int WriteHydLists(const std::vector<HyIf>& members, const std::vector<HyIf>& wlans);
  int AttachHyfiBridgeImpl(bool attach);
  int SetIGMPSnoopingImpl();
  int SetBrImpl(const std::string& bridge, bool writeToFile);
  int GetIfRelayImpl(const std::string& name, bool& relay);
  int SetIfRelayImpl(const std::string& name, bool relay, bool writeToFile);
  int SetIfListImpl(const std::vector<HyIf>& list, bool writeToFile);
  int SetWlanListImpl(const std::vector<HyIf>& list, bool writeToFile);
  int SetToFileImpl();
  int WriteIfList();
  int WriteWlanList();
  int SetIfNoRelayListToFile();
  int SetVlanToFile();
  int ReloadLbdConfig();
  int WriteKey(const std::string& key, const std::string& value);
  std::vector<HyIf> IfList() const;
  std::vector<HyIf> NoRelayList() const;
  std::vector<HyIf> WlanList() const;

  const bool cap_;
  const bool guest_;
  bool started_ = false;
  std::string bridge_;
  std::string confPath_;
  std::string defaultPath_;
  const std::string service_;
  std::map<std::string, HyIf> ifaces_;
  std::map<std::string, HyIf> wlans_;
  Mutex mutex_;
};

}  // namespace ORVA::MESH::SDK::Driver
