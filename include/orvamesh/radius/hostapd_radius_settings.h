#pragma once
// The RADIUS client settings of an enterprise (802.1X) VAP: every access point of the mesh asks
// the CAP's proxy, with the secret of the client entry that admits the access point's address.
//
// They reach a running hostapd through its command-line client (driver/hostap_helper.h):
// "set" for each of auth_server_addr, auth_server_port, auth_server_shared_secret (and the
// acct_server_ trio when accounting is on), then "reload" so the VAP's RADIUS client switches
// to the new server. hostapd keeps servers set earlier as fall-backs behind the new one until
// it re-reads its own configuration file.
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

  // Sets the keys on the VAP and reloads it: 0, or the helper's code of the first failure
  // (HostapHelper::kNotReady, kCommandFailed, ...). The log names the VAP and key, never the secret.
  int ApplyTo(Driver::HostapHelper& vap) const;
  // The same for each named VAP; every VAP is tried, the first failure's code is returned.
  int ApplyTo(const std::vector<std::string>& vapNames) const;

  bool operator==(const HostapdRadiusSettings& other) const;
};

}  // namespace ORVA::MESH::SDK::Radius
