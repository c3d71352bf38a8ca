#pragma once
// A private mount namespace for a whole test program, with fresh, empty /run (and /var/run)
// mounts, so daemons started by the tests keep their control sockets and pid files in the
// default places without touching the machine's own. Call EnterPrivateRun from a static
// initializer of the test program, before any thread exists; tests then skip with the reason
// when it could not be done (not root, no mount namespaces).
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
