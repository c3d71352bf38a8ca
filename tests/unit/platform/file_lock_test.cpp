#include "orvamesh/platform/file_lock.h"

#include <gtest/gtest.h>

#include "support/temp_dir.h"

namespace {

using orva::net::utils::FileLock;
using orva::test::TempDir;

TEST(FileLock, ExcludesOtherHoldersUntilReleasedAndFailsWhereTheFileCannotBeCreated) {
  TempDir dir;
  FileLock first(dir.Join("a.lock"));
  FileLock second(dir.Join("a.lock"));
  ASSERT_TRUE(first.Lock());
  EXPECT_FALSE(first.Lock()) << "already held by this object";
  EXPECT_FALSE(second.TryLock());
  EXPECT_TRUE(first.Unlock());
  EXPECT_FALSE(first.Unlock()) << "nothing left to release";
  EXPECT_TRUE(second.TryLock());
  FileLock nowhere(dir.Join("missing-dir/c.lock"));
  EXPECT_FALSE(nowhere.Lock());
}

TEST(FileLock, IsReleasedByDestructionAndFollowsAMove) {
  TempDir dir;
  {
    FileLock lock(dir.Join("b.lock"));
    ASSERT_TRUE(lock.Lock());
    FileLock moved(std::move(lock));
    EXPECT_FALSE(lock.IsLocked());
    EXPECT_TRUE(moved.IsLocked());
    EXPECT_FALSE(FileLock(dir.Join("b.lock")).TryLock());
  }
  EXPECT_TRUE(FileLock(dir.Join("b.lock")).TryLock());
}

}  // namespace
