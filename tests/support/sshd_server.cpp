#include "support/sshd_server.h"

#include "support/child.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "support/netns.h"
#include "support/wait_until.h"

namespace orva::test {

namespace {

const char kSshd[] = "/usr/sbin/sshd";

std::string Trim(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  return text;
}

std::string ReadOrEmpty(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

// The first two free ids above 64100 in the real passwd and group files.
uid_t FreeId() {
  std::set<unsigned long> used;
  for (const char* file : {"/etc/passwd", "/etc/group"}) {
    std::istringstream lines(ReadOrEmpty(file));
    std::string line;
    while (std::getline(lines, line)) {
      auto first = line.find(':');
      auto second = line.find(':', first + 1);
      if (first == std::string::npos || second == std::string::npos) continue;
      try {
        used.insert(std::stoul(line.substr(second + 1)));
      } catch (...) {
      }
    }
  }
  uid_t id = 64100;
  while (used.count(id) != 0 || used.count(id + 1) != 0) id += 2;
  return id;
}

uint16_t FreePort() {
  int fd = ::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) throw std::runtime_error("socket failed");
  sockaddr_in6 any{};
  any.sin6_family = AF_INET6;
  any.sin6_addr = in6addr_any;
  socklen_t length = sizeof(any);
  if (::bind(fd, reinterpret_cast<sockaddr*>(&any), sizeof(any)) != 0 ||
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&any), &length) != 0) {
    ::close(fd);
    throw std::runtime_error("cannot find a free port");
  }
  ::close(fd);
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
  const std::string shortHome = dir_.Join("short");
  for (const auto& [path, owner] : {std::pair{home_, uid_}, std::pair{shortHome, uid_ + 1}}) {
    ::mkdir(path.c_str(), 0755);
    if (::chown(path.c_str(), owner, owner) != 0) throw std::runtime_error("chown failed for " + path);
  }

  const std::string hash = Trim(MustRun({"openssl", "passwd", "-6", kPassword}));
  const std::string uid = std::to_string(uid_);
  const std::string shortUid = std::to_string(uid_ + 1);
  dir_.WriteFile("etc/passwd", ReadOrEmpty("/etc/passwd") +
                                   kUser + (":x:" + uid + ":" + uid + "::" + home_ + ":/bin/sh\n") +
                                   kShortUser + (":x:" + shortUid + ":" + shortUid + "::" + shortHome + ":/bin/sh\n"));
  dir_.WriteFile("etc/shadow", ReadOrEmpty("/etc/shadow") + kUser + (":" + hash + ":19000:0:99999:7:::\n") +
                                   kShortUser + (":" + hash + ":19000:0:99999:7:::\n"), 0640);
  dir_.WriteFile("etc/group", ReadOrEmpty("/etc/group") + kUser + (":x:" + uid + ":\n") + kShortUser +
                                  (":x:" + shortUid + ":\n"));

  MustRun({"ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-C", "orvatest-host", "-f", dir_.Join("host_key")});
  MustRun({"ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-C", "orvatest-client", "-f", dir_.Join("client_key")});
  dir_.WriteFile("authorized_keys", ReadOrEmpty(dir_.Join("client_key.pub")));
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

  // Everything the child needs is prepared here: between fork and exec only system calls run.
  const std::string log = dir_.Join("sshd.log");
  const std::string passwd = dir_.Join("etc/passwd");
  const std::string shadow = dir_.Join("etc/shadow");
  const std::string group = dir_.Join("etc/group");
  const bool needRun = ::access("/run/sshd", F_OK) != 0;
  int netnsFd = -1;
  if (netns != nullptr) {
    netnsFd = ::open(("/var/run/netns/" + netns->Name()).c_str(), O_RDONLY | O_CLOEXEC);
    if (netnsFd < 0) throw std::runtime_error("cannot open namespace " + netns->Name());
  }
  int logFd = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  int nullFd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  const char* argv[] = {kSshd, "-D", "-e", "-f", config.c_str(), nullptr};

  pid_ = ::fork();
  if (pid_ == 0) {
    TieToParent();
    auto fail = [logFd](const char* what) {
      (void)!::write(logFd, what, strlen(what));
      ::_exit(127);
    };
    ::setpgid(0, 0);
    if (netnsFd >= 0 && ::setns(netnsFd, CLONE_NEWNET) != 0) fail("setns failed\n");
    if (::unshare(CLONE_NEWNS) != 0) fail("unshare failed\n");
    if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) fail("mount private failed\n");
    if (::mount(passwd.c_str(), "/etc/passwd", nullptr, MS_BIND, nullptr) != 0 ||
        ::mount(shadow.c_str(), "/etc/shadow", nullptr, MS_BIND, nullptr) != 0 ||
        ::mount(group.c_str(), "/etc/group", nullptr, MS_BIND, nullptr) != 0) {
      fail("bind mount of the account files failed\n");
    }
    // sshd insists on its privilege-separation directory; made here only when missing.
    if (needRun && (::mount("tmpfs", "/run", "tmpfs", 0, "mode=0755") != 0 || ::mkdir("/run/sshd", 0755) != 0)) {
      fail("cannot provide /run/sshd\n");
    }
    ::dup2(nullFd, 0);
    ::dup2(nullFd, 1);
    ::dup2(logFd, 2);
    ::execv(kSshd, const_cast<char* const*>(argv));
    fail("exec of sshd failed\n");
  }
  if (netnsFd >= 0) ::close(netnsFd);
  ::close(logFd);
  ::close(nullFd);
  if (pid_ < 0) throw std::runtime_error("fork failed");
  ::setpgid(pid_, pid_);

  bool exited = false;
  bool listening = WaitUntil([&] {
    int status;
    if (::waitpid(pid_, &status, WNOHANG) == pid_) {
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
  ::kill(-pid_, SIGTERM);
  int status;
  while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
}

std::string SshdServer::Log() const { return ReadOrEmpty(dir_.Join("sshd.log")); }

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
