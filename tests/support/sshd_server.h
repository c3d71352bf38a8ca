#pragma once
// A private OpenSSH server for tests: Debian's /usr/sbin/sshd on its own port with its own host
// key, password log-in for dedicated test accounts. The accounts exist only inside a private
// mount namespace in which sshd runs (temporary copies of passwd, shadow and group are
// bind-mounted over the real ones there), so the machine's /etc is never touched. Optionally
// the server runs inside a network namespace. Needs root: tests call ORVA_REQUIRE_SSHD() first.
#include <netinet/in.h>
#include <sys/types.h>

#include <string>

#include <gtest/gtest.h>

#include "support/temp_dir.h"

namespace orva::test {

class NetNs;

// Empty when a private sshd can run here; otherwise why not.
std::string SshdUnavailableReason();

#define ORVA_REQUIRE_SSHD()                                                     \
  do {                                                                          \
    const std::string orvaSshdReason = ::orva::test::SshdUnavailableReason();   \
    if (!orvaSshdReason.empty()) GTEST_SKIP() << orvaSshdReason;                \
  } while (0)

class SshdServer {
 public:
  // The account every test logs in with; its home is Home().
  static constexpr const char* kUser = "orvatest";
  // An account whose every command is replaced by a sender that announces a 100-byte file
  // and sends 10 bytes of it.
  static constexpr const char* kShortUser = "orvashort";
  static constexpr const char* kPassword = "orva-Test-pw1";

  // Listens on `address` (an IPv6 literal, "%ifname" allowed) inside `netns` (null: the
  // caller's namespace). Returns once the server accepts connections; throws otherwise.
  explicit SshdServer(const std::string& address = "::1", const NetNs* netns = nullptr);
  ~SshdServer();
  SshdServer(const SshdServer&) = delete;
  SshdServer& operator=(const SshdServer&) = delete;

  uint16_t Port() const { return port_; }
  const std::string& Home() const { return home_; }
  std::string InHome(const std::string& relative) const { return home_ + "/" + relative; }
  uid_t Uid() const { return uid_; }
  // The host key's fingerprint as `ssh-keygen -l -E sha256` prints it ("SHA256:...").
  const std::string& Fingerprint() const { return fingerprint_; }
  // A private key authorised for kUser, for OpenSSH's own clients.
  std::string ClientKey() const { return dir_.Join("client_key"); }
  std::string Log() const;

  // `address` must be an IPv6 literal.
  sockaddr_in6 Address(const std::string& address = "::1", uint32_t scopeId = 0) const;

 private:
  void Start(const std::string& address, const NetNs* netns);
  void Stop() noexcept;

  TempDir dir_;
  std::string home_;
  uid_t uid_ = 0;
  uint16_t port_ = 0;
  pid_t pid_ = -1;
  std::string fingerprint_;
};

}  // namespace orva::test
