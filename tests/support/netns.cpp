#include "support/netns.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "platform/process_runner.h"
#include "support/wait_until.h"

namespace orva::test {

std::string NetnsUnavailableReason() {
  if (::geteuid() != 0) return "network namespaces need root (CI runs these tests as root)";
  static const std::string probe = [] {
    std::string name = "ot-probe-" + std::to_string(::getpid());
    if (Run({"ip", "netns", "add", name}) != 0) return std::string("cannot create a network namespace here");
    Run({"ip", "netns", "del", name});
    return std::string();
  }();
  return probe;
}

int Run(const std::vector<std::string>& argv, std::string* output) {
  std::string ignored;
  return orva::platform::RunProgramCapture(argv, output != nullptr ? *output : ignored);
}

std::string MustRun(const std::vector<std::string>& argv) {
  std::string out;
  if (const int rc = Run(argv, &out); rc != 0) {
    std::string cmd;
    for (const auto& a : argv) cmd += a + " ";
    throw std::runtime_error("command failed (" + std::to_string(rc) + "): " + cmd + "\n" + out);
  }
  return out;
}

NetNs::NetNs(const std::string& hint) {
  static std::atomic<int> counter{0};
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
    Run(Exec({"ip", "-6", "-o", "addr", "show", "dev", ifname, "scope", "link"}), &out);
    const auto at = out.find("inet6 ");
    address = at == std::string::npos ? "" : out.substr(at + 6, out.find('/', at) - at - 6);
    return !address.empty() && out.find("tentative") == std::string::npos;
  });
  if (address.empty()) throw std::runtime_error("no link-local address on " + ifname + " in " + name_);
  return address;
}

std::string NetNs::Mac(const std::string& ifname) const {
  std::string out = MustExec({"cat", "/sys/class/net/" + ifname + "/address"});
  return out.substr(0, out.find_first_of(" \n"));
}

void AddVeth(const NetNs* a, const std::string& ifa, const NetNs* b, const std::string& ifb) {
  std::vector<std::string> cmd{"ip", "link", "add", ifa};
  if (a != nullptr) cmd.insert(cmd.end(), {"netns", a->Name()});
  cmd.insert(cmd.end(), {"type", "veth", "peer", "name", ifb});
  if (b != nullptr) cmd.insert(cmd.end(), {"netns", b->Name()});
  MustRun(cmd);
  for (const auto& [ns, ifname] : {std::pair{a, ifa}, std::pair{b, ifb}}) {
    std::vector<std::string> up{"ip", "link", "set", ifname, "up"};
    if (ns != nullptr) up.insert(up.begin() + 1, {"-n", ns->Name()});
    MustRun(up);
  }
}

void AddBridge(const NetNs& ns, const std::string& name) {
  MustRun({"ip", "-n", ns.Name(), "link", "add", name, "type", "bridge", "forward_delay", "0"});
  MustRun({"ip", "-n", ns.Name(), "link", "set", name, "up"});
}

void AttachToBridge(const NetNs& ns, const std::string& ifname, const std::string& bridge) {
  MustRun({"ip", "-n", ns.Name(), "link", "set", ifname, "master", bridge});
}

}  // namespace orva::test
