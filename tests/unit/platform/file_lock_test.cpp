#include "orvamesh/platform/file_lock.h"

#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/file_seam.h"
#include "support/temp_dir.h"

namespace {

using orva::net::utils::FileLock;
using orva::test::TempDir;

TEST(FileLock, ExcludesOtherHoldersUntilReleased) {
  TempDir dir;
  FileLock first(dir.Join("a.lock"));
  FileLock second(dir.Join("a.lock"));
  ASSERT_TRUE(first.Lock());
  EXPECT_TRUE(first.IsLocked());
  EXPECT_FALSE(first.Lock()) << "already held by this object";
  EXPECT_FALSE(second.TryLock());
  EXPECT_TRUE(first.Unlock());
  EXPECT_FALSE(first.Unlock()) << "nothing left to release";
  EXPECT_TRUE(second.TryLock());
}

TEST(FileLock, IsReleasedByDestructionAndFollowsAMove) {
  TempDir dir;
  {
    FileLock lock(dir.Join("b.lock"));
    ASSERT_TRUE(lock.Lock());
    FileLock moved(std::move(lock));
    EXPECT_FALSE(lock.IsLocked());
    EXPECT_TRUE(moved.IsLocked());
    FileLock probe(dir.Join("b.lock"));
    EXPECT_FALSE(probe.TryLock());
  }
  FileLock again(dir.Join("b.lock"));
  EXPECT_TRUE(again.TryLock());
}

TEST(FileLock, FailsWhereTheLockFileCannotBeCreated) {
  TempDir dir;
  FileLock lock(dir.Join("missing-dir/c.lock"));
  EXPECT_FALSE(lock.Lock());
  EXPECT_FALSE(lock.IsLocked());
  FileLock empty("");
  EXPECT_FALSE(empty.Lock());
}

TEST(FileLock, ReportsARefusedReleaseButDropsTheLockAnyway) {
  TempDir dir;
  FileLock lock(dir.Join("d.lock"));
  ASSERT_TRUE(lock.Lock());
  {
    orva::platform::ScopedFileCallsOverride seam;
    seam->flock = [](int, int) { return -1; };
    EXPECT_FALSE(lock.Unlock());
  }
  FileLock probe(dir.Join("d.lock"));
  EXPECT_TRUE(probe.TryLock());
}

TEST(FileLock, WaitsForAHolderInAnotherProcess) {
  TempDir dir;
  const std::string path = dir.Join("e.lock");
  int ready[2], release[2];
  ASSERT_EQ(::pipe(ready), 0);
  ASSERT_EQ(::pipe(release), 0);
  pid_t child = ::fork();
  ASSERT_NE(child, -1);
  if (child == 0) {
    FileLock held(path);
    char c = held.Lock() ? '1' : '0';
    if (::write(ready[1], &c, 1) != 1) _exit(2);
    if (::read(release[0], &c, 1) < 0) _exit(2);
    _exit(0);  // exiting releases the lock
  }
  char c = 0;
  ASSERT_EQ(::read(ready[0], &c, 1), 1);
  ASSERT_EQ(c, '1');
  FileLock mine(path);
  EXPECT_FALSE(mine.TryLock());
  ASSERT_EQ(::write(release[1], "x", 1), 1);
  EXPECT_TRUE(mine.Lock());
  int status = 0;
  ::waitpid(child, &status, 0);
  for (int fd : {ready[0], ready[1], release[0], release[1]}) ::close(fd);
}

}  // namespace
