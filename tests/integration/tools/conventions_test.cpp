// The conventions every tool shares, whatever it does: help and version on standard output
// with status 0, and a result that cannot be written is a failure.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvamesh/version.h"
#include "support/private_bus.h"
#include "tool_session.h"

namespace {

using orva::test::RunTool;

std::string Tool(const std::string& name) { return std::string(ORVAMESH_BINARY_DIR) + "/tools/" + name; }

const std::vector<std::string> kTools = {"orvamesh", "orvamesh-scan", "orvamesh-upgrade", "orvamesh-simd",
                                         "orvamesh-node"};

TEST(ToolConventions, HelpAndVersionGoToStandardOutputWithStatusZero) {
  for (const std::string& name : kTools) {
    for (const char* help : {"-h", "--help"}) {
      const auto run = RunTool(Tool(name), {help});
      EXPECT_EQ(run.status, 0) << name << " " << help;
      EXPECT_NE(run.out.find("Usage: " + name), std::string::npos) << name << " " << help << ": " << run.out;
      EXPECT_EQ(run.err, "") << name;
    }
    const auto version = RunTool(Tool(name), {"--version"});
    EXPECT_EQ(version.status, 0) << name;
    EXPECT_EQ(version.out, name + " " ORVAMESH_VERSION_STRING " (liborvamesh " ORVAMESH_VERSION_STRING ")\n");
  }
}

// Status of `argv` run with its standard output on /dev/full.
int RunIntoAFullDisk(const std::vector<std::string>& argv) {
  std::vector<char*> args;
  for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  const pid_t pid = ::fork();
  if (pid == 0) {
    const int full = ::open("/dev/full", O_WRONLY);
    const int null = ::open("/dev/null", O_WRONLY);
    ::dup2(full, STDOUT_FILENO);
    ::dup2(null, STDERR_FILENO);
    ::execv(args[0], args.data());
    ::_exit(127);
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(ToolConventions, AResultThatCannotBeWrittenIsAFailure) {
  EXPECT_EQ(RunIntoAFullDisk({Tool("orvamesh-node"), "utilization", "--json"}), 1);
  orva::test::SimDaemon daemon(200);
  const std::string bus = orva::test::SharedPrivateBus().Address();
  EXPECT_EQ(RunIntoAFullDisk({Tool("orvamesh"), "--bus", bus, "get-node-ids"}), 1);
}

}  // namespace
