#pragma once
// The RADIUS client settings of an enterprise (802.1X) VAP: every access point of the mesh asks
// the CAP's proxy, with the secret of the client entry that admits the access point's address.
//
// They go into the VAP's hostapd configuration file: auth_server_addr, auth_server_port,
// auth_server_shared_secret (and the acct_server_ trio when accounting is on; off, every
// acct_server_ line goes), each replacing
// the first line of its key (further servers listed after it stay as fall-backs), the rest of
// the file untouched and the file rewritten atomically. hostapd then re-reads its files on
// SIGHUP through its pid file, and the VAP is taken down and up with the command-line client
// (driver/hostap_helper.h): hostapd builds a VAP's RADIUS client only when the VAP comes up,
// and its own "set" and "reload" commands leave a running client on its old server.
#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/radius/radius_config.h"

namespace ORVA::MESH::SDK::Driver {
class HostapHelper;
}

namespace ORVA::MESH::SDK::Radius {

struct ORVA_EXPORT HostapdRadiusSettings {
  std::string serverAddress;
  uint32_t authPort = 1812;
  uint32_t acctPort = 1813;  // 0: no accounting
  std::string secret;

  // The settings for an access point at `apAddress` reaching the proxy of `config` at
  // `capAddress`. Throws InvalidArgumentException when an address is malformed or no client
  // entry admits the access point.
  static HostapdRadiusSettings ForAccessPoint(const RadiusConfig& config, const std::string& capAddress,
                                              const std::string& apAddress);

  // The (key, value) pairs in the order hostapd needs them (an address opens a server entry,
  // port and secret fill it).
  std::vector<std::pair<std::string, std::string>> Keys() const;

  static constexpr int kFileFailed = -1;    // the configuration file could not be written
  static constexpr int kSignalFailed = -2;  // no hostapd behind the pid file

  // Writes the keys into `configFile`, has the hostapd of `pidFile` re-read it and restarts the
  // VAP: 0, kFileFailed, kSignalFailed, or the helper's code (HostapHelper::kNotReady,
  // kCommandFailed, ...). Paths are used as given. The log names the VAP, never the secret.
  int ApplyTo(Driver::HostapHelper& vap, const std::string& configFile, const std::string& pidFile) const;

  bool operator==(const HostapdRadiusSettings& other) const;
};

}  // namespace ORVA::MESH::SDK::Radius
