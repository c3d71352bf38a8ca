#include "support/private_mounts.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace orva::test {
namespace {

std::string Enter() {
  if (::geteuid() != 0) return "a private /run needs root (CI runs these tests as root)";
  if (::unshare(CLONE_NEWNS) != 0) return std::string("cannot make a mount namespace: ") + std::strerror(errno);
  if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    return std::string("cannot make / private: ") + std::strerror(errno);
  }
  for (const char* dir : {"/run", "/var/run"}) {
    struct stat st;
    // /var/run is usually a link to /run and then needs no mount of its own.
    if (::lstat(dir, &st) != 0 || !S_ISDIR(st.st_mode)) continue;
    if (::mount("tmpfs", dir, "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") != 0) {
      return std::string("cannot mount a private ") + dir + ": " + std::strerror(errno);
    }
  }
  // The wpa_cli and hostapd_cli clients leave their sockets (/tmp/wpa_ctrl_*) behind when they
  // are killed; a private /tmp takes them, and any test directory, away with the namespace.
  if (::mount("tmpfs", "/tmp", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") != 0) {
    return std::string("cannot mount a private /tmp: ") + std::strerror(errno);
  }
  return std::string();
}

}  // namespace

const std::string& EnterPrivateRun() {
  static const std::string reason = Enter();
  return reason;
}

}  // namespace orva::test
