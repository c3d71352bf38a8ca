#include "support/child.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <stdexcept>

namespace orva::test {

void TieToParent() {
  const pid_t parent = ::getppid();
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  // The parent may have gone between fork and prctl.
  if (::getppid() != parent) ::_exit(127);
}

pid_t SpawnTied(const std::vector<std::string>& argv) {
  // Everything exec needs is made before the fork: the child of a threaded process may only
  // make async-signal-safe calls.
  std::vector<char*> args;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  const pid_t pid = ::fork();
  if (pid < 0) throw std::runtime_error("fork failed for " + argv.at(0));
  if (pid == 0) {
    TieToParent();
    const int devNull = ::open("/dev/null", O_RDONLY);
    if (devNull >= 0) ::dup2(devNull, STDIN_FILENO);
    ::execvp(args[0], args.data());
    ::_exit(127);
  }
  return pid;
}

}  // namespace orva::test
