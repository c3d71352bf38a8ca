#include "platform/pid_file.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "orvamesh/platform/system_root.h"

namespace orva::platform {

pid_t ReadPidFile(const std::string& path) {
  std::ifstream in(path);
  if (!in) return 0;
  std::string text;
  std::getline(in, text);
  char* end = nullptr;
  errno = 0;
  long value = std::strtol(text.c_str(), &end, 10);
  if (end == text.c_str() || errno != 0 || value <= 0 || value > 0x7fffffffL) return 0;
  return static_cast<pid_t>(value);
}

bool ProcAlive(pid_t pid) {
  if (pid <= 0) return false;
  if (::kill(pid, 0) == -1 && errno != EPERM) return false;
  // A daemon that died after its parent left is a zombie until someone reaps it; kill(0)
  // still succeeds on it, but it runs no more.
  std::ifstream stat(SystemRoot::Path("/proc/" + std::to_string(pid) + "/stat"));
  std::string line;
  if (!stat || !std::getline(stat, line)) return true;
  std::string::size_type close = line.rfind(')');
  if (close == std::string::npos || close + 2 >= line.size()) return true;
  char state = line[close + 2];
  return state != 'Z' && state != 'X';
}

bool ProcAliveByPidFile(const std::string& path) { return ProcAlive(ReadPidFile(path)); }

int ProcSignalByPidFile(const std::string& path, int signal) {
  pid_t pid = ReadPidFile(path);
  if (pid <= 0) return -1;
  return ::kill(pid, signal) == 0 ? 0 : -1;
}

bool FileExist(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
}

int SysRemove(const std::string& path) {
  if (::unlink(path.c_str()) == 0 || errno == ENOENT) return 0;
  return -1;
}

}  // namespace orva::platform
