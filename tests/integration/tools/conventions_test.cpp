// The conventions every tool shares, whatever it does: help and version on standard output
// with status 0, and a result that cannot be written is a failure.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvamesh/version.h"
#include "support/private_bus.h"
#include "tool_session.h"

namespace orva::test {
namespace {

const std::vector<std::string> kTools = {"orvamesh", "orvamesh-scan", "orvamesh-upgrade", "orvamesh-simd",
                                         "orvamesh-node"};

// Status of the tool run with `args` and its standard output on /dev/full.
int RunIntoAFullDisk(const std::string& name, std::vector<std::string> args) {
  args.insert(args.begin(), {"-c", "exec \"$0\" \"$@\" >/dev/full 2>/dev/null", ToolPath(name)});
  return RunTool("/bin/sh", args).status;
}

TEST(ToolConventions, AResultThatCannotBeWrittenIsAFailure) {
  EXPECT_EQ(RunIntoAFullDisk("orvamesh-node", {"utilization", "--json"}), 1);
  SimDaemon daemon(200);
  EXPECT_EQ(RunIntoAFullDisk("orvamesh", {"--bus", SharedPrivateBus().Address(), "get-node-ids"}), 1);
}

// What bash completes for the words typed so far, through the tool's own completion script.
std::string Complete(const std::string& typed) {
  const std::string name = typed.substr(0, typed.find(' '));
  std::string function = "_" + name;
  for (char& c : function) c = c == '-' ? '_' : c;
  const std::string script = RunTool(ToolPath(name), {"--bash-completion"}).out;
  return RunTool("/bin/bash", {"-c", "source /dev/stdin <<'EOS'\n" + script + "EOS\nCOMP_WORDS=(" + typed +
                                         ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n" + function +
                                         "\necho \"${COMPREPLY[*]}\"\n"})
      .out;
}

// Help and version go to standard output with status 0. Man pages and completion scripts come
// from the same tables as --help: every subcommand shows in both, and bash completes
// subcommands and their options with the script.
TEST(ToolConventions, HelpVersionManPagesAndCompletionNameEverySubcommand) {
  for (const std::string& name : kTools) {
    const auto help = RunTool(ToolPath(name), {"--help"});
    EXPECT_EQ(help.status, 0) << name;
    EXPECT_NE(help.out.find("Usage: " + name), std::string::npos) << name << ": " << help.out;
    EXPECT_EQ(help.err, "") << name;
    const auto version = RunTool(ToolPath(name), {"--version"});
    EXPECT_EQ(version.status, 0) << name;
    EXPECT_EQ(version.out, name + " " ORVAMESH_VERSION_STRING " (liborvamesh " ORVAMESH_VERSION_STRING ")\n");
    const auto man = RunTool(ToolPath(name), {"--man"});
    const auto completion = RunTool(ToolPath(name), {"--bash-completion"});
    ASSERT_EQ(man.status, 0) << name;
    ASSERT_EQ(completion.status, 0) << name;
    EXPECT_EQ(man.out.rfind(".TH ", 0), 0u) << name;
    EXPECT_EQ(RunTool("/bin/bash", {"-n", "-c", completion.out}).status, 0) << name << ": not valid bash";
    const auto subcommands = SubcommandsInHelp(name, help.out);
    for (const std::string& sub : subcommands) {
      std::string roff = sub;
      for (size_t at = 0; (at = roff.find('-', at)) != std::string::npos; at += 2) roff.insert(at, "\\");
      EXPECT_NE(man.out.find(".B " + roff), std::string::npos) << name << " " << sub;
      EXPECT_NE(completion.out.find("    " + sub + ") "), std::string::npos) << name << " " << sub;
    }
    EXPECT_TRUE(name == "orvamesh-simd" || !subcommands.empty()) << name;
  }
  EXPECT_EQ(Complete("orvamesh start-s"), "start-scan start-setup-node start-system-update\n");
  EXPECT_EQ(Complete("orvamesh --bus x remove-nodes 3 --fo"), "--follow\n");
}

}  // namespace
}  // namespace orva::test
