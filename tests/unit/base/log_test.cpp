#include "orvamesh/base/log.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "support/log_capture.h"

namespace {

using orva::test::LogCapture;

TEST(Log, PrefixesFileAndLineAndKeepsThePriority) {
  LogCapture capture;
  const int line = __LINE__ + 1;
  ORVA_LOG_ERR("Fail to lock mutex [%d]", 22);
  ORVA_LOG_INFO("ignored");
  auto lines = capture.Lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].priority, LOG_ERR);
  EXPECT_EQ(lines[0].text, "tests/unit/base/log_test:" + std::to_string(line) + " Fail to lock mutex [22]");
  EXPECT_EQ(lines[1].priority, LOG_INFO);
}

TEST(Log, FormatsLinesLongerThanTheStackBuffer) {
  LogCapture capture;
  std::string big(5000, 'x');
  ORVA_LOG_DEBUG("dump %s end", big.c_str());
  ASSERT_EQ(capture.Lines().size(), 1u);
  const std::string text = capture.Lines()[0].text;
  EXPECT_NE(text.find(big + " end"), std::string::npos);
}

TEST(Log, RestoresThePreviousSinkWhenTheCaptureEnds) {
  LogCapture outer;
  {
    LogCapture inner;
    ORVA_LOG_ERR("inner");
    EXPECT_TRUE(inner.Contains("inner"));
  }
  ORVA_LOG_ERR("outer");
  EXPECT_TRUE(outer.Contains("outer"));
  EXPECT_FALSE(outer.Contains("inner"));
}

TEST(Log, UnhandledInDestructorNamesTheException) {
  LogCapture capture;
  try {
    throw std::runtime_error("gone");
  } catch (...) {
    ORVA_LOG_UNHANDLED_IN_DESTRUCTOR();
  }
  try {
    throw 42;
  } catch (...) {
    ORVA_LOG_UNHANDLED_IN_DESTRUCTOR();
  }
  auto texts = capture.Texts();
  ASSERT_EQ(texts.size(), 2u);
  EXPECT_NE(texts[0].find(" Unhandled exception in destructor: gone"), std::string::npos);
  EXPECT_NE(texts[1].find(" Unhandled and unknown exception in destructor"), std::string::npos);
}

}  // namespace
