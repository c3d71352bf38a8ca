#pragma once
// Pid files and process liveness, as the router's daemons keep them: a file holding the
// decimal pid of a running program. Paths are used as given (callers map fixed paths below
// the system root first).
#include <sys/types.h>

#include <string>

namespace orva::platform {

// The pid written in the file; 0 when the file is missing or holds no positive number.
pid_t ReadPidFile(const std::string& path);
// True while the process exists and has not exited (a zombie counts as gone).
bool ProcAlive(pid_t pid);
// ProcAlive of the pid named in the file; false when the file names none.
bool ProcAliveByPidFile(const std::string& path);
// Sends `signal` to the process named in the file: 0 on success, -1 when the file names no
// process or the signal could not be sent.
int ProcSignalByPidFile(const std::string& path, int signal);
// True when something exists at the path.
bool FileExist(const std::string& path);
// Removes a file: 0 on success (also when it was already gone), -1 otherwise.
int SysRemove(const std::string& path);

}  // namespace orva::platform
