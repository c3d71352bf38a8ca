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
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value parsed;
  std::string errors;
  if (!reader->parse(text.data(), text.data() + text.size(), &parsed, &errors)) return false;
  out = std::move(parsed);
  return true;
}

}  // namespace orva::platform
