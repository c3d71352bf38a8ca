#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

#include "integration/webapi/webapi_env.h"
#include "support/log_capture.h"
#include "support/wait_until.h"

namespace {

using ORVA::MESH::SDK::RemoteRequest;
using ORVA::MESH::SDK::Response;
using namespace ORVA::MESH::SDK::Webapi;
using orva::test::LogCapture;
using orva::test::WaitUntil;
using orva::test::WebapiEnv;

// What the callbacks saw, filled on the worker thread.
struct Seen {
  std::mutex mutex;
  std::vector<std::pair<size_t, bool>> answers;  // (callback index, success)
  std::vector<std::thread::id> threads;

  Callback For(size_t index) {
    return [this, index](const Response& answer) {
      std::lock_guard<std::mutex> lock(mutex);
      answers.emplace_back(index, answer.IsSuccess());
      threads.push_back(std::this_thread::get_id());
    };
  }
  size_t Count() {
    std::lock_guard<std::mutex> lock(mutex);
    return answers.size();
  }
};

using WebapiNonBlocking = WebapiEnv;

TEST_F(WebapiNonBlocking, CallsOnlyTheCallbacksThatExistOnAnotherThreadAfterTheCallerIsGone) {
  LogCapture capture;
  Seen seen;
  {
    std::vector<RemoteRequest> requests = {Call("Node.A"), Call("Test.Fail", Params(R"({"code": 8})")),
                                           Call("Test.IllFormed")};
    std::vector<Callback> callbacks = {seen.For(0), seen.For(1)};
    ASSERT_EQ(SendWebAPIsNonBlocking(requests, callbacks, "lo"), 0);
  }  // The caller's requests and callbacks are gone before any answer arrives.
  ASSERT_TRUE(WaitUntil([&] { return capture.Contains("failed, invalid response / timeout / network error"); }));
  ASSERT_EQ(seen.Count(), 2u);
  EXPECT_EQ(seen.answers, (std::vector<std::pair<size_t, bool>>{{0, true}, {1, false}}));
  EXPECT_NE(seen.threads[0], std::this_thread::get_id());
  EXPECT_TRUE(capture.Contains(" [::1][Test.Fail][1][get] failed: [8]"));
  EXPECT_EQ(server_->Calls().size(), 3u);
}

TEST_F(WebapiNonBlocking, SingleCallsRetryOnTheWorkerAndSkipAnEmptyCallback) {
  LogCapture capture;
  Seen seen;
  ASSERT_EQ(SendWebAPIRetryNonBlocking(Call("Test.FailTimes", Params(R"({"key": "nb", "times": 1})")), 1,
                                       seen.For(0), "lo"),
            0);
  ASSERT_TRUE(WaitUntil([&] { return seen.Count() == 1; }));
  EXPECT_TRUE(seen.answers[0].second);
  EXPECT_EQ(server_->CountCalls("Test.FailTimes"), 2u);

  ASSERT_EQ(SendWebAPINonBlocking(Call("Test.Fail"), Callback(), "lo"), 0);
  ASSERT_TRUE(WaitUntil([&] { return capture.Contains("[Test.Fail][1][get] failed: [1]"); }));
  EXPECT_EQ(seen.Count(), 1u);
}

}  // namespace
