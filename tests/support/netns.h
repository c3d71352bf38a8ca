#pragma once
// Network namespaces for integration tests: test hosts joined by veth pairs or a bridge, so
// that packets really cross a (virtual) wire. Needs root; tests call ORVA_REQUIRE_NETNS()
// first and are skipped with the reason elsewhere. Names are unique per process, so test
// programs running side by side never collide.
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace orva::test {

// Empty when namespaces can be made here; otherwise why not.
std::string NetnsUnavailableReason();

#define ORVA_REQUIRE_NETNS()                                                    \
  do {                                                                          \
    const std::string orvaNetnsReason = ::orva::test::NetnsUnavailableReason(); \
    if (!orvaNetnsReason.empty()) GTEST_SKIP() << orvaNetnsReason;              \
  } while (0)

// Runs a program (argument vector, no shell) and returns its exit status, -1 on failure to run.
int Run(const std::vector<std::string>& argv, std::string* output = nullptr);
// As Run; throws std::runtime_error with the command and its output unless it exits 0.
std::string MustRun(const std::vector<std::string>& argv);

class NetNs {
 public:
  // Creates "ot-<hint>-<pid>-<n>" with loopback up and duplicate address detection off, so
  // link-local addresses are usable as soon as a link is up.
  explicit NetNs(const std::string& hint);
  ~NetNs();
  NetNs(const NetNs&) = delete;
  NetNs& operator=(const NetNs&) = delete;

  const std::string& Name() const { return name_; }
  // argv prefixed with "ip netns exec <name>".
  std::vector<std::string> Exec(const std::vector<std::string>& argv) const;
  std::string MustExec(const std::vector<std::string>& argv) const { return MustRun(Exec(argv)); }
  // Runs fn on a thread that joined this namespace; sockets and threads it creates live there.
  void RunIn(const std::function<void()>& fn) const;
  // The interface's IPv6 link-local address ("fe80::..."), waiting until it exists.
  std::string LinkLocal(const std::string& ifname) const;
  // The interface's MAC address in lower-case text.
  std::string Mac(const std::string& ifname) const;

 private:
  std::string name_;
};

// A veth pair: `ifa` in `a`, `ifb` in `b`; both up. A null namespace means the caller's own.
void AddVeth(const NetNs* a, const std::string& ifa, const NetNs* b, const std::string& ifb);
// A Linux bridge `name` inside `ns`, up.
void AddBridge(const NetNs& ns, const std::string& name);
// Enslaves `ifname` of `ns` to `bridge`.
void AttachToBridge(const NetNs& ns, const std::string& ifname, const std::string& bridge);

}  // namespace orva::test
