#include "platform/process_runner.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "orvamesh/platform/system_root.h"

extern char** environ;

namespace orva::platform {
namespace {

// Owns a descriptor for the few lines it is needed; closes it on every path.
class Fd {
 public:
  explicit Fd(int fd = -1) noexcept : fd_(fd) {}
  ~Fd() { Reset(); }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int Get() const noexcept { return fd_; }
  int Release() noexcept {
    int fd = fd_;
    fd_ = -1;
    return fd;
  }
  void Reset() noexcept {
    if (fd_ != -1) ::close(fd_);
    fd_ = -1;
  }

 private:
  int fd_;
};

pid_t Spawn(const std::vector<std::string>& argv, int stdoutFd, bool stderrToo = false) {
  if (argv.empty() || argv[0].empty()) return -1;
  std::string path = SystemRoot::Path(argv[0]);
  std::vector<char*> args;
  args.reserve(argv.size() + 1);
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  if (posix_spawn_file_actions_init(&actions) != 0) return -1;
  // A child whose descriptors could not be arranged would read or write the caller's own.
  bool arranged = posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0) == 0;
  if (arranged && stdoutFd != -1) {
    arranged = posix_spawn_file_actions_adddup2(&actions, stdoutFd, STDOUT_FILENO) == 0 &&
               (!stderrToo || posix_spawn_file_actions_adddup2(&actions, stdoutFd, STDERR_FILENO) == 0);
  }
  if (!arranged) {
    posix_spawn_file_actions_destroy(&actions);
    return -1;
  }

  // The child starts with default signal dispositions and an empty mask, whatever the
  // calling thread blocked.
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  sigset_t none, all;
  sigemptyset(&none);
  sigfillset(&all);
  posix_spawnattr_setsigmask(&attr, &none);
  posix_spawnattr_setsigdefault(&attr, &all);
  posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

  pid_t pid = -1;
  int rc = path.find('/') == std::string::npos
               ? posix_spawnp(&pid, path.c_str(), &actions, &attr, args.data(), environ)
               : posix_spawn(&pid, path.c_str(), &actions, &attr, args.data(), environ);
  posix_spawnattr_destroy(&attr);
  posix_spawn_file_actions_destroy(&actions);
  return rc == 0 ? pid : -1;
}

}  // namespace

int WaitProgram(pid_t pid) {
  if (pid <= 0) return -1;
  int status = 0;
  while (::waitpid(pid, &status, 0) == -1) {
    if (errno != EINTR) return -1;
  }
  // posix_spawn reports a failed exec as exit status 127 from the child.
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

pid_t SpawnProgram(const std::vector<std::string>& argv) { return Spawn(argv, -1); }

int RunProgram(const std::vector<std::string>& argv) { return WaitProgram(Spawn(argv, -1)); }

int RunProgramCapture(const std::vector<std::string>& argv, std::string& output, std::size_t maxBytes) {
  output.clear();
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) == -1) return -1;
  Fd readEnd(fds[0]);
  Fd writeEnd(fds[1]);
  pid_t pid = Spawn(argv, writeEnd.Get());
  writeEnd.Reset();
  if (pid == -1) return -1;
  char buffer[4096];
  for (;;) {
    ssize_t n = ::read(readEnd.Get(), buffer, sizeof buffer);
    if (n == 0) break;
    if (n < 0) {
      if (errno == EINTR) continue;
      break;
    }
    std::size_t room = maxBytes > output.size() ? maxBytes - output.size() : 0;
    output.append(buffer, static_cast<std::size_t>(n) < room ? static_cast<std::size_t>(n) : room);
  }
  return WaitProgram(pid);
}

int ExecWait(const std::vector<std::string>& argv, int /*flags*/) {
  return RunProgram(argv) == 0 ? 0 : -1;
}

ProgramOutput ProgramOutput::Open(const std::vector<std::string>& argv, bool mergeStderr) {
  ProgramOutput out;
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) == -1) return out;
  Fd readEnd(fds[0]);
  Fd writeEnd(fds[1]);
  pid_t pid = Spawn(argv, writeEnd.Get(), mergeStderr);
  writeEnd.Reset();
  if (pid == -1) return out;
  FILE* stream = ::fdopen(readEnd.Get(), "r");
  if (stream == nullptr) {
    readEnd.Reset();
    WaitProgram(pid);
    return out;
  }
  static_cast<void>(readEnd.Release());
  out.stream_ = stream;
  out.pid_ = pid;
  return out;
}

ProgramOutput::~ProgramOutput() { Close(); }

ProgramOutput::ProgramOutput(ProgramOutput&& other) noexcept
    : stream_(other.stream_), pid_(other.pid_) {
  other.stream_ = nullptr;
  other.pid_ = -1;
}

ProgramOutput& ProgramOutput::operator=(ProgramOutput&& other) noexcept {
  if (this != &other) {
    Close();
    stream_ = other.stream_;
    pid_ = other.pid_;
    other.stream_ = nullptr;
    other.pid_ = -1;
  }
  return *this;
}

char* ProgramOutput::GetLine(char* buffer, int size) {
  if (stream_ == nullptr) return nullptr;
  for (;;) {
    char* line = std::fgets(buffer, size, stream_);
    if (line != nullptr || !std::ferror(stream_) || errno != EINTR) return line;
    std::clearerr(stream_);
  }
}

int ProgramOutput::Close() {
  if (stream_ == nullptr) return -1;
  std::fclose(stream_);
  stream_ = nullptr;
  pid_t pid = pid_;
  pid_ = -1;
  return WaitProgram(pid);
}

}  // namespace orva::platform
