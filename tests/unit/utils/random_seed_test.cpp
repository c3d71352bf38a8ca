#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "orvamesh/platform/system_root.h"
#include "orvamesh/utils/utils.h"
#include "support/log_capture.h"
#include "support/temp_dir.h"
#include "platform/random_seam.h"

namespace {

namespace Utils = ORVA::MESH::SDK::Utils;
using ORVA::MESH::SDK::Seam::ScopedRandomOverride;
using orva::platform::SystemRoot;

class GenRandomSeed : public ::testing::Test {
 protected:
  void TearDown() override { SystemRoot::Set(savedRoot_); }
  std::string savedRoot_ = SystemRoot::Get();
  ScopedRandomOverride random_;
  orva::test::TempDir root_;
};

// What rand() yields first after srand(seed); draw the value under test before calling this.
int FirstRandAfterSeed(unsigned int seed) {
  std::srand(seed);
  return std::rand();
}

TEST_F(GenRandomSeed, SeedsFromTheKernelWithoutBlocking) {
  static unsigned int flagsSeen;
  random_->getrandom = [](void* buffer, size_t size, unsigned int flags) -> ssize_t {
    flagsSeen = flags;
    std::memset(buffer, 0x5a, size);
    return static_cast<ssize_t>(size);
  };
  ASSERT_EQ(Utils::GenRandomSeed(), 0);
  const int drawn = std::rand();
  EXPECT_EQ(drawn, FirstRandAfterSeed(0x5a5a5a5au));
  EXPECT_TRUE(flagsSeen & GRND_NONBLOCK);
}

TEST_F(GenRandomSeed, FallsBackToTheRandomDeviceBelowTheRoot) {
  random_->getrandom = [](void*, size_t, unsigned int) -> ssize_t {
    errno = EAGAIN;
    return -1;
  };
  root_.WriteFile("dev/urandom", std::string("\x01\x02\x03\x04", 4));
  SystemRoot::Set(root_.Path());
  ASSERT_EQ(Utils::GenRandomSeed(), 0);
  const int drawn = std::rand();
  unsigned int expected;
  std::memcpy(&expected, "\x01\x02\x03\x04", 4);
  EXPECT_EQ(drawn, FirstRandAfterSeed(expected));
}

TEST_F(GenRandomSeed, FailsWithOneLineWhenNoSourceAnswers) {
  random_->getrandom = [](void*, size_t, unsigned int) -> ssize_t {
    errno = ENOSYS;
    return -1;
  };
  SystemRoot::Set(root_.Path());
  {
    orva::test::LogCapture capture;
    EXPECT_EQ(Utils::GenRandomSeed(), -1);
    ASSERT_EQ(capture.Lines().size(), 1u);
    EXPECT_NE(capture.Lines()[0].text.find("Failed to open " + root_.Path() + "/dev/urandom"), std::string::npos);
  }
  // A device that runs dry is no better than none.
  root_.WriteFile("dev/urandom", "ab");
  orva::test::LogCapture capture;
  EXPECT_EQ(Utils::GenRandomSeed(), -1);
  EXPECT_TRUE(capture.Contains("Failed to read 4 random bytes"));
}

}  // namespace
