#include "orvamesh/utils/identity.h"

#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>

#include "orvamesh/base/log.h"
#include "orvamesh/platform/system_root.h"
#include "orvamesh/utils/model.h"
#include "platform/config_file.h"

namespace ORVA::MESH::SDK::Utils {
namespace {

// A value the scan protocol and the JSON output can carry as it is: printable, no quotes.
bool IsCleanText(const std::string& value) {
  for (unsigned char c : value) {
    if (c < 0x20 || c == 0x7f || c == '"') return false;
  }
  return true;
}

bool ReadText(const std::string& path, const char* key, std::string& out) {
  char buffer[256];
  const int length = orva::platform::FileGetKeyValue(path, key, buffer, sizeof buffer);
  if (length <= 0) {
    ORVA_LOG_ERR("Identity file [%s] has no usable value for [%s]", path.c_str(), key);
    return false;
  }
  std::string value(buffer, static_cast<size_t>(length));
  if (!IsCleanText(value)) {
    ORVA_LOG_ERR("Identity file [%s]: [%s] holds control characters or quotes", path.c_str(), key);
    return false;
  }
  out = std::move(value);
  return true;
}

bool ReadNumber(const std::string& path, const char* key, unsigned long max, unsigned long& out) {
  std::string text;
  if (!ReadText(path, key, text)) return false;
  char* end = nullptr;
  errno = 0;
  const unsigned long value = std::strtoul(text.c_str(), &end, 10);
  if (text.empty() || text[0] < '0' || text[0] > '9' || *end != '\0' || errno != 0 || value > max) {
    ORVA_LOG_ERR("Identity file [%s]: [%s] is not a number up to %lu", path.c_str(), key, max);
    return false;
  }
  out = value;
  return true;
}

}  // namespace

std::string IdentityFilePath() { return orva::platform::SystemRoot::Path("/etc/orvamesh/identity"); }

int GetNodeIdentity(NodeIdentity& identity) { return ReadNodeIdentity(IdentityFilePath(), identity); }

int ReadNodeIdentity(const std::string& path, NodeIdentity& identity) {
  struct stat st {};
  if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
    ORVA_LOG_ERR("Identity file [%s] is missing or not a regular file", path.c_str());
    return -1;
  }
  NodeIdentity read;
  unsigned long build = 0;
  unsigned long update = 0;
  if (!ReadText(path, "OS_NAME", read.osName) || !ReadText(path, "OS_VERSION", read.osVersion) ||
      !ReadNumber(path, "OS_BUILD", 0xffffffffUL, build) ||
      !ReadNumber(path, "OS_UPDATE", 0xffUL, update) ||
      !ReadText(path, "MODEL_UNIQUE", read.modelUnique) || !ReadText(path, "SERIAL", read.serial)) {
    return -1;
  }
  if (Model::ModelUniqueToModelName(read.modelUnique).empty()) {
    ORVA_LOG_ERR("Identity file [%s]: MODEL_UNIQUE [%s] is not a known model", path.c_str(),
                 read.modelUnique.c_str());
    return -1;
  }
  read.osBuildNumber = static_cast<uint32_t>(build);
  read.osUpdateNumber = static_cast<uint8_t>(update);
  identity = std::move(read);
  return 0;
}

}  // namespace ORVA::MESH::SDK::Utils
