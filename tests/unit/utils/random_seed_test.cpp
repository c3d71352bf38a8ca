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

TEST(GenRandomSeed, SeedsFromTheKernelWithoutBlockingElseFromTheRandomDeviceBelowTheRoot) {
  ScopedRandomOverride seam;
  orva::test::FixtureRoot root;
  static unsigned int flagsSeen;
  seam->getrandom = [](void* buffer, size_t size, unsigned int flags) -> ssize_t {
    flagsSeen = flags;
    std::memset(buffer, 0x5a, size);
    return static_cast<ssize_t>(size);
  };
  ASSERT_EQ(Utils::GenRandomSeed(), 0);
  int drawn = std::rand();
  EXPECT_EQ(drawn, FirstRandAfterSeed(0x5a5a5a5au));
  EXPECT_TRUE(flagsSeen & GRND_NONBLOCK);

  seam->getrandom = GetrandomFails<EAGAIN>;
  root.WriteFile("dev/urandom", std::string("\x01\x02\x03\x04", 4));
  ASSERT_EQ(Utils::GenRandomSeed(), 0);
  drawn = std::rand();
  unsigned int fromDevice;
  std::memcpy(&fromDevice, "\x01\x02\x03\x04", 4);
  EXPECT_EQ(drawn, FirstRandAfterSeed(fromDevice));
}

TEST(GenRandomSeed, FailsWithOneLineWhenNoSourceAnswers) {
  ScopedRandomOverride seam;
  orva::test::FixtureRoot root;
  seam->getrandom = GetrandomFails<ENOSYS>;
  orva::test::LogCapture capture;
  EXPECT_EQ(Utils::GenRandomSeed(), -1);
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_NE(capture.Lines()[0].text.find("Failed to open " + root.Path() + "/dev/urandom"), std::string::npos);
  // A device that runs dry is no better than none.
  root.WriteFile("dev/urandom", "ab");
  EXPECT_EQ(Utils::GenRandomSeed(), -1);
  EXPECT_TRUE(capture.Contains("Failed to read 4 random bytes"));
}

}  // namespace
