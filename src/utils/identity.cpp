#include "orvamesh/utils/identity.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>
#include <vector>

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

// The file's keys, read once so that all fields come from the same moment of the file.
class IdentityEntries {
 public:
  explicit IdentityEntries(std::string path) : path_(std::move(path)) {}
  bool Load() { return orva::platform::FileGetTopLevel(path_, entries_) == 0; }

  // The first value of the key: present, at most 255 characters, printable, without quotes.
  bool Text(const char* key, std::string& out) const {
    const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const auto& e) { return e.first == key; });
    if (found == entries_.end() || found->second.empty() || found->second.size() > kMaxValue) {
      ORVA_LOG_ERR("Identity file [%s] has no usable value for [%s]", path_.c_str(), key);
      return false;
    }
    if (!IsCleanText(found->second)) {
      ORVA_LOG_ERR("Identity file [%s]: [%s] holds control characters or quotes", path_.c_str(), key);
      return false;
    }
    out = found->second;
    return true;
  }

  bool Number(const char* key, unsigned long max, unsigned long& out) const {
    std::string text;
    if (!Text(key, text)) return false;
    char* end = nullptr;
    errno = 0;
    const unsigned long value = std::strtoul(text.c_str(), &end, 10);
    if (text[0] < '0' || text[0] > '9' || *end != '\0' || errno != 0 || value > max) {
      ORVA_LOG_ERR("Identity file [%s]: [%s] is not a number up to %lu", path_.c_str(), key, max);
      return false;
    }
    out = value;
    return true;
  }

 private:
  static constexpr size_t kMaxValue = 255;
  std::string path_;
  std::vector<std::pair<std::string, std::string>> entries_;
};

}  // namespace

std::string IdentityFilePath() { return orva::platform::SystemRoot::Path("/etc/orvamesh/identity"); }

int GetNodeIdentity(NodeIdentity& identity) { return ReadNodeIdentity(IdentityFilePath(), identity); }

int ReadNodeIdentity(const std::string& path, NodeIdentity& identity) {
  IdentityEntries file(path);
  if (!file.Load()) {
    ORVA_LOG_ERR("Identity file [%s] is missing, not a regular file or unreadable", path.c_str());
    return -1;
  }
  NodeIdentity read;
  unsigned long build = 0;
  unsigned long update = 0;
  if (!file.Text("OS_NAME", read.osName) || !file.Text("OS_VERSION", read.osVersion) ||
      !file.Number("OS_BUILD", 0xffffffffUL, build) || !file.Number("OS_UPDATE", 0xffUL, update) ||
      !file.Text("MODEL_UNIQUE", read.modelUnique) || !file.Text("SERIAL", read.serial)) {
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
