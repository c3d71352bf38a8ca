#include "orvamesh/radius/hostapd_radius_settings.h"

#include <csignal>

#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "orvamesh/driver/hostap_helper.h"
#include "platform/config_file.h"
#include "platform/pid_file.h"
#include "radius/address_prefix.h"

namespace ORVA::MESH::SDK::Radius {
namespace {

using Exception::InvalidArgumentException;
using orva::net::utils::IPAddress;

IPAddress ParseAddress(const std::string& text, const char* what) {
  IPAddress address;
  if (!IPAddress::TryParse(text, address)) {
    ORVA_THROW(InvalidArgumentException, std::string("Ill-formed ") + what + " address [" + text + "]");
  }
  return address;
}

}  // namespace

HostapdRadiusSettings HostapdRadiusSettings::ForAccessPoint(const RadiusConfig& config, const std::string& capAddress,
                                                            const std::string& apAddress) {
  ParseAddress(capAddress, "proxy");
  const IPAddress ap = ParseAddress(apAddress, "access point");
  for (const RadiusClient& client : config.clients) {
    Detail::AddressPrefix prefix;
    if (Detail::AddressPrefix::Parse(client.address, prefix) && prefix.Contains(ap)) {
      HostapdRadiusSettings settings;
      settings.serverAddress = capAddress;
      settings.authPort = config.listen.authPort;
      settings.acctPort = config.listen.acctPort;
      settings.secret = client.secret;
      return settings;
    }
  }
  ORVA_THROW(InvalidArgumentException, "No RADIUS client admits the access point [" + apAddress + "]");
}

std::vector<std::pair<std::string, std::string>> HostapdRadiusSettings::Keys() const {
  std::vector<std::pair<std::string, std::string>> keys = {
      {"auth_server_addr", serverAddress},
      {"auth_server_port", std::to_string(authPort)},
      {"auth_server_shared_secret", secret}};
  if (acctPort != 0) {
    keys.insert(keys.end(), {{"acct_server_addr", serverAddress},
                             {"acct_server_port", std::to_string(acctPort)},
                             {"acct_server_shared_secret", secret}});
  }
  return keys;
}

int HostapdRadiusSettings::ApplyTo(Driver::HostapHelper& vap, const std::string& configFile,
                                   const std::string& pidFile) const {
  const std::string name = vap.GetVAPName();
  for (const auto& [key, value] : Keys()) {
    // hostapd reads a value to the end of its line; a line break would start a key of its own.
    if (value.find_first_of("\r\n") != std::string::npos ||
        orva::platform::FileSetKeyValue(configFile, key, value, orva::platform::ValueQuoting::kPlain) != 0) {
      ORVA_LOG_ERR("Failed to write [%s] for VAP [%s] into [%s]", key.c_str(), name.c_str(), configFile.c_str());
      return kFileFailed;
    }
  }
  // Without accounting, no accounting server of an earlier setting may stay behind.
  for (const char* key : {"acct_server_addr", "acct_server_port", "acct_server_shared_secret"}) {
    if (acctPort == 0 && orva::platform::FileRemoveKey(configFile, key) != 0) {
      ORVA_LOG_ERR("Failed to remove [%s] for VAP [%s] from [%s]", key, name.c_str(), configFile.c_str());
      return kFileFailed;
    }
  }
  if (orva::platform::ProcSignalByPidFile(pidFile, SIGHUP) != 0) {
    ORVA_LOG_ERR("Failed to signal hostapd through [%s] for VAP [%s]", pidFile.c_str(), name.c_str());
    return kSignalFailed;
  }
  std::string reply;
  for (const char* step : {"disable", "enable"}) {
    const int rc = vap.SendCommand(step, {}, reply, false);
    if (rc != 0) {
      ORVA_LOG_ERR("Failed to %s VAP [%s], result=%d", step, name.c_str(), rc);
      return rc;
    }
  }
  return 0;
}

bool HostapdRadiusSettings::operator==(const HostapdRadiusSettings& o) const {
  return serverAddress == o.serverAddress && authPort == o.authPort && acctPort == o.acctPort && secret == o.secret;
}

}  // namespace ORVA::MESH::SDK::Radius
