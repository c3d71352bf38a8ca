#include "platform/node_settings.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <initializer_list>

#include "orvamesh/platform/system_root.h"
#include "platform/config_file.h"

namespace orva::platform {

std::string NodeSettingsPath() { return SystemRoot::Path("/usr/orva/etc/node_settings.conf"); }

namespace {

// 1 and the text when the key is set, 0 when it is not, -1 when the file cannot be read.
int ReadSetting(const std::string& key, std::string& value) {
  char buffer[256];
  int rc = FileGetKeyValue(NodeSettingsPath(), key, buffer, sizeof buffer);
  if (rc < 0) return -1;
  if (rc == 0) return 0;
  value = buffer;
  return 1;
}

// The number of the first key that is set among `keys`, else `fallback`; -1 on a bad value.
int ReadNumber(std::initializer_list<std::string> keys, long fallback, long max, long& out) {
  for (const std::string& key : keys) {
    std::string text;
    int rc = ReadSetting(key, text);
    if (rc < 0) return -1;
    if (rc == 0) continue;
    char* end = nullptr;
    errno = 0;
    long value = std::strtol(text.c_str(), &end, 10);
    if (errno != 0 || end == text.c_str() || *end != '\0' || value < 0 || value > max) return -1;
    out = value;
    return 0;
  }
  out = fallback;
  return 0;
}

}  // namespace
}  // namespace orva::platform

namespace orvawireless::wifi::utils {

int ReadTopology(int& topology) {
  long value = 0;
  if (orva::platform::ReadNumber({"wifi_topology"}, 0, INT_MAX, value) != 0) return -1;
  topology = static_cast<int>(value);
  return 0;
}

}  // namespace orvawireless::wifi::utils

namespace orva::net {

int IgmpSnooping::Get(const std::string& bridge, bool& enabled, unsigned& aging) const {
  long on = 1;
  long age = 0;
  if (orva::platform::ReadNumber({"igmp_snooping." + bridge, "igmp_snooping"}, 1, 1, on) != 0) return -1;
  if (orva::platform::ReadNumber({"igmp_snooping_aging." + bridge, "igmp_snooping_aging"}, 0, UINT_MAX / 2, age) !=
      0) {
    return -1;
  }
  enabled = on != 0;
  aging = static_cast<unsigned>(age);
  return 0;
}

int Lan::GetBridgeName(std::string& name) const {
  std::string value;
  int rc = orva::platform::ReadSetting("lan_bridge", value);
  if (rc < 0) return -1;
  name = rc == 0 || value.empty() ? std::string("br0") : value;
  return 0;
}

}  // namespace orva::net
