#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "orvamesh/utils/utils.h"
#include "platform/random_seam.h"
#include "support/fixture_root.h"
#include "support/log_capture.h"

namespace {

namespace Utils = ORVA::MESH::SDK::Utils;
using ORVA::MESH::SDK::Seam::ScopedRandomOverride;

class GenRandomSeed : public ::testing::Test {
 protected:
  ScopedRandomOverride random_;
  orva::test::FixtureRoot root_;
};

// What rand() yields first after srand(seed); draw the value under test before calling this.
int FirstRandAfterSeed(unsigned int seed) {
  std::srand(seed);
  return std::rand();
}

template <int kErrno>
ssize_t GetrandomFails(void*, size_t, unsigned int) {
  errno = kErrno;
  return -1;
}

TEST_F(GenRandomSeed, SeedsFromTheKernelWithoutBlockingElseFromTheRandomDeviceBelowTheRoot) {
  static unsigned int flagsSeen;
  random_->getrandom = [](void* buffer, size_t size, unsigned int flags) -> ssize_t {
    flagsSeen = flags;
    std::memset(buffer, 0x5a, size);
    return static_cast<ssize_t>(size);
  };
  ASSERT_EQ(Utils::GenRandomSeed(), 0);
  int drawn = std::rand();
  EXPECT_EQ(drawn, FirstRandAfterSeed(0x5a5a5a5au));
  EXPECT_TRUE(flagsSeen & GRND_NONBLOCK);

  random_->getrandom = GetrandomFails<EAGAIN>;
  root_.WriteFile("dev/urandom", std::string("\x01\x02\x03\x04", 4));
  ASSERT_EQ(Utils::GenRandomSeed(), 0);
  drawn = std::rand();
  unsigned int fromDevice;
  std::memcpy(&fromDevice, "\x01\x02\x03\x04", 4);
  EXPECT_EQ(drawn, FirstRandAfterSeed(fromDevice));
}

TEST_F(GenRandomSeed, FailsWithOneLineWhenNoSourceAnswers) {
  random_->getrandom = GetrandomFails<ENOSYS>;
  orva::test::LogCapture capture;
  EXPECT_EQ(Utils::GenRandomSeed(), -1);
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_NE(capture.Lines()[0].text.find("Failed to open " + root_.Path() + "/dev/urandom"), std::string::npos);
  // A device that runs dry is no better than none.
  root_.WriteFile("dev/urandom", "ab");
  EXPECT_EQ(Utils::GenRandomSeed(), -1);
  EXPECT_TRUE(capture.Contains("Failed to read 4 random bytes"));
}

}  // namespace
