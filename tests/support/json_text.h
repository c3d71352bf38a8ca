#pragma once
// Parses JSON text written in a test; a parse failure is a test failure.
#include <gtest/gtest.h>
#include <json/json.h>

#include <string>

#include "platform/text.h"

namespace orva::test {

inline Json::Value ParseJson(const std::string& text) {
  Json::Value value;
  EXPECT_TRUE(orva::platform::ParseJsonText(text, value)) << text;
  return value;
}

}  // namespace orva::test
