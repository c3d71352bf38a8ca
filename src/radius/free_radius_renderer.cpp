#include "orvamesh/radius/free_radius_renderer.h"

#include <sys/stat.h>

#include <cerrno>
#include <sstream>

#include "orvamesh/base/exception.h"
#include "orvamesh/platform/ip_address.h"
#include "orvamesh/radius/config_validator.h"
#include "platform/atomic_file.h"

namespace ORVA::MESH::SDK::Radius {
namespace {

constexpr char kHeader[] = "# Written by liborvamesh from the mesh's RADIUS settings; edits here are replaced.\n";

std::string Q(const std::string& value) { return FreeRadiusRenderer::Quote(value); }
std::string Q(uint32_t value) { return Q(std::to_string(value)); }

// "ipaddr" for IPv4, "ipv6addr" for IPv6; prefixes keep their length.
std::string AddressKey(const std::string& address) {
  orva::net::utils::IPAddress parsed;
  orva::net::utils::IPAddress::TryParse(address.substr(0, address.find('/')), parsed);
  return parsed.IsIPv6() ? "ipv6addr" : "ipaddr";
}

std::string RenderClients(const RadiusConfig& config) {
  std::ostringstream out;
  out << kHeader;
  for (const RadiusClient& client : config.clients) {
    out << "\nclient " << Q(client.name) << " {\n"
        << "\t" << AddressKey(client.address) << " = " << Q(client.address) << "\n"
        << "\tsecret = " << Q(client.secret) << "\n"
        << "\tshortname = " << Q(client.name) << "\n"
        << "\trequire_message_authenticator = 'no'\n"
        << "}\n";
  }
  return out.str();
}

const char* HomeServerType(HOME_SERVER_TYPE type) {
  switch (type) {
    case HOME_SERVER_TYPE::ACCT: return "acct";
    case HOME_SERVER_TYPE::BOTH: return "auth+acct";
    case HOME_SERVER_TYPE::AUTH: break;
  }
  return "auth";
}

void RenderHomeServer(const HomeServer& server, std::ostringstream& out) {
  out << "\nhome_server " << Q(server.name) << " {\n"
      << "\ttype = " << Q(HomeServerType(server.type)) << "\n"
      << "\t" << AddressKey(server.address) << " = " << Q(server.address) << "\n"
      << "\tport = " << Q(server.port) << "\n"
      << "\tproto = 'udp'\n"
      << "\tsecret = " << Q(server.secret) << "\n"
      << "\tresponse_window = " << Q(server.responseWindow) << "\n"
      << "\tstatus_check = " << Q(server.statusCheck ? "status-server" : "none") << "\n";
  if (server.statusCheck) {
    // A silent server comes back once it has answered a few probes in a row.
    out << "\tcheck_interval = '10'\n"
        << "\tnum_answers_to_alive = '3'\n";
  }
  out << "}\n";
}

// Which pool keys a realm gets follows the pool's members: auth-only servers cannot take
// accounting and the server refuses a pool that says otherwise.
const char* PoolKey(const RadiusConfig& config, const HomeServerPool& pool) {
  const HomeServer* first = pool.members.empty() ? nullptr : config.FindHomeServer(pool.members.front());
  if (first == nullptr || first->type == HOME_SERVER_TYPE::BOTH) return "pool";
  return first->type == HOME_SERVER_TYPE::ACCT ? "acct_pool" : "auth_pool";
}

std::string RenderProxy(const RadiusConfig& config) {
  std::ostringstream out;
  out << kHeader << "\nproxy server {\n\tdefault_fallback = 'no'\n}\n";
  for (const HomeServer& server : config.homeServers) RenderHomeServer(server, out);
  for (const HomeServerPool& pool : config.pools) {
    out << "\nhome_server_pool " << Q(pool.name) << " {\n\ttype = " << Q(ToString(pool.type)) << "\n";
    for (const std::string& member : pool.members) out << "\thome_server = " << Q(member) << "\n";
    out << "}\n";
  }
  for (const Realm& realm : config.realms) {
    out << "\nrealm " << Q(realm.name) << " {\n";
    if (const HomeServerPool* pool = config.FindPool(realm.pool)) {
      out << "\t" << PoolKey(config, *pool) << " = " << Q(pool->name) << "\n";
    }
    if (!realm.strip) out << "\tnostrip\n";
    out << "}\n";
  }
  return out.str();
}

void RenderListen(const char* type, const std::string& address, uint32_t port, std::ostringstream& out) {
  out << "\tlisten {\n"
      << "\t\ttype = " << Q(type) << "\n"
      << "\t\t" << AddressKey(address) << " = " << Q(address) << "\n"
      << "\t\tport = " << Q(port) << "\n"
      << "\t}\n";
}

std::string RenderSite(const RadiusConfig& config) {
  std::ostringstream out;
  out << kHeader << "\nserver " << FreeRadiusRenderer::kVirtualServer << " {\n";
  for (const std::string& address : config.listen.addresses) {
    RenderListen("auth", address, config.listen.authPort, out);
    if (config.listen.acctPort != 0) RenderListen("acct", address, config.listen.acctPort, out);
  }
  out << "\tauthorize {\n\t\tsuffix\n\t\tfiles\n\t\tpap\n\t}\n"
      << "\tauthenticate {\n\t\tAuth-Type PAP {\n\t\t\tpap\n\t\t}\n\t}\n"
      << "\tpreacct {\n\t\tsuffix\n\t}\n"
      << "\taccounting {\n\t}\n"
      << "}\n";
  return out.str();
}

}  // namespace

std::string FreeRadiusRenderer::Quote(const std::string& value) {
  std::string out = "'";
  for (char c : value) {
    if (c == '\'') out += '\\';
    out += c;
  }
  out += '\'';
  return out;
}

std::vector<RenderedFile> FreeRadiusRenderer::Render(const RadiusConfig& config) {
  ConfigValidator::Check(config);
  return {{"clients.conf", RenderClients(config)},
          {"proxy.conf", RenderProxy(config)},
          {std::string("sites-enabled/") + kVirtualServer, RenderSite(config)}};
}

void FreeRadiusRenderer::Write(const std::vector<RenderedFile>& files, const std::string& confDir) {
  const std::string sites = confDir + "/sites-enabled";
  ORVA_THROW_ERRNO_IF(::mkdir(sites.c_str(), 0750) != 0 && errno != EEXIST, Exception::RuntimeException,
                      "Failed to create [" + sites + "]");
  std::vector<std::pair<std::string, std::string>> targets;
  for (const RenderedFile& file : files) targets.emplace_back(confDir + "/" + file.relativePath, file.content);
  orva::platform::WriteFilesAtomically(targets, kFileMode);
}

}  // namespace ORVA::MESH::SDK::Radius
