#include "platform/text.h"

#include <json/json.h>

#include <memory>

namespace orva::platform {

std::string TrimBlanks(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return std::string();
  const auto last = text.find_last_not_of(kBlanks);
  return std::string(text.substr(first, last - first + 1));
}

std::vector<std::string> SplitText(std::string_view text, char separator) {
  std::vector<std::string> parts;
  if (text.empty()) return parts;
  for (std::string_view::size_type start = 0;;) {
    const auto end = text.find(separator, start);
    parts.emplace_back(text.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start));
    if (end == std::string_view::npos) return parts;
    start = end + 1;
  }
}

std::string JoinText(const std::vector<std::string>& parts, char separator) {
  std::string out;
  for (size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) out += separator;
    out += parts[i];
  }
  return out;
}

bool ParseJsonText(std::string_view text, Json::Value& out) {
  Json::CharReaderBuilder builder;
  // Our documents are a few levels deep; the reader throws, not fails, past its stack limit,
  // so a hostile peer's 1,000 nested arrays must end here as a plain "not JSON".
  builder["stackLimit"] = kMaxJsonDepth;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value parsed;
  std::string errors;
  try {
    if (!reader->parse(text.data(), text.data() + text.size(), &parsed, &errors)) return false;
  } catch (const std::exception&) {
    return false;
  }
  out = std::move(parsed);
  return true;
}

}  // namespace orva::platform
