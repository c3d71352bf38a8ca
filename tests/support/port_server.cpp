#include "support/port_server.h"

#include "support/child.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace orva::test {
namespace {

// The first line the server prints; what came before its end when none follows within 20 s.
std::string ReadPortLine(int fd) {
  std::string line;
  pollfd pfd{fd, POLLIN, 0};
  char c;
  while (line.find('\n') == std::string::npos && ::poll(&pfd, 1, 20000) > 0 && ::read(fd, &c, 1) == 1) line += c;
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
