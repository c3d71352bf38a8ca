// The conventions every tool shares, whatever it does: help and version on standard output
// with status 0, and a result that cannot be written is a failure.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <sstream>
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

namespace manual {

// The subcommands a tool's --help names: orvamesh lists them under "Subcommands:", the others
// write one usage line per subcommand.
std::vector<std::string> SubcommandsInHelp(const std::string& name, const std::string& help) {
  std::vector<std::string> found;
  std::istringstream lines(help);
  bool listing = false;
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string first;
    words >> first;
    if (line == "Subcommands:" || line.empty()) {
      listing = !line.empty();
      continue;
    }
    if (listing) {
      found.push_back(first);
      continue;
    }
    // "Usage: NAME SUB ..." or "       NAME SUB ..."
    std::string program = first, sub;
    if (first == "Usage:") words >> program;
    words >> sub;
    if (program == name && !sub.empty() && std::islower(static_cast<unsigned char>(sub[0]))) found.push_back(sub);
  }
  return found;
}

// What bash completes for the words typed so far, through the tool's own completion script.
std::string Complete(const std::string& name, const std::string& script, const std::string& typed) {
  const std::string program = "source /dev/stdin <<'EOS'\n" + script + "EOS\nCOMP_WORDS=(" + typed +
                              ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n" + "_" + [&] {
                                std::string f = name;
                                for (char& c : f) if (c == '-') c = '_';
                                return f;
                              }() + "\necho \"${COMPREPLY[*]}\"\n";
  return RunTool("/bin/bash", {"-c", program}).out;
}

}  // namespace manual

// Man pages and completion scripts come from the same tables as --help: every subcommand shows
// in both, and bash completes subcommands and their options with the script.
TEST(ToolConventions, ManPagesAndCompletionNameEverySubcommandOfTheHelp) {
  for (const std::string& name : kTools) {
    const std::string help = RunTool(Tool(name), {"--help"}).out;
    const auto man = RunTool(Tool(name), {"--man"});
    const auto completion = RunTool(Tool(name), {"--bash-completion"});
    ASSERT_EQ(man.status, 0) << name;
    ASSERT_EQ(completion.status, 0) << name;
    EXPECT_EQ(man.out.rfind(".TH ", 0), 0u) << name;
    EXPECT_EQ(RunTool("/bin/bash", {"-n", "-c", completion.out}).status, 0) << name << ": not valid bash";
    const auto subcommands = manual::SubcommandsInHelp(name, help);
    for (const std::string& sub : subcommands) {
      std::string roff = sub;
      for (size_t at = 0; (at = roff.find('-', at)) != std::string::npos; at += 2) roff.insert(at, "\\");
      EXPECT_NE(man.out.find(".B " + roff), std::string::npos) << name << " " << sub;
      EXPECT_NE(completion.out.find("    " + sub + ") "), std::string::npos) << name << " " << sub;
    }
    if (name != "orvamesh-simd") {
      EXPECT_FALSE(subcommands.empty()) << name;
    }
  }
  EXPECT_EQ(manual::Complete("orvamesh", RunTool(Tool("orvamesh"), {"--bash-completion"}).out, "orvamesh start-s"),
            "start-scan start-setup-node start-system-update\n");
  EXPECT_EQ(manual::Complete("orvamesh", RunTool(Tool("orvamesh"), {"--bash-completion"}).out,
                             "orvamesh --bus x remove-nodes 3 --fo"),
            "--follow\n");
  EXPECT_EQ(manual::Complete("orvamesh-scan", RunTool(Tool("orvamesh-scan"), {"--bash-completion"}).out,
                             "orvamesh-scan re eth0 --po"),
            "--port\n");
}
