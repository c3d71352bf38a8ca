#include "support/port_server.h"

#include "support/child.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>

namespace orva::test {
namespace {

std::string ReadPortLine(int fd) {
  std::string line;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (line.find('\n') == std::string::npos) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) break;
    pollfd pfd{fd, POLLIN, 0};
    const int ready = ::poll(&pfd, 1, static_cast<int>(left.count()));
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) break;
    char buffer[64];
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    line.append(buffer, static_cast<size_t>(n));
  }
  return line;
}

}  // namespace

PortServer::PortServer(const std::vector<std::string>& argv, const std::string& what) {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
  std::vector<char*> args;
  for (const auto& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  pid_ = ::fork();
  if (pid_ == 0) {
    TieToParent();
    ::dup2(fds[1], STDOUT_FILENO);
    ::execvp(args[0], args.data());
    ::_exit(127);
  }
  ::close(fds[1]);
  if (pid_ < 0) {
    ::close(fds[0]);
    throw std::runtime_error("cannot start " + what);
  }
  const std::string line = ReadPortLine(fds[0]);
  ::close(fds[0]);
  if (line.rfind("PORT ", 0) != 0) {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    throw std::runtime_error(what + " did not start: [" + line + "]");
  }
  port_ = std::stoi(line.substr(5));
}

PortServer::~PortServer() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  while (::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace orva::test
