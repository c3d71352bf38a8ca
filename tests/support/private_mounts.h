#pragma once
// A private mount namespace for a whole test program with an empty /run (and /var/run), so
// daemons keep their sockets and pid files in the default places without touching the machine's.
// Enter it from a static initializer, before any thread exists; tests skip when it cannot be done.
#include <string>

namespace orva::test {

// Empty on success, otherwise why not. Only the first call does the work.
const std::string& EnterPrivateRun();

#define ORVA_REQUIRE_PRIVATE_RUN()                                           \
  do {                                                                       \
    const std::string& orvaRunReason = ::orva::test::EnterPrivateRun();      \
    if (!orvaRunReason.empty()) GTEST_SKIP() << orvaRunReason;               \
  } while (0)

}  // namespace orva::test
