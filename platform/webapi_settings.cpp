#include "platform/webapi_settings.h"

#include <json/json.h>

#include <fstream>
#include <memory>
#include <sstream>

#include "orvamesh/platform/system_root.h"
#include "orvamesh/base/log.h"
#include "platform/text.h"

namespace orva::platform {

namespace {


bool ParseFlag(const std::string& value, bool& out) {
  if (value == "1" || value == "yes" || value == "true") {
    out = true;
  } else if (value == "0" || value == "no" || value == "false") {
    out = false;
  } else {
    return false;
  }
  return true;
}

bool ParsePort(const std::string& value, int& out) {
  try {
    std::size_t used = 0;
    const int port = std::stoi(value, &used);
    if (used != value.size() || port < 1 || port > 65535) return false;
    out = port;
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

bool Apply(WebapiSettings& settings, const std::string& key, const std::string& value) {
  if (key == "ca_file") {
    settings.caFile = value;
    return true;
  }
  if (key == "ca_dir") {
    settings.caDir = value;
    return true;
  }
  if (key == "verify_peer") return ParseFlag(value, settings.verifyPeer);
  if (key == "verify_host") return ParseFlag(value, settings.verifyHost);
  if (key == "local_host") {
    settings.localHost = value;
    return !value.empty();
  }
  if (key == "local_port") return ParsePort(value, settings.localPort);
  return false;
}

}  // namespace

WebapiSettings WebapiSettings::Load() {
  WebapiSettings settings;
  const std::string path = SystemRoot::Path(kSettingsPath);
  std::ifstream in(path);
  if (!in) return settings;
  std::string line;
  int number = 0;
  while (std::getline(in, line)) {
    ++number;
    line = TrimBlanks(line);
    if (line.empty() || line[0] == '#') continue;
    const auto equals = line.find('=');
    if (equals == std::string::npos ||
        !Apply(settings, TrimBlanks(line.substr(0, equals)), TrimBlanks(line.substr(equals + 1)))) {
      ORVA_LOG_ERR("Ignoring line %d of [%s]: [%s]", number, path.c_str(), line.c_str());
    }
  }
  return settings;
}

bool LoadWebapiCredentials(const std::string& session, WebapiCredentials& out) {
  const std::string path = SystemRoot::Path(WebapiSettings::kCredentialsPath);
  std::ifstream in(path);
  if (!in) {
    ORVA_LOG_ERR("Cannot read credential store [%s]", path.c_str());
    return false;
  }
  std::stringstream text;
  text << in.rdbuf();
  Json::Value store;
  if (!ParseJsonText(text.str(), store) || !store.isObject()) {
    ORVA_LOG_ERR("Ill-formed credential store [%s]", path.c_str());
    return false;
  }
  const Json::Value entry = store.get(session, Json::Value());
  if (!entry.isObject() || !entry["user"].isString() || !entry["password"].isString()) {
    ORVA_LOG_ERR("No credentials for session [%s] in [%s]", session.c_str(), path.c_str());
    return false;
  }
  out.user = entry["user"].asString();
  out.password = entry["password"].asString();
  return true;
}

}  // namespace orva::platform
