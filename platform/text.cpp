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
