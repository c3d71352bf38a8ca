#include "orvamesh/radius/config_validator.h"

#include <set>

#include "orvamesh/base/exception.h"
#include "orvamesh/platform/ip_address.h"
#include "radius/address_prefix.h"

namespace ORVA::MESH::SDK::Radius {
namespace {

using orva::net::utils::IPAddress;
using Detail::AddressPrefix;

class Collector {
 public:
  void Add(const std::string& who, const std::string& problem) { problems.push_back(who + ": " + problem); }

  void Text(const std::string& who, const std::string& what, const std::string& value, std::size_t maxLength) {
    if (value.empty()) return Add(who, "the " + what + " is empty");
    if (value.size() > maxLength) {
      return Add(who, "the " + what + " is longer than [" + std::to_string(maxLength) + "] characters");
    }
    for (std::size_t i = 0; i < value.size(); ++i) {
      const unsigned char c = static_cast<unsigned char>(value[i]);
      if (c < 0x20 || c == 0x7f) return Add(who, "the " + what + " holds a control character");
      if (c == '\\' && (i + 1 == value.size() || value[i + 1] == '\'')) {
        return Add(who, "the " + what + " holds a backslash at its end or before a quote");
      }
    }
  }

  void Name(const std::string& kind, const std::string& name, std::set<std::string>& seen) {
    Text(kind, "name", name, ConfigValidator::kMaxNameLength);
    if (!name.empty() && !seen.insert(name).second) Add(kind + " [" + name + "]", "the name is used twice");
  }

  void Port(const std::string& who, const std::string& what, uint32_t port, bool zeroAllowed) {
    if ((port == 0 && !zeroAllowed) || port > 65535) {
      Add(who, what + " [" + std::to_string(port) + "] is out of range");
    }
  }

  void Address(const std::string& who, const std::string& address) {
    IPAddress parsed;
    if (!IPAddress::TryParse(address, parsed)) Add(who, "address [" + address + "] is not an IP address");
  }

  std::vector<std::string> problems;
};

void CheckListen(const ListenSettings& listen, Collector& out) {
  const std::string who = "Listen";
  if (listen.addresses.empty()) out.Add(who, "no address to listen on");
  for (const std::string& address : listen.addresses) out.Address(who, address);
  out.Port(who, "authentication port", listen.authPort, false);
  out.Port(who, "accounting port", listen.acctPort, true);
  if (listen.acctPort == listen.authPort) out.Add(who, "authentication and accounting share port [" +
                                                       std::to_string(listen.authPort) + "]");
}

void CheckClients(const std::vector<RadiusClient>& clients, Collector& out) {
  std::set<std::string> names;
  std::vector<std::pair<std::string, AddressPrefix>> prefixes;
  for (const RadiusClient& client : clients) {
    const std::string who = "Client [" + client.name + "]";
    out.Name("Client", client.name, names);
    out.Text(who, "secret", client.secret, ConfigValidator::kMaxSecretLength);
    AddressPrefix prefix;
    if (!AddressPrefix::Parse(client.address, prefix)) {
      out.Add(who, "address [" + client.address + "] is not an address or prefix");
      continue;
    }
    for (const auto& [otherName, other] : prefixes) {
      if (prefix.Overlaps(other)) out.Add(who, "address [" + client.address + "] overlaps client [" + otherName + "]");
    }
    prefixes.emplace_back(client.name, prefix);
  }
}

void CheckHomeServers(const std::vector<HomeServer>& servers, Collector& out) {
  std::set<std::string> names;
  for (const HomeServer& server : servers) {
    const std::string who = "Home server [" + server.name + "]";
    out.Name("Home server", server.name, names);
    out.Address(who, server.address);
    // A server for both takes accounting on the next port up.
    out.Port(who, "port", server.type == HOME_SERVER_TYPE::BOTH && server.port == 65535 ? 65536 : server.port, false);
    out.Text(who, "secret", server.secret, ConfigValidator::kMaxSecretLength);
    if (server.responseWindow == 0 || server.responseWindow > ConfigValidator::kMaxResponseWindow) {
      out.Add(who, "response window [" + std::to_string(server.responseWindow) + "] is not 1 to " +
                       std::to_string(ConfigValidator::kMaxResponseWindow) + " seconds");
    }
  }
}

void CheckPools(const RadiusConfig& config, Collector& out) {
  std::set<std::string> names;
  for (const HomeServerPool& pool : config.pools) {
    const std::string who = "Pool [" + pool.name + "]";
    out.Name("Pool", pool.name, names);
    if (pool.members.empty()) out.Add(who, "has no members");
    std::set<std::string> members;
    std::set<HOME_SERVER_TYPE> types;
    for (const std::string& member : pool.members) {
      const HomeServer* server = config.FindHomeServer(member);
      if (server == nullptr) {
        out.Add(who, "names an unknown home server [" + member + "]");
      } else {
        types.insert(server->type);
      }
      if (!members.insert(member).second) out.Add(who, "lists home server [" + member + "] twice");
    }
    if (types.size() > 1) out.Add(who, "mixes home servers of different types");
  }
}

void CheckRealms(const RadiusConfig& config, Collector& out) {
  std::set<std::string> names;
  for (const Realm& realm : config.realms) {
    out.Name("Realm", realm.name, names);
    if (!realm.pool.empty() && config.FindPool(realm.pool) == nullptr) {
      out.Add("Realm [" + realm.name + "]", "names an unknown pool [" + realm.pool + "]");
    }
  }
}

}  // namespace

std::vector<std::string> ConfigValidator::Problems(const RadiusConfig& config) {
  Collector out;
  CheckListen(config.listen, out);
  CheckClients(config.clients, out);
  CheckHomeServers(config.homeServers, out);
  CheckPools(config, out);
  CheckRealms(config, out);
  return out.problems;
}

void ConfigValidator::Check(const RadiusConfig& config) {
  const std::vector<std::string> problems = Problems(config);
  if (problems.empty()) return;
  std::string joined;
  for (const std::string& problem : problems) joined += (joined.empty() ? "" : "; ") + problem;
  ORVA_THROW(Exception::InvalidArgumentException, "Invalid RADIUS configuration: " + joined);
}

}  // namespace ORVA::MESH::SDK::Radius
