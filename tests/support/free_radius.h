#pragma once
// Private FreeRADIUS 3 servers for tests: Debian's freeradius on loopback ports picked free,
// with a configuration directory made here (never /etc/freeradius). A home server answers PAP
// and EAP-PEAP/MSCHAPv2 from a users file; a proxy's directory lacks only the files the library
// renders. Tests call ORVA_REQUIRE_FREERADIUS() first.
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace orva::test {

// Empty when FreeRADIUS and its clients can run here; otherwise why not.
std::string FreeRadiusUnavailableReason();

#define ORVA_REQUIRE_FREERADIUS()                                                    \
  do {                                                                               \
    const std::string orvaRadiusReason = ::orva::test::FreeRadiusUnavailableReason(); \
    if (!orvaRadiusReason.empty()) GTEST_SKIP() << orvaRadiusReason;                 \
  } while (0)

class FixtureRoot;
// The programs below start through the platform's runner, which looks absolute paths up below
// the system root: a test that sets a fixture root links them in with this first.
void LinkRadiusPrograms(FixtureRoot& root);

// A UDP port on 127.0.0.1 that nothing used a moment ago.
uint16_t FreeUdpPort();

class FreeRadiusServer {
 public:
  // Creates `confDir` with the modules every server needs, and `runDir` for its log and pid file.
  FreeRadiusServer(std::string confDir, std::string runDir);
  ~FreeRadiusServer();
  FreeRadiusServer(const FreeRadiusServer&) = delete;
  FreeRadiusServer& operator=(const FreeRadiusServer&) = delete;

  // Listens on `port` for 127.0.0.1 with `secret` and authenticates `users` (users-file lines)
  // by PAP and by EAP-PEAP/MSCHAPv2 with a fresh self-signed certificate.
  void MakeHomeServer(uint16_t port, const std::string& secret, const std::string& users);
  // A proxy with local users; clients, home servers and listeners come from the rendered files.
  void MakeProxy(const std::string& users);

  const std::string& ConfDir() const { return confDir_; }
  std::string PidFile() const { return runDir_ + "/freeradius.pid"; }
  std::string Log() const;
  // The command line of a daemonised run (what a job manager would run).
  std::vector<std::string> DaemonCommand() const;

  // Starts it through a launcher ("ip netns exec <name>"), which must exec the server.
  void RunThrough(std::vector<std::string> launcher) { launcher_ = std::move(launcher); }
  // Runs it as a child of the test until it is ready; throws with its log when it does not start.
  void Start();
  // Ends it (foreground child or daemon named by the pid file) and waits until it is gone.
  void Stop();

 private:
  std::string confDir_;
  std::string runDir_;
  std::vector<std::string> launcher_;
  pid_t child_ = -1;
};

// radclient and eapol_test with their scratch files in `dir`.
class RadiusTestClient {
 public:
  explicit RadiusTestClient(std::string dir) : dir_(std::move(dir)) {}
  // "Access-Accept", "Access-Reject", or "" when no (valid) answer came.
  std::string Authenticate(uint16_t port, const std::string& secret, const std::string& user,
                           const std::string& password, int timeoutSeconds = 2) const;
  // Sends `count` PAP requests for the user, `parallel` at a time; the number accepted.
  int AuthenticateMany(uint16_t port, const std::string& secret, const std::string& user,
                       const std::string& password, int count, int parallel) const;
  // EAP-PEAP/MSCHAPv2 with the outer identity `outer` and the inner `user`: true on success.
  bool PeapMschapv2(uint16_t port, const std::string& secret, const std::string& outer,
                    const std::string& user, const std::string& password) const;

 private:
  // Runs radclient with `argv` on `count` copies of the PAP request; its output.
  std::string Radclient(uint16_t port, const std::string& secret, const std::string& user, const std::string& password,
                        int count, std::vector<std::string> argv) const;
  std::string dir_;
};

}  // namespace orva::test
