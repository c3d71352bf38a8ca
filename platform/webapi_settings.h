#pragma once
// Where the web API transport finds its trust settings, credentials and the local node's web
// server. All paths are system paths, looked up below the system root; see README.md,
// "Web API transport".
#include <string>

namespace orva::platform {

struct WebapiSettings {
  static constexpr const char* kSettingsPath = "/etc/orvamesh/webapi.conf";
  static constexpr const char* kCredentialsPath = "/etc/orvamesh/webapi/credentials.json";

  // A PEM file of trusted CAs or pinned node certificates (system path; "" for none).
  std::string caFile = "/etc/orvamesh/webapi/ca.pem";
  // A directory of trusted certificates prepared with `openssl rehash` (system path).
  std::string caDir;
  bool verifyPeer = true;
  bool verifyHost = true;
  // The local node's web server, used by the default API runner backend.
  std::string localHost = "::1";
  int localPort = 443;

  // Defaults overridden by "key=value" lines of the settings file when it exists. Unknown
  // keys and malformed lines are logged and skipped.
  static WebapiSettings Load();
};

struct WebapiCredentials {
  std::string user;
  std::string password;
};

// The credentials of `session` from the store: {"<session>": {"user": "...", "password":
// "..."}, ...}. False (with a log line) when the store or the session is missing or bad.
bool LoadWebapiCredentials(const std::string& session, WebapiCredentials& out);

}  // namespace orva::platform
