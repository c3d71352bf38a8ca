#include "orvamesh/radius/hostapd_radius_settings.h"

#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "orvamesh/driver/hostap_helper.h"
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

int HostapdRadiusSettings::ApplyTo(Driver::HostapHelper& vap) const {
  std::string reply;
  for (const auto& [key, value] : Keys()) {
    const int rc = vap.SendCommand("set", {key, value}, reply, false);
    if (rc != 0) {
      ORVA_LOG_ERR("Failed to set [%s] on VAP [%s], result=%d", key.c_str(), vap.GetVAPName().c_str(), rc);
      return rc;
    }
  }
  const int rc = vap.SendCommand("reload", {}, reply, false);
  if (rc != 0) ORVA_LOG_ERR("Failed to reload VAP [%s], result=%d", vap.GetVAPName().c_str(), rc);
  return rc;
}

int HostapdRadiusSettings::ApplyTo(const std::vector<std::string>& vapNames) const {
  int first = 0;
  for (const std::string& name : vapNames) {
    Driver::HostapHelper vap(name);
    const int rc = ApplyTo(vap);
    if (first == 0) first = rc;
  }
  return first;
}

bool HostapdRadiusSettings::operator==(const HostapdRadiusSettings& o) const {
  return serverAddress == o.serverAddress && authPort == o.authPort && acctPort == o.acctPort && secret == o.secret;
}

}  // namespace ORVA::MESH::SDK::Radius
