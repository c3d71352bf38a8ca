#pragma once
// Helper programs that die with the thread that started them (PR_SET_PDEATHSIG), so a test killed
// by a sanitizer or a time-out leaves no daemon holding the runner's pipes. Start them from the
// test's main thread, not from a short-lived one (NetNs::RunIn).
#include <sys/types.h>

#include <string>
#include <vector>

namespace orva::test {

// Runs argv (argv[0] a path, or a name looked up in PATH) with standard input /dev/null and
// the test's standard output and error. Returns the pid; throws when fork fails.
pid_t SpawnTied(const std::vector<std::string>& argv);

// In a freshly forked child: die with the parent. Async-signal-safe.
void TieToParent();

}  // namespace orva::test
