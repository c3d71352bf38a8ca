#include "orvamesh/platform/wifi_client.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>

#include "orvamesh/platform/system_root.h"
#include "orvamesh/base/log.h"
#include "platform/text.h"

namespace ORVA::Wifi {
namespace {

constexpr const char* kCountryCodeKey = "country_code";


bool IsAsciiLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// Two letters, upper-cased into `out`.
bool NormaliseCountryCode(const std::string& text, std::string& out) {
  if (text.size() != 2 || !IsAsciiLetter(text[0]) || !IsAsciiLetter(text[1])) return false;
  out = text;
  for (char& c : out) c = static_cast<char>(c & ~0x20);
  return true;
}

}  // namespace

WifiClient::WifiClient(std::string configPath) : configPath_(std::move(configPath)) {}

int WifiClient::GetLocalCountryCode(std::string& out) const {
  const std::string path = orva::platform::SystemRoot::Path(configPath_);
  std::ifstream file(path);
  if (!file) {
    ORVA_LOG_ERR("Failed to open Wi-Fi region file [%s], errno: %d", path.c_str(), errno);
    return -1;
  }
  std::string line;
  std::string value;
  bool found = false;
  while (std::getline(file, line)) {
    line = orva::platform::TrimBlanks(line);
    if (line.empty() || line[0] == '#') continue;
    const size_t equals = line.find('=');
    if (equals == std::string::npos || orva::platform::TrimBlanks(line.substr(0, equals)) != kCountryCodeKey) continue;
    value = orva::platform::TrimBlanks(line.substr(equals + 1));
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
    found = true;
  }
  if (!found) {
    ORVA_LOG_ERR("No %s in Wi-Fi region file [%s]", kCountryCodeKey, path.c_str());
    return -1;
  }
  if (!NormaliseCountryCode(value, out)) {
    ORVA_LOG_ERR("Invalid local country code [%s] in [%s]", value.c_str(), path.c_str());
    return -1;
  }
  return 0;
}

int WifiClient::ParseCountryCodeCapability(const std::string& capability, std::vector<std::string>& codes) {
  std::vector<std::string> parsed;
  size_t start = 0;
  for (;;) {
    const size_t comma = capability.find(',', start);
    const std::string entry = orva::platform::TrimBlanks(capability.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
    std::string code;
    if (entry == "*") {
      parsed.push_back(entry);
    } else if (NormaliseCountryCode(entry, code)) {
      parsed.push_back(code);
    } else {
      return -1;
    }
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  codes = std::move(parsed);
  return 0;
}

bool WifiClient::IsCountryCodeCompatible(const std::string& remoteCapability, WIFI_MODEL remoteModel) const {
  if (remoteModel > WIFI_MODEL_HW4000) {
    ORVA_LOG_ERR("Unknown remote Wi-Fi model [%u]", static_cast<unsigned>(remoteModel));
    return false;
  }
  std::vector<std::string> codes;
  if (ParseCountryCodeCapability(remoteCapability, codes) != 0) {
    ORVA_LOG_ERR("Malformed country code capability [%s]", remoteCapability.c_str());
    return false;
  }
  std::string local;
  if (GetLocalCountryCode(local) != 0) return false;
  for (const std::string& code : codes) {
    if (code == "*" || code == local) return true;
  }
  return false;
}

std::shared_ptr<WifiClient> WifiClientFactory::GetInstance(const std::string& configPath) {
  static std::mutex mutex;
  static std::map<std::string, std::shared_ptr<WifiClient>> clients;
  std::lock_guard<std::mutex> lock(mutex);
  std::shared_ptr<WifiClient>& client = clients[configPath];
  if (!client) client = std::make_shared<WifiClient>(configPath);
  return client;
}

std::shared_ptr<WifiClient> WifiClientFactoryForMesh::GetInstance() {
  return WifiClientFactory::GetInstance(WifiClient::kDefaultConfigPath);
}

}  // namespace ORVA::Wifi
