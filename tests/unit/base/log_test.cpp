#include "orvamesh/base/log.h"

#include <gtest/gtest.h>

#include <string>

#include "support/log_capture.h"

namespace {

using orva::test::LogCapture;
namespace Log = ORVA::MESH::SDK::Log;

TEST(Log, PrefixesFileAndLineKeepsThePriorityAndFormatsLinesLongerThanTheStackBuffer) {
  LogCapture capture;
  const int line = __LINE__ + 1;
  ORVA_LOG_ERR("Fail to lock mutex [%d]", 22);
  const std::string big(5000, 'x');
  ORVA_LOG_DEBUG("dump %s end", big.c_str());
  const auto lines = capture.Lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].priority, LOG_ERR);
  EXPECT_EQ(lines[0].text, "tests/unit/base/log_test:" + std::to_string(line) + " Fail to lock mutex [22]");
  EXPECT_NE(lines[1].text.find(big + " end"), std::string::npos);
}

// A named exception is logged by the wrappers' destructor tests; here one that is no std::exception.
TEST(Log, UnhandledInDestructorCopesWithAnExceptionOfAnyType) {
  LogCapture capture;
  try {
    throw 42;
  } catch (...) {
    ORVA_LOG_UNHANDLED_IN_DESTRUCTOR();
  }
  EXPECT_TRUE(capture.Contains(" Unhandled and unknown exception in destructor"));
}

TEST(Log, LinesAboveTheMaximumPriorityAreDroppedThoughTheirArgumentsAreEvaluated) {
  LogCapture capture;  // puts the previous maximum back when it ends
  Log::SetMaxPriority(LOG_INFO);
  int evaluated = 0;
  ORVA_LOG_DEBUG("hidden %d", ++evaluated);
  ORVA_LOG_INFO("shown %d", ++evaluated);
  EXPECT_EQ(evaluated, 2) << "arguments are evaluated as in any call";
  EXPECT_FALSE(Log::Enabled(LOG_DEBUG));
  EXPECT_EQ(capture.Texts().size(), 1u);
}

// A sink that logs (a forwarder that reports its own failures) must not wait for itself.
TEST(Log, ASinkThatLogsDoesNotDeadlockAndSettingASinkHandsBackThePreviousOne) {
  LogCapture capture;
  int calls = 0;
  Log::Sink previous = Log::SetSink([&](int, const std::string&) {
    ++calls;
    ORVA_LOG_ERR("the sink's own complaint");
  });
  ORVA_LOG_ERR("first");
  Log::SetSink(std::move(previous));
  EXPECT_EQ(calls, 1);
  ORVA_LOG_ERR("after");
  EXPECT_EQ(capture.Texts().size(), 1u);
}

}  // namespace
