#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <string>

#include "orvamesh/utils/utils.h"
#include "support/log_capture.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK;

// Which addresses get a zone is IPAddress's rule, tested with it; a named interface and an unknown
// one are walked by the web API's link-local test.
TEST(AddIPv6LinkLocalZoneIndex, RefusesAnEmptyInterfaceAndLeavesTheOutputAlone) {
  orva::test::LogCapture capture;
  std::string out = "untouched";
  EXPECT_EQ(Utils::AddIPv6LinkLocalZoneIndex("fe80::1", out, ""), -1);
  EXPECT_EQ(out, "untouched");
}

struct ThreadFacts {
  std::atomic<bool> done{false};
  size_t stackSize = 0;
  int detachState = -1;
  bool termBlocked = false;
};

void* Inspect(void* arg) {
  auto* facts = static_cast<ThreadFacts*>(arg);
  pthread_attr_t attr;
  if (pthread_getattr_np(pthread_self(), &attr) == 0) {
    pthread_attr_getstacksize(&attr, &facts->stackSize);
    pthread_attr_getdetachstate(&attr, &facts->detachState);
    pthread_attr_destroy(&attr);
  }
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  facts->termBlocked = sigismember(&mask, SIGTERM) == 1;
  facts->done.store(true);
  return nullptr;
}

TEST(CreatePThread, StartsADetachedThreadWithTheStackAskedForAndSignalsBlocked) {
  ThreadFacts facts;
  pthread_t tid;
  ASSERT_EQ(Utils::CreatePThread(&tid, Inspect, &facts, true, 1048576), 0);
  ASSERT_TRUE(orva::test::WaitUntil([&] { return facts.done.load(); }));
  EXPECT_GE(facts.stackSize, 1048576u);
  EXPECT_LT(facts.stackSize, 2 * 1048576u);
  EXPECT_EQ(facts.detachState, PTHREAD_CREATE_DETACHED);
  EXPECT_TRUE(facts.termBlocked);
  sigset_t mine;
  pthread_sigmask(SIG_SETMASK, nullptr, &mine);
  EXPECT_FALSE(sigismember(&mine, SIGTERM) == 1) << "the caller's mask must be restored";
  EXPECT_NE(Utils::CreatePThread(&tid, Inspect, &facts, true, 1), 0) << "a tiny stack";
}

}  // namespace
