#include "support/private_mounts.h"

#include <dirent.h>
#include <signal.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace orva::test {
namespace {

// wpa_cli and hostapd_cli leave their client sockets (/tmp/wpa_ctrl_<pid>-<n>) behind when they
// are killed. /tmp itself cannot be made private (the build tree may live there), so at exit
// the sockets of clients that no longer run are removed; a running client's stay.
void RemoveStaleClientSockets() {
  DIR* dir = ::opendir("/tmp");
  if (dir == nullptr) return;
  while (const dirent* entry = ::readdir(dir)) {
    unsigned long pid = 0;
    if (std::sscanf(entry->d_name, "wpa_ctrl_%lu-", &pid) != 1 || pid == 0) continue;
    if (::kill(static_cast<pid_t>(pid), 0) == 0 || errno != ESRCH) continue;
    ::unlink((std::string("/tmp/") + entry->d_name).c_str());
  }
  ::closedir(dir);
}

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
  std::atexit(&RemoveStaleClientSockets);
  return std::string();
}

}  // namespace

const std::string& EnterPrivateRun() {
  static const std::string reason = Enter();
  return reason;
}

}  // namespace orva::test
