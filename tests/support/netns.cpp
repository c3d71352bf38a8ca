#include "support/netns.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "platform/process_runner.h"
#include "support/wait_until.h"

namespace orva::test {

std::string NetnsUnavailableReason() {
  if (::geteuid() != 0) return "network namespaces need root (CI runs these tests as root)";
  if (Run({"ip", "-V"}) != 0) return "the ip tool (iproute2) is not installed";
  static const std::string probe = [] {
    std::string name = "ot-probe-" + std::to_string(::getpid());
    if (Run({"ip", "netns", "add", name}) != 0) return std::string("cannot create a network namespace here");
    Run({"ip", "netns", "del", name});
    return std::string();
  }();
  return probe;
}

int Run(const std::vector<std::string>& argv, std::string* output) {
  std::string captured;
  int rc = orva::platform::RunProgramCapture(argv, captured);
  if (output != nullptr) *output = captured;
  return rc;
}

std::string MustRun(const std::vector<std::string>& argv) {
  std::string out;
  int rc = Run(argv, &out);
  if (rc != 0) {
    std::string cmd;
    for (const auto& a : argv) cmd += a + " ";
    throw std::runtime_error("command failed (" + std::to_string(rc) + "): " + cmd + "\n" + out);
  }
  return out;
}

namespace {
std::atomic<int> counter{0};
}

NetNs::NetNs(const std::string& hint) {
  name_ = "ot-" + hint.substr(0, 6) + "-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);
  MustRun({"ip", "netns", "add", name_});
  MustExec({"sysctl", "-q", "-w", "net.ipv6.conf.all.accept_dad=0", "net.ipv6.conf.default.accept_dad=0"});
  MustRun({"ip", "-n", name_, "link", "set", "lo", "up"});
}

NetNs::~NetNs() { Run({"ip", "netns", "del", name_}); }

std::vector<std::string> NetNs::Exec(const std::vector<std::string>& argv) const {
  std::vector<std::string> full{"ip", "netns", "exec", name_};
  full.insert(full.end(), argv.begin(), argv.end());
  return full;
}

void NetNs::RunIn(const std::function<void()>& fn) const {
  std::exception_ptr failure;
  std::thread worker([&] {
    try {
      int fd = ::open(("/var/run/netns/" + name_).c_str(), O_RDONLY | O_CLOEXEC);
      if (fd == -1) throw std::runtime_error("cannot open namespace " + name_);
      int rc = ::setns(fd, CLONE_NEWNET);
      ::close(fd);
      if (rc != 0) throw std::runtime_error("setns failed for " + name_);
      fn();
    } catch (...) {
      failure = std::current_exception();
    }
  });
  worker.join();
  if (failure) std::rethrow_exception(failure);
}

std::string NetNs::LinkLocal(const std::string& ifname) const {
  std::string address;
  WaitUntil([&] {
    std::string out;
    if (Run(Exec({"ip", "-6", "-o", "addr", "show", "dev", ifname, "scope", "link"}), &out) != 0) return false;
    auto at = out.find("inet6 ");
    if (at == std::string::npos) return false;
    auto start = at + 6;
    auto end = out.find('/', start);
    address = out.substr(start, end - start);
    return out.find("tentative") == std::string::npos;
  });
  if (address.empty()) throw std::runtime_error("no link-local address on " + ifname + " in " + name_);
  return address;
}

std::string NetNs::Mac(const std::string& ifname) const {
  std::string out = MustExec({"cat", "/sys/class/net/" + ifname + "/address"});
  while (!out.empty() && (out.back() == '\n' || out.back() == ' ')) out.pop_back();
  return out;
}

void AddVeth(const NetNs* a, const std::string& ifa, const NetNs* b, const std::string& ifb) {
  std::vector<std::string> cmd{"ip", "link", "add", ifa};
  if (a != nullptr) cmd.insert(cmd.end(), {"netns", a->Name()});
  cmd.insert(cmd.end(), {"type", "veth", "peer", "name", ifb});
  if (b != nullptr) cmd.insert(cmd.end(), {"netns", b->Name()});
  MustRun(cmd);
  auto up = [](const NetNs* ns, const std::string& ifname) {
    if (ns != nullptr) {
      MustRun({"ip", "-n", ns->Name(), "link", "set", ifname, "up"});
    } else {
      MustRun({"ip", "link", "set", ifname, "up"});
    }
  };
  up(a, ifa);
  up(b, ifb);
}

void AddBridge(const NetNs& ns, const std::string& name) {
  MustRun({"ip", "-n", ns.Name(), "link", "add", name, "type", "bridge", "forward_delay", "0"});
  MustRun({"ip", "-n", ns.Name(), "link", "set", name, "up"});
}

void AttachToBridge(const NetNs& ns, const std::string& ifname, const std::string& bridge) {
  MustRun({"ip", "-n", ns.Name(), "link", "set", ifname, "master", bridge});
}

}  // namespace orva::test
