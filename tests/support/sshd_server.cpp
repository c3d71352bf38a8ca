#include "support/sshd_server.h"

#include "support/child.h"

#include <arpa/inet.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <sstream>
#include <stdexcept>
#include <tuple>

#include "support/netns.h"
#include "support/wait_until.h"

namespace orva::test {

namespace {

const char kSshd[] = "/usr/sbin/sshd";

// The first two ids above 64100 that no user or group of the machine has.
uid_t FreeId() {
  uid_t id = 64100;
  while (::getpwuid(id) || ::getgrgid(id) || ::getpwuid(id + 1) || ::getgrgid(id + 1)) id += 2;
  return id;
}

uint16_t FreePort() {
  sockaddr_in6 any{};
  any.sin6_family = AF_INET6;
  socklen_t length = sizeof(any);
  const int fd = ::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool bound = fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&any), length) == 0 &&
                     ::getsockname(fd, reinterpret_cast<sockaddr*>(&any), &length) == 0;
  if (fd >= 0) ::close(fd);
  if (!bound) throw std::runtime_error("cannot find a free port");
  return ntohs(any.sin6_port);
}

}  // namespace

std::string SshdUnavailableReason() {
  if (::geteuid() != 0) return "a private sshd needs root (CI runs these tests as root)";
  if (::access(kSshd, X_OK) != 0) return "openssh-server is not installed (/usr/sbin/sshd)";
  if (::access("/usr/bin/ssh-keygen", X_OK) != 0) return "ssh-keygen (openssh-client) is not installed";
  if (Run({"openssl", "version"}) != 0) return "the openssl tool is not installed";
  return NetnsUnavailableReason();
}

SshdServer::SshdServer(const std::string& address, const NetNs* netns) {
  try {
    Start(address, netns);
  } catch (...) {
    Stop();
    throw;
  }
}

SshdServer::~SshdServer() { Stop(); }

void SshdServer::Start(const std::string& address, const NetNs* netns) {
  // The accounts' homes live below the directory, which must be passable for them.
  ::chmod(dir_.Path().c_str(), 0755);
  uid_ = FreeId();
  home_ = dir_.Join("home");
  std::string hash = MustRun({"openssl", "passwd", "-6", kPassword});
  hash.pop_back();  // its newline
  std::string users = TempDir::ReadFile("/etc/passwd");
  std::string secrets = TempDir::ReadFile("/etc/shadow");
  std::string groups = TempDir::ReadFile("/etc/group");
  const std::tuple<const char*, uid_t, std::string> accounts[] = {{kUser, uid_, home_},
                                                                  {kShortUser, uid_ + 1, dir_.Join("short")}};
  for (const auto& [user, id, home] : accounts) {
    ::mkdir(home.c_str(), 0755);
    if (::chown(home.c_str(), id, id) != 0) throw std::runtime_error("chown failed for " + home);
    const std::string ids = std::to_string(id) + ":" + std::to_string(id);
    users += user + (":x:" + ids + "::" + home + ":/bin/sh\n");
    secrets += user + (":" + hash + ":19000:0:99999:7:::\n");
    groups += user + (":x:" + std::to_string(id) + ":\n");
  }
  dir_.WriteFile("etc/passwd", users);
  dir_.WriteFile("etc/shadow", secrets, 0640);
  dir_.WriteFile("etc/group", groups);

  MustRun({"ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-C", "orvatest-host", "-f", dir_.Join("host_key")});
  MustRun({"ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-C", "orvatest-client", "-f", dir_.Join("client_key")});
  dir_.WriteFile("authorized_keys", TempDir::ReadFile(dir_.Join("client_key.pub")));
  std::istringstream listing(MustRun({"ssh-keygen", "-l", "-E", "sha256", "-f", dir_.Join("host_key.pub")}));
  std::string bits;
  listing >> bits >> fingerprint_;

  // Speaks the sending side of an SCP fetch (times, then the file) but announces 100 bytes and
  // sends 10. Each printf follows the receiver's one-byte go-ahead.
  const std::string shortSender = dir_.WriteFile(
      "short-sender",
      "#!/bin/sh\nhead -c 1 >/dev/null\nprintf 'T1700000000 0 1700000000 0\\n'\nhead -c 1 >/dev/null\n"
      "printf 'C0644 100 short\\n'\nhead -c 1 >/dev/null\nprintf 0123456789\n",
      0755);

  port_ = FreePort();
  const std::string config = dir_.WriteFile(
      "sshd_config",
      "Port " + std::to_string(port_) + "\nListenAddress " + address +
          "\nAddressFamily inet6\nHostKey " + dir_.Join("host_key") + "\nPidFile " + dir_.Join("sshd.pid") +
          "\nUsePAM no\nPasswordAuthentication yes\nKbdInteractiveAuthentication no\nPubkeyAuthentication yes"
          "\nAuthorizedKeysFile " + dir_.Join("authorized_keys") + " .ssh/authorized_keys" +
          "\nStrictModes no\nPermitRootLogin no\nAllowUsers " + kUser + " " + kShortUser +
          "\nUseDNS no\nPrintMotd no\nPrintLastLog no\nLogLevel VERBOSE\nMaxStartups 64\nMaxSessions 64"
          "\nSubsystem sftp internal-sftp\nMatch User " + kShortUser + "\n  ForceCommand " + shortSender + "\n",
      0600);

  // sshd runs in its own session (Stop ends its connections with it) and mount namespace, where the
  // account files are ours and its privilege-separation directory is made when missing.
  std::string script = "exec 2>>'" + dir_.WriteFile("sshd.log", "", 0600) + "'";
  for (const char* file : {"passwd", "shadow", "group"}) {
    script += " && mount --bind '" + dir_.Join("etc/") + file + "' /etc/" + file;
  }
  script += " && { [ -d /run/sshd ] || { mount -t tmpfs -o mode=0755 tmpfs /run && mkdir /run/sshd; }; }";
  script += " && exec " + std::string(kSshd) + " -D -e -f '" + config + "'";
  const std::vector<std::string> argv = {"setsid", "unshare", "--mount", "--propagation", "private", "sh", "-c",
                                         script};
  pid_ = SpawnTied(netns != nullptr ? netns->Exec(argv) : argv);

  bool exited = false;
  bool listening = WaitUntil([&] {
    if (::waitpid(pid_, nullptr, WNOHANG) == pid_) {
      exited = true;
      pid_ = -1;
      return true;
    }
    return Log().find("Server listening on") != std::string::npos;
  });
  if (exited || !listening) throw std::runtime_error("sshd did not start:\n" + Log());
}

void SshdServer::Stop() noexcept {
  if (pid_ <= 0) return;
  // Before setsid has run there is no group yet.
  if (::kill(-pid_, SIGTERM) != 0) ::kill(pid_, SIGKILL);
  while (::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
}

std::string SshdServer::Log() const { return TempDir::ReadFile(dir_.Join("sshd.log")); }

sockaddr_in6 SshdServer::Address(const std::string& address, uint32_t scopeId) const {
  sockaddr_in6 result{};
  result.sin6_family = AF_INET6;
  result.sin6_port = htons(port_);
  result.sin6_scope_id = scopeId;
  if (::inet_pton(AF_INET6, address.c_str(), &result.sin6_addr) != 1) {
    throw std::runtime_error("not an IPv6 literal: " + address);
  }
  return result;
}

}  // namespace orva::test
