#pragma once
// Runs outside programs from an argument vector, never through a shell: every element reaches
// the program as one argument, whatever characters it holds. An absolute program path is
// looked up below the system root; the program still sees argv[0] as written.
#include <sys/types.h>

#include <cstddef>
#include <cstdio>
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

// The router's job manager expects a flag word with its exec calls; callers pass it along and
// it is accepted and ignored here.
inline constexpr int kJobManagerFlags = 187;

// Runs the program and waits: 0 when it exited with status 0, -1 when it could not be
// started, exited non-zero or was killed. `flags` is the flag word above (or 0).
int ExecWait(const std::vector<std::string>& argv, int flags = 0);

// The standard output of a running program, read like popen(3) but started from an argument
// vector. With mergeStderr the program's standard error goes into the same stream (the
// command-line clients print their connection failures there). Move-only; destruction closes
// the stream and reaps the program.
class ProgramOutput {
 public:
  ProgramOutput() noexcept = default;
  static ProgramOutput Open(const std::vector<std::string>& argv, bool mergeStderr = false);
  ~ProgramOutput();
  ProgramOutput(ProgramOutput&& other) noexcept;
  ProgramOutput& operator=(ProgramOutput&& other) noexcept;
  ProgramOutput(const ProgramOutput&) = delete;
  ProgramOutput& operator=(const ProgramOutput&) = delete;

  // False when the program could not be started (popen's null stream).
  explicit operator bool() const noexcept { return stream_ != nullptr; }
  // fgets(3) on the stream: null at end of output.
  char* GetLine(char* buffer, int size);
  // Closes the stream and waits for the program; its RunProgram-style status.
  int Close();

 private:
  FILE* stream_ = nullptr;
  pid_t pid_ = -1;
};

}  // namespace orva::platform
