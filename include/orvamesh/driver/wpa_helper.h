#pragma once
// Drives the wpa_supplicant of one station interface through the stock command-line client
// "/usr/sbin/wpa_cli -i <interface> ...". The helper holds no lock: the WPS manager serialises
// its use, and other callers sharing one object between threads must do so themselves.
//
// Files, all below the system root: the daemon's pid file "/var/run/wpa_supplicant.pid.<if>"
// and its configuration "/usr/orva/etc/wpa_supplicant.conf.<if>" (only read here).
//
// Action scripts run under the system's job manager as its "wpa_cli" job, started and stopped
// with "/sbin/start" / "/sbin/stop" and the variables IFACE=<if> and ACTION=<script>.
#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/mac.h"

namespace ORVA::MESH::SDK::Driver {

class ORVA_EXPORT WPAHelper {
 public:
  static constexpr int kExecFailed = -200;     // daemon-mode run, "/sbin/start" or "bssid" failed
  static constexpr int kNotReady = -201;       // no wpa_supplicant, or it does not answer "ping"
  static constexpr int kCommandFailed = -202;  // no output stream, or "FAIL" in the reply

  explicit WPAHelper(const std::string& ifname);

  bool IsWPASupplicantReady();
  int SendCommand(const std::string& cmd, const std::vector<std::string>& args, std::string& result, bool daemon);
  // The "ssid" / "psk" of the interface's configuration file (at most 63 characters).
  int GetCurrentSSID(std::string& ssid);
  int GetCurrentPassword(std::string& psk);
  // The associated AP's address as the driver reports it; -1 when not associated.
  int GetCurrentBSSID(Mac& bssid);
  int UpdateVariable(const std::string& name, const std::string& value);
  int SetPreferedBSSID(const Mac bssid);
  // A restart: the job is stopped first. Stopping never fails.
  int StartActionScript(const std::string& script);
  int StopActionScript(const std::string& script);

  const std::string& GetIfName() const { return ifname_; }

 private:
  int ReadConfigKey(const char* key, std::string& out);
  int RunJob(const char* jobManager, const std::string& script);

  const std::string ifname_;
  const std::string pidFile_;
  const std::string confFile_;
};

}  // namespace ORVA::MESH::SDK::Driver
