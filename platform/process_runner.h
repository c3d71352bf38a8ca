#pragma once
// Runs outside programs from an argument vector, never through a shell: every element reaches
// the program as one argument, whatever characters it holds. An absolute program path is
// looked up below the system root; the program still sees argv[0] as written.
#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace orva::platform {

// Exit status (0..255) of the program, or -1 when it could not be started or was killed by a
// signal. Standard input is /dev/null; standard output and error are inherited.
int RunProgram(const std::vector<std::string>& argv);

// As RunProgram, and collects up to maxBytes of the program's standard output (the rest is
// read and dropped so the program never blocks on a full pipe).
int RunProgramCapture(const std::vector<std::string>& argv, std::string& output,
                      std::size_t maxBytes = 1 << 20);

// Starts the program without waiting for it; returns its pid, or -1. The caller reaps it
// (WaitProgram) or leaves it to run as a daemon.
pid_t SpawnProgram(const std::vector<std::string>& argv);

// Waits for a child started by SpawnProgram; same result as RunProgram.
int WaitProgram(pid_t pid);

}  // namespace orva::platform
