#pragma once
// Small text helpers shared by the platform's file readers and the web-API code.
#include <string>
#include <string_view>

namespace Json {
class Value;
}

namespace orva::platform {

// `text` without leading and trailing blanks (space, tab, carriage return).
std::string TrimBlanks(std::string_view text);

// Documents nested deeper than this are refused.
inline constexpr int kMaxJsonDepth = 64;

// Parses one JSON document; false (and `out` untouched) when `text` is not one, or is nested
// deeper than kMaxJsonDepth. Never throws.
bool ParseJsonText(std::string_view text, Json::Value& out);

}  // namespace orva::platform
