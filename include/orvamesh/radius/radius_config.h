#pragma once
// The mesh's RADIUS service as the CAP runs it: where the service listens, which access points
// may ask it (clients), which outside servers it forwards to (home servers, grouped in pools)
// and which pool serves which realm of the user names. Plain values; JSON in and out.
//
// JSON shape (every key optional unless said otherwise; unknown keys are ignored):
//   { "listen":  { "addresses": ["0.0.0.0"], "auth_port": 1812, "acct_port": 1813 },
//     "clients": [ { "name": "aps", "address": "192.168.8.0/24", "secret": "..." } ],
//     "home_servers": [ { "name": "corp1", "address": "10.0.0.5", "port": 1812,
//                         "type": "auth" | "acct" | "both", "secret": "...",
//                         "response_window": 20, "status_check": true } ],
//     "pools":   [ { "name": "corp", "type": "fail-over" | "load-balance",
//                    "members": ["corp1", "corp2"] } ],
//     "realms":  [ { "name": "corp.example", "pool": "corp", "strip": true } ] }
// A realm without "pool" is answered by this server itself. The realm names "DEFAULT" (any
// realm not listed) and "NULL" (user names without a realm) have their usual meaning.
// An "acct_port" of 0 means no accounting listener.
//
// FromJson throws InvalidArgumentException naming the key and its place ("home_servers[1].port")
// when a value has the wrong JSON type or an enumeration word is unknown; whether the values
// make sense together is the validator's business (radius/config_validator.h).
#include <json/value.h>

#include <cstdint>
#include <string>
#include <vector>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Radius {

enum class HOME_SERVER_TYPE { AUTH, ACCT, BOTH };
enum class POOL_TYPE { FAIL_OVER, LOAD_BALANCE };

struct ORVA_EXPORT ListenSettings {
  std::vector<std::string> addresses{"0.0.0.0"};
  uint32_t authPort = 1812;
  uint32_t acctPort = 1813;
  bool operator==(const ListenSettings& other) const;
};

struct ORVA_EXPORT RadiusClient {
  std::string name;
  std::string address;  // an address, or a prefix "a.b.c.d/len"
  std::string secret;
  bool operator==(const RadiusClient& other) const;
};

struct ORVA_EXPORT HomeServer {
  std::string name;
  std::string address;
  uint32_t port = 1812;
  HOME_SERVER_TYPE type = HOME_SERVER_TYPE::AUTH;
  std::string secret;
  uint32_t responseWindow = 20;  // seconds without an answer before the server counts as silent
  bool statusCheck = true;       // probe a silent server with Status-Server before using it again
  bool operator==(const HomeServer& other) const;
};

struct ORVA_EXPORT HomeServerPool {
  std::string name;
  POOL_TYPE type = POOL_TYPE::FAIL_OVER;
  std::vector<std::string> members;  // home server names, in fail-over order
  bool operator==(const HomeServerPool& other) const;
};

struct ORVA_EXPORT Realm {
  std::string name;
  std::string pool;  // empty: answered locally
  bool strip = true;  // forward "user" instead of "user@realm"
  bool operator==(const Realm& other) const;
};

class ORVA_EXPORT RadiusConfig {
 public:
  ListenSettings listen;
  std::vector<RadiusClient> clients;
  std::vector<HomeServer> homeServers;
  std::vector<HomeServerPool> pools;
  std::vector<Realm> realms;

  static RadiusConfig FromJson(const Json::Value& json);
  // Parses JSON text; throws InvalidArgumentException when it is no JSON object.
  static RadiusConfig FromJsonText(const std::string& text);
  Json::Value ToJson() const;
  std::string ToJsonText() const;

  const HomeServer* FindHomeServer(const std::string& name) const;
  const HomeServerPool* FindPool(const std::string& name) const;

  bool operator==(const RadiusConfig& other) const;
  bool operator!=(const RadiusConfig& other) const { return !(*this == other); }
};

ORVA_EXPORT std::string ToString(HOME_SERVER_TYPE type);  // "auth", "acct", "both"
ORVA_EXPORT std::string ToString(POOL_TYPE type);         // "fail-over", "load-balance"

}  // namespace ORVA::MESH::SDK::Radius
