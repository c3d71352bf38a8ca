// Whatever bytes stand in a node's identity file or its mesh known-hosts file are read into
// clean values or refused: identity values never hold a quote or a control character, and
// a known-hosts file either throws or yields fingerprints that print back as they read.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "orvamesh/utils/identity.h"
#include "orvamesh/utils/ssh_keys.h"
#include "quiet_log.h"

namespace {

using namespace ORVA::MESH::SDK;

bool Clean(const std::string& value) {
  for (unsigned char c : value) {
    if (c < 0x20 || c == 0x7f || c == '"') return false;
  }
  return !value.empty();
}

// The input as a file without touching the disk.
std::string InMemoryFile(const uint8_t* data, size_t size, int& fd) {
  fd = ::memfd_create("fuzz", MFD_CLOEXEC);
  if (fd < 0 || ::write(fd, data, size) != static_cast<ssize_t>(size)) std::abort();
  return "/proc/self/fd/" + std::to_string(fd);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  SilenceLibraryLog();
  int fd = -1;
  const std::string path = InMemoryFile(data, size, fd);

  Utils::NodeIdentity identity;
  if (Utils::ReadNodeIdentity(path, identity) == 0) {
    if (!Clean(identity.osName) || !Clean(identity.osVersion) || !Clean(identity.serial) ||
        !Clean(identity.modelUnique)) {
      std::abort();
    }
  }

  try {
    SSHWrapper::HostKeyFingerprint found{std::array<uint8_t, 32>{}};
    const std::string node(reinterpret_cast<const char*>(data), size < 17 ? size : 17);
    if (Utils::MeshKnownHosts(path).Lookup(node.substr(0, node.find_first_of(" \t\n")), found) &&
        SSHWrapper::HostKeyFingerprint(found.ToString()) != found) {
      std::abort();
    }
  } catch (const std::exception&) {
  }
  ::close(fd);
  return 0;
}
