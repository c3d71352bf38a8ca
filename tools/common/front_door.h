#pragma once
// What every orvamesh tool does the same way: -h/--help prints the usage on standard output
// and exits 0, --version names the tool and the library it runs with, and a result that could
// not be written (a full disk, a closed pipe) is a failure with the system's reason, not a
// silent success.
#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>

#include "manual.h"
#include "orvamesh/version.h"

namespace orvatools {

// "orvamesh-scan 5.2.0 (liborvamesh 5.2.0)": the headers the tool was built with and the
// library it runs with.
inline void PrintVersion(const char* program) {
  std::cout << program << " " << ORVAMESH_VERSION_STRING << " (liborvamesh " << ORVA::MESH::SDK::LibraryVersion()
            << ")\n";
}

// True when argv[1] asked for help, the version, the man page or the completion script;
// `status` is then the exit status.
inline bool AnswerFrontDoor(int argc, char** argv, const char* program, const char* summary, const char* usage,
                            int& status) {
  if (argc < 2) return false;
  const std::string word = argv[1];
  if (word == "-h" || word == "--help") {
    std::cout << usage;
  } else if (word == "--version") {
    PrintVersion(program);
  } else if (!AnswerManual(argc, argv, [&] { return ManualFromUsage(program, summary, usage); })) {
    return false;
  }
  status = 0;
  return true;
}

// Flushes standard output; a failed write turns a successful status into 1.
inline int FinishOutput(const char* program, int status) {
  std::cout.flush();
  if (std::cout) return status;
  std::cerr << program << ": cannot write the output: " << std::strerror(errno ? errno : EIO) << std::endl;
  return status == 0 ? 1 : status;
}

}  // namespace orvatools
