#include "orvamesh/utils/login.h"

#include <crypt.h>
#include <openssl/crypto.h>

#include <cstring>
#include <fstream>
#include <memory>

#include "orvamesh/base/log.h"
#include "orvamesh/platform/system_root.h"

namespace ORVA::MESH::SDK::Utils {
namespace {

enum class Lookup { kFound, kMissing, kUnreadable };

// The hash field of the user's line. Lines without the two colons that frame the hash, or
// with a name no account can have, are skipped with their line number.
Lookup FindHash(const std::string& path, const std::string& user, std::string& hash) {
  std::ifstream file(path);
  if (!file) return Lookup::kUnreadable;
  std::string line;
  for (unsigned number = 1; std::getline(file, line); ++number) {
    if (line.empty() || line[0] == '#') continue;
    const size_t first = line.find(':');
    const size_t second = first == std::string::npos ? first : line.find(':', first + 1);
    if (first == 0 || second == std::string::npos) {
      ORVA_LOG_ERR("Skipping malformed line %u of [%s]", number, path.c_str());
      continue;
    }
    if (line.compare(0, first, user) == 0 && first == user.size()) {
      hash = line.substr(first + 1, second - first - 1);
      return Lookup::kFound;
    }
  }
  return Lookup::kMissing;
}

bool IsLocked(const std::string& hash) { return hash.empty() || hash[0] == '!' || hash[0] == '*'; }

// A hash of the default method to spend the same time on when there is no real one to check.
const std::string& DummyHash() {
  static const std::string hash = [] {
    char salt[CRYPT_GENSALT_OUTPUT_SIZE];
    if (crypt_gensalt_rn(nullptr, 0, nullptr, 0, salt, sizeof salt) == nullptr) return std::string();
    auto data = std::make_unique<crypt_data>();
    const char* out = crypt_r("orvamesh-timing-only", salt, data.get());
    return std::string(out != nullptr && out[0] != '*' ? out : "");
  }();
  return hash;
}

// crypt_r of the password with the hash's method and salt; true when it reproduces the hash.
bool Matches(const std::string& password, const std::string& hash) {
  auto data = std::make_unique<crypt_data>();
  const char* out = crypt_r(password.c_str(), hash.c_str(), data.get());
  bool same = false;
  if (out != nullptr && out[0] != '*') {
    const size_t length = std::strlen(out);
    same = length == hash.size() && CRYPTO_memcmp(out, hash.data(), length) == 0;
  }
  OPENSSL_cleanse(data.get(), sizeof(crypt_data));
  return same;
}

}  // namespace

int CheckLogin(const std::string& user, const std::string& password) {
  const std::string path = orva::platform::SystemRoot::Path("/etc/shadow");
  if (user.empty() || user.find_first_of(":\n") != std::string::npos ||
      password.find('\0') != std::string::npos) {
    ORVA_LOG_ERR("Log-in refused: the user name or password is not one an account can have");
    return -1;
  }
  std::string hash;
  const Lookup found = FindHash(path, user, hash);
  if (found == Lookup::kUnreadable) {
    ORVA_LOG_ERR("Log-in refused for [%s]: cannot read [%s]", user.c_str(), path.c_str());
    return -1;
  }
  const bool usable = found == Lookup::kFound && !IsLocked(hash);
  const bool matches = Matches(password, usable ? hash : DummyHash());
  if (usable && matches) return 0;
  ORVA_LOG_ERR("Log-in refused for [%s]", user.c_str());
  return -1;
}

}  // namespace ORVA::MESH::SDK::Utils
