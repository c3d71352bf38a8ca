#include "tool_session.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <json/reader.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "support/child.h"
#include "support/private_bus.h"
#include "support/wait_until.h"

namespace orva::test {

namespace {

std::vector<char*> Argv(const std::string& program, const std::vector<std::string>& args) {
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(program.c_str()));
  for (const auto& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  return argv;
}

int Reap(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

Json::Value ToolRun::Json() const {
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  std::string errors;
  if (!reader->parse(out.data(), out.data() + out.size(), &value, &errors)) {
    ADD_FAILURE() << "not JSON (" << errors << "): " << out;
  }
  return value;
}

ToolRun RunTool(const std::string& program, const std::vector<std::string>& args) {
  int outPipe[2];
  int errPipe[2];
  if (::pipe2(outPipe, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
  if (::pipe2(errPipe, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
  auto argv = Argv(program, args);
  const pid_t pid = ::fork();
  if (pid == 0) {
    TieToParent();
    const int devNull = ::open("/dev/null", O_RDONLY);
    ::dup2(devNull, STDIN_FILENO);
    ::dup2(outPipe[1], STDOUT_FILENO);
    ::dup2(errPipe[1], STDERR_FILENO);
    ::execv(program.c_str(), argv.data());
    ::_exit(127);
  }
  ::close(outPipe[1]);
  ::close(errPipe[1]);
  ToolRun run;
  pollfd fds[2] = {{outPipe[0], POLLIN, 0}, {errPipe[0], POLLIN, 0}};
  std::string* sinks[2] = {&run.out, &run.err};
  int open = 2;
  while (open > 0) {
    if (::poll(fds, 2, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char buffer[4096];
      const ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
      if (n > 0) {
        sinks[i]->append(buffer, static_cast<size_t>(n));
      } else if (n == 0 || errno != EINTR) {
        ::close(fds[i].fd);
        fds[i].fd = -1;
        --open;
      }
    }
  }
  run.status = Reap(pid);
  return run;
}

std::string CliPath() { return ORVAMESH_BINARY_DIR "/tools/orvamesh"; }
std::string SimdPath() { return ORVAMESH_BINARY_DIR "/tools/orvamesh-simd"; }
std::string ExampleMesh() { return ORVAMESH_SOURCE_DIR "/examples/mesh.json"; }

ToolRun Cli(std::vector<std::string> args) {
  args.insert(args.begin(), {"--bus", SharedPrivateBus().Address()});
  return RunTool(CliPath(), args);
}

SimDaemon::SimDaemon(int tickMs, const std::string& meshFile) : tickMs_(tickMs), meshFile_(meshFile) { Start(); }

SimDaemon::~SimDaemon() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGTERM);
  const bool gone = WaitUntil([&] { return ::waitpid(pid_, nullptr, WNOHANG) == pid_; });
  if (!gone) {
    ::kill(pid_, SIGKILL);
    Reap(pid_);
  }
}

void SimDaemon::Start() {
  const std::string bus = SharedPrivateBus().Address();
  std::vector<std::string> args{"--bus", bus, "--tick-ms", std::to_string(tickMs_), meshFile_};
  auto argv = Argv(SimdPath(), args);
  pid_ = ::fork();
  if (pid_ == 0) {
    TieToParent();
    const int devNull = ::open("/dev/null", O_RDWR);
    ::dup2(devNull, STDIN_FILENO);
    ::dup2(devNull, STDOUT_FILENO);
    ::execv(SimdPath().c_str(), argv.data());
    ::_exit(127);
  }
  if (pid_ < 0) throw std::runtime_error("cannot start orvamesh-simd");
  if (!WaitUntil([] { return Cli({"get-node-ids"}).status == 0; })) {
    throw std::runtime_error("orvamesh-simd did not come up on " + bus);
  }
}

void SimDaemon::Kill() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  Reap(pid_);
  pid_ = -1;
}

void SimDaemon::Restart() {
  Kill();
  Start();
}

}  // namespace orva::test
