#include <signal.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/pid_file.h"
#include "platform/process_runner.h"
#include "support/temp_dir.h"
#include "support/wait_until.h"

namespace {

using namespace orva::platform;
using orva::test::TempDir;

std::string ReadAll(ProgramOutput& out) {
  std::string text;
  char buffer[8];  // smaller than a line: pieces must be appended, not lost
  while (out.GetLine(buffer, sizeof buffer) != nullptr) text += buffer;
  return text;
}

TEST(ProgramOutput, ReadsStandardOutputAndOptionallyStandardErrorAndIsNullWithoutAProgram) {
  const std::vector<std::string> argv = {"/bin/sh", "-c", "echo out-line; echo err-line >&2; exit 3"};
  ProgramOutput plain = ProgramOutput::Open(argv);
  ASSERT_TRUE(plain);
  EXPECT_EQ(ReadAll(plain), "out-line\n");
  EXPECT_EQ(plain.Close(), 3);
  ProgramOutput merged = ProgramOutput::Open(argv, true);
  ASSERT_TRUE(merged);
  EXPECT_EQ(ReadAll(merged), "out-line\nerr-line\n");
  EXPECT_FALSE(ProgramOutput::Open({}));
}

TEST(ExecWait, IsZeroOnlyForAProgramThatExitedZero) {
  EXPECT_EQ(ExecWait({"/bin/true"}, kJobManagerFlags), 0);
  EXPECT_EQ(ExecWait({"/no/such/program"}), -1);
  EXPECT_EQ(ExecWait({"/bin/sh", "-c", "kill -9 $$"}), -1);
  EXPECT_EQ(RunProgram({}), -1) << "no program at all";
}

TEST(PidFile, ReadsOnlyPositivePids) {
  TempDir dir;
  struct Case {
    const char* content;
    pid_t pid;
  } cases[] = {{"1234\n", 1234}, {"  77", 77}, {"0\n", 0}, {"-5\n", 0}, {"abc\n", 0}, {"", 0}, {"99999999999\n", 0}};
  for (const Case& c : cases) EXPECT_EQ(ReadPidFile(dir.WriteFile("p.pid", c.content)), c.pid) << c.content;
  EXPECT_EQ(ReadPidFile(dir.Join("absent.pid")), 0);
}

TEST(PidFile, TellsLivingProcessesFromExitedAndUnreapedOnes) {
  TempDir dir;
  pid_t child = SpawnProgram({"/bin/sleep", "30"});
  ASSERT_GT(child, 0);
  std::string pidFile = dir.WriteFile("sleep.pid", std::to_string(child) + "\n");
  EXPECT_TRUE(ProcAlive(child));
  EXPECT_TRUE(ProcAliveByPidFile(pidFile));
  ASSERT_EQ(ProcSignalByPidFile(pidFile, SIGTERM), 0);
  // Until it is reaped the child is a zombie, which is not alive.
  EXPECT_TRUE(orva::test::WaitUntil([&] { return !ProcAlive(child); }));
  EXPECT_EQ(::kill(child, 0), 0) << "still a zombie, not yet reaped";
  WaitProgram(child);
  EXPECT_FALSE(ProcAliveByPidFile(pidFile));
  EXPECT_EQ(ProcSignalByPidFile(dir.Join("absent.pid"), SIGTERM), -1);
  EXPECT_FALSE(ProcAlive(0));
}

TEST(PidFile, RemovingAMissingFileIsNoFailureButAnUnremovableOneIs) {
  TempDir dir;
  std::string file = dir.WriteFile("x.pid", "1\n");
  EXPECT_EQ(SysRemove(file), 0);
  EXPECT_FALSE(FileExist(file));
  EXPECT_EQ(SysRemove(file), 0) << "already gone";
  dir.WriteFile("sub/inner", "");
  EXPECT_EQ(SysRemove(dir.Join("sub")), -1) << "a non-empty directory stays";
}

}  // namespace
