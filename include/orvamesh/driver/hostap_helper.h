#pragma once
// Drives the hostapd of one virtual AP interface through the stock command-line client
// "/usr/bin/hostapd_cli -i <interface> ...", reading the client's standard output; the control
// protocol itself stays hostapd's. Every public operation holds the object's mutex for its whole
// run (with thread cancellation off), so one interface never has two client commands in flight
// from this object.
//
// Results: 0 on success, otherwise one of the codes below, with one error line in the log.
//
// Action scripts: hostapd_cli runs a script on every event of the interface when started with
// "-a <script>" in the background. The helper remembers one pid file per script, named
// "/var/run/<interface>_<key>" below the system root, where the key is the script path with
// every "/" turned into "_" (so "a/b" and "a_b" share one listener). The naming is fixed so that
// a restarted daemon finds the listeners of its previous run.
#include <map>
#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/mac.h"
#include "orvamesh/utils/mutex.h"

namespace ORVA::MESH::SDK::Driver {

class ORVA_EXPORT HostapHelper {
 public:
  static constexpr int kExecFailed = -100;      // daemon-mode run of the client failed
  static constexpr int kNotReady = -101;        // hostapd does not answer on the interface
  static constexpr int kCommandFailed = -102;   // no output stream, or "FAIL" in the reply
  static constexpr int kAlreadyRunning = -103;  // the action script's listener is alive
  static constexpr int kStalePidFile = -104;    // a dead listener's pid file could not go
  static constexpr int kSignalFailed = -105;    // the listener could not be signalled

  explicit HostapHelper(const std::string& ifname);
  HostapHelper(const HostapHelper&) = delete;
  HostapHelper& operator=(const HostapHelper&) = delete;

  // hostapd answers "interface" on this interface (any output without a connection failure).
  bool IsHostapdReady();
  std::string GetVAPName() const;
  // Runs the client with `cmd` and `args` (plus "-B" in daemon mode). Without daemon mode
  // `result` receives the whole output; with it, `result` is left untouched.
  int SendCommand(const std::string& cmd, const std::vector<std::string>& args, std::string& result, bool daemon);
  int StartActionScript(const std::string& script, std::string& result);
  int StopActionScript(const std::string& script);
  // The "Peer Address" of the last WPS run; -1 when hostapd reports none.
  int GetLastWPSPeerAddress(Mac& peer);

 private:
  bool IsHostapdReadyImpl();
  int SendCommandImpl(const std::string& cmd, const std::vector<std::string>& args, std::string& result, bool daemon);
  int StartActionScriptImpl(const std::string& script, std::string& result);
  int StopActionScriptImpl(const std::string& script);
  int GetLastWPSPeerAddressImpl(Mac& peer);
  std::string DefaultPidFile(const std::string& key) const;

  const std::string ifname_;
  std::map<std::string, std::string> scripts_;  // script key -> pid file
  Mutex mutex_;
};

}  // namespace ORVA::MESH::SDK::Driver
