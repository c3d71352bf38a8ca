#pragma once
// Small text helpers shared by the platform's file readers, the web-API code and the driver
// helpers' configuration lists.
#include <string>
#include <string_view>
#include <vector>

namespace Json {
class Value;
}

namespace orva::platform {

// `text` without leading and trailing blanks (space, tab, carriage return).
std::string TrimBlanks(std::string_view text);

// "a,b,,c" -> {"a", "b", "", "c"}; an empty text has no parts.
std::vector<std::string> SplitText(std::string_view text, char separator);
// The inverse of SplitText.
std::string JoinText(const std::vector<std::string>& parts, char separator);

// Documents nested deeper than this are refused.
inline constexpr int kMaxJsonDepth = 64;

// Parses one JSON document; false (and `out` untouched) when `text` is not one, or is nested
// deeper than kMaxJsonDepth. Never throws.
bool ParseJsonText(std::string_view text, Json::Value& out);

}  // namespace orva::platform
