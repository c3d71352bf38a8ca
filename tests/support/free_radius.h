#pragma once
// Private FreeRADIUS 3 servers for tests: Debian's /usr/sbin/freeradius with a configuration
// directory made here (never /etc/freeradius), on loopback ports picked free, its log in the
// directory. A home server answers PAP and EAP-PEAP/MSCHAPv2 from a users file; a proxy
// directory holds everything but the files the library renders (clients.conf, proxy.conf, the
// mesh's site). Tests call ORVA_REQUIRE_FREERADIUS() first.
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
  // Prepares a configuration directory `confDir` with logs and pid file under `runDir`
  // (both created): radiusd.conf, the dictionary and the modules suffix, files, pap, mschap.
  FreeRadiusServer(std::string confDir, std::string runDir);
  ~FreeRadiusServer();
  FreeRadiusServer(const FreeRadiusServer&) = delete;
  FreeRadiusServer& operator=(const FreeRadiusServer&) = delete;

  // Makes this a home server: listens for authentication on `port`, admits 127.0.0.1 with
  // `secret`, authenticates the users of `users` (FreeRADIUS users-file lines) by PAP and by
  // EAP-PEAP/MSCHAPv2 with a fresh self-signed certificate.
  void MakeHomeServer(uint16_t port, const std::string& secret, const std::string& users);
  // Makes this a proxy with local users; clients, home servers and listen sections come from
  // the rendered files.
  void MakeProxy(const std::string& users);

  void WriteConf(const std::string& relative, const std::string& content) const;
  const std::string& ConfDir() const { return confDir_; }
  std::string PidFile() const { return runDir_ + "/freeradius.pid"; }
  std::string LogFile() const { return runDir_ + "/radius.log"; }
  std::string Log() const;
  // The command line of a daemonised run (what a job manager would run).
  std::vector<std::string> DaemonCommand() const;

  // Starts it through a launcher ("ip netns exec <name>"), which must exec the server.
  void RunThrough(std::vector<std::string> launcher) { launcher_ = std::move(launcher); }
  // Runs it in the foreground as a child of the test; returns once it is ready to process
  // requests. Throws std::runtime_error with the log when it does not start.
  void Start();
  // Ends it (foreground child or daemon named by the pid file) and waits until it is gone.
  void Stop();
  bool Running() const;

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
  std::string WriteRequests(const std::string& user, const std::string& password, int count) const;
  std::string dir_;
};

}  // namespace orva::test
