#include "tool_session.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <sstream>
#include <stdexcept>

#include "support/child.h"
#include "support/json_text.h"
#include "support/private_bus.h"
#include "support/wait_until.h"

namespace orva::test {

namespace {

int Reap(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// All of a descriptor from its start; closes it.
std::string ReadAll(int fd) {
  std::string text;
  char buffer[4096];
  for (ssize_t n; (n = ::pread(fd, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0;) {
    text.append(buffer, static_cast<size_t>(n));
  }
  ::close(fd);
  return text;
}

}  // namespace

Json::Value ToolRun::Json() const { return ParseJson(out); }

ToolRun RunTool(const std::string& program, const std::vector<std::string>& args) {
  // Memory files rather than pipes: nothing to drain while the tool runs, read once it is over.
  const int out = ::memfd_create("stdout", MFD_CLOEXEC);
  const int err = ::memfd_create("stderr", MFD_CLOEXEC);
  if (out < 0 || err < 0) throw std::runtime_error("memfd_create");
  // Made before the fork: the child of a threaded process may only make async-signal-safe calls.
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const auto& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  const pid_t pid = ::fork();
  if (pid == 0) {
    TieToParent();
    const int devNull = ::open("/dev/null", O_RDONLY);
    ::dup2(devNull, STDIN_FILENO);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    ::execv(program.c_str(), argv.data());
    ::_exit(127);
  }
  ToolRun run;
  run.status = Reap(pid);
  run.out = ReadAll(out);
  run.err = ReadAll(err);
  return run;
}

std::string ToolPath(const std::string& name) { return ORVAMESH_BINARY_DIR "/tools/" + name; }
std::string CliPath() { return ToolPath("orvamesh"); }
std::string SimdPath() { return ToolPath("orvamesh-simd"); }
std::string ExampleMesh() { return ORVAMESH_SOURCE_DIR "/examples/mesh.json"; }

std::vector<std::string> SubcommandsInHelp(const std::string& name, const std::string& help) {
  std::vector<std::string> found;
  std::istringstream lines(help);
  bool listing = false;
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string first;
    words >> first;
    if (line == "Subcommands:" || line.empty()) {
      listing = !line.empty();
    } else if (listing) {
      found.push_back(first);
    } else {
      // "Usage: NAME SUB ..." or "       NAME SUB ..."
      std::string program = first, sub;
      if (first == "Usage:") words >> program;
      words >> sub;
      if (program == name && !sub.empty() && std::islower(static_cast<unsigned char>(sub[0]))) found.push_back(sub);
    }
  }
  return found;
}

ToolRun Cli(std::vector<std::string> args) {
  args.insert(args.begin(), {"--bus", SharedPrivateBus().Address()});
  return RunTool(CliPath(), args);
}

SimDaemon::SimDaemon(int tickMs) {
  const std::string bus = SharedPrivateBus().Address();
  // Through a shell only to silence the daemon's standard output; exec keeps the pid.
  pid_ = SpawnTied({"/bin/sh", "-c", "exec \"$0\" \"$@\" >/dev/null", SimdPath(), "--bus", bus, "--tick-ms",
                    std::to_string(tickMs), ExampleMesh()});
  if (!WaitUntil([] { return Cli({"get-node-ids"}).status == 0; })) {
    throw std::runtime_error("orvamesh-simd did not come up on " + bus);
  }
}

SimDaemon::~SimDaemon() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGTERM);
  if (!WaitUntil([&] { return ::waitpid(pid_, nullptr, WNOHANG) == pid_; })) Kill();
}

void SimDaemon::Kill() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  Reap(pid_);
  pid_ = -1;
}

}  // namespace orva::test
