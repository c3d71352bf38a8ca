#include "orvamesh/platform/file_lock.h"

#include <gtest/gtest.h>

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

}  // namespace
