#include "cli.h"

#include <json/reader.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <set>
#include <sstream>

namespace orvacli {

Args::Args(const std::vector<std::string>& words, const std::string& spec) {
  std::set<std::string> valued;
  std::set<std::string> flags{"help"};
  std::istringstream names(spec);
  for (std::string name; names >> name;) {
    if (name.back() == '!') {
      flags.insert(name.substr(0, name.size() - 1));
    } else {
      valued.insert(name);
    }
  }
  bool optionsEnded = false;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (optionsEnded || word.size() < 2 || word.compare(0, 2, "--") != 0) {
      positional_.push_back(word);
      continue;
    }
    if (word == "--") {
      optionsEnded = true;
      continue;
    }
    std::string name = word.substr(2);
    std::string value;
    const bool inlineValue = name.find('=') != std::string::npos;
    if (inlineValue) {
      value = name.substr(name.find('=') + 1);
      name = name.substr(0, name.find('='));
    }
    if (flags.count(name) != 0) {
      if (inlineValue) throw UsageError("--" + name + " takes no value");
      flags_[name] = true;
    } else if (valued.count(name) != 0) {
      if (!inlineValue) {
        if (i + 1 >= words.size()) throw UsageError("--" + name + " needs a value");
        value = words[++i];
      }
      options_[name] = value;
    } else {
      throw UsageError("unknown option --" + name);
    }
  }
}

const std::string* Args::Option(const std::string& name) const {
  auto it = options_.find(name);
  return it == options_.end() ? nullptr : &it->second;
}

Client::NodeId ParseNodeId(const std::string& word) {
  const bool digits = !word.empty() && word.size() <= 10 &&
                      word.find_first_not_of("0123456789") == std::string::npos;
  const unsigned long long value = digits ? std::strtoull(word.c_str(), nullptr, 10) : 0;
  if (!digits || value > 0xffffffffULL) throw UsageError("'" + word + "' is no node id (0 to 4294967295)");
  return static_cast<Client::NodeId>(value);
}

Client::NodeIdList ParseNodeIds(const std::vector<std::string>& words) {
  Client::NodeIdList ids;
  for (const auto& word : words) ids.push_back(ParseNodeId(word));
  return ids;
}

bool ParseSwitch(const std::string& word) {
  static const std::set<std::string> on{"on", "true", "yes", "1"};
  static const std::set<std::string> off{"off", "false", "no", "0"};
  if (on.count(word) != 0) return true;
  if (off.count(word) != 0) return false;
  throw UsageError("'" + word + "' is no switch value (on/off, true/false, yes/no, 1/0)");
}

Json::Value ParseJsonText(const std::string& text, const std::string& what) {
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  std::string errors;
  if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
    while (!errors.empty() && std::isspace(static_cast<unsigned char>(errors.back()))) errors.pop_back();
    throw UsageError(what + " is not valid JSON: " + errors);
  }
  return value;
}

Json::Value JsonInput(const Args& args) {
  const std::string* file = args.Option("file");
  const std::string* text = args.Option("data");
  if (file != nullptr && text != nullptr) throw UsageError("give --file or --data, not both");
  if (text != nullptr) return ParseJsonText(*text, "--data");
  if (file == nullptr) return Json::Value();
  std::string content;
  if (*file == "-") {
    content.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  } else {
    std::ifstream in(*file);
    if (!in) throw UsageError("cannot read " + *file + ": " + std::strerror(errno));
    content.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  return ParseJsonText(content, *file == "-" ? std::string("standard input") : *file);
}

std::string Kebab(const std::string& camel) {
  std::string out;
  for (size_t i = 0; i < camel.size(); ++i) {
    const char c = camel[i];
    if (std::isupper(static_cast<unsigned char>(c))) {
      if (i > 0) out += '-';
      out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    } else {
      out += c;
    }
  }
  return out;
}

namespace {
bool IsEnumName(const Json::Value& example) {
  if (!example.isString() || example.asString().empty()) return false;
  const std::string text = example.asString();
  return text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_") == std::string::npos;
}
}  // namespace

void SetFieldFromWord(Json::Value& json, const Json::Value& model, const std::string& field,
                      const std::string& word) {
  const std::string option = "--" + Kebab(field);
  const Json::Value& example = model[field];
  if (example.isBool()) {
    try {
      json[field] = ParseSwitch(word);
    } catch (const UsageError& e) {
      throw UsageError(option + ": " + e.what());
    }
  } else if (example.isIntegral()) {
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(word.c_str(), &end, 10);
    if (word.empty() || *end != '\0' || errno != 0) throw UsageError(option + " needs a whole number, not '" + word + "'");
    json[field] = static_cast<Json::Int64>(value);
  } else if (example.isArray()) {
    Json::Value list(Json::arrayValue);
    std::istringstream items(word);
    for (std::string item; std::getline(items, item, ',');) list.append(item);
    json[field] = list;
  } else if (IsEnumName(example)) {
    // Enumerations are written in upper case; take "ethernet" for "ETHERNET".
    std::string upper = word;
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    json[field] = upper;
  } else {
    json[field] = word;
  }
}

Json::Value ToJson(const ORVA::MESH::SDK::LedConfig& value) {
  Json::Value out;
  value.Serialize(out);
  return out;
}

std::string WithoutLocation(const std::string& what) {
  const auto colon = what.find(": ");
  const auto space = what.find(' ');
  // The location has no spaces; a message without one is left whole.
  if (colon == std::string::npos || space < colon) return what;
  return what.substr(colon + 2);
}

std::string Innermost(const std::exception& e) {
  try {
    std::rethrow_if_nested(e);
  } catch (const std::exception& inner) {
    return Innermost(inner);
  } catch (...) {
  }
  return e.what();
}

std::string WithErrnoText(const std::string& text) {
  static const std::string kMark = "errno: [";
  std::string out;
  size_t from = 0;
  for (size_t at = text.find(kMark); at != std::string::npos; at = text.find(kMark, from)) {
    const size_t digits = at + kMark.size();
    const size_t close = text.find(']', digits);
    if (close == std::string::npos || close == digits ||
        text.find_first_not_of("0123456789", digits) != close) {
      out.append(text, from, digits - from);
      from = digits;
      continue;
    }
    out.append(text, from, close + 1 - from);
    out += " (" + std::string(std::strerror(std::atoi(text.c_str() + digits))) + ")";
    from = close + 1;
  }
  out.append(text, from, std::string::npos);
  return out;
}

namespace {

// What GLib, the bus and our proxy say, in the words of someone running the tool. The first
// match in the whole chain wins, so the most specific patterns come first.
std::string CauseInWords(const std::string& chain) {
  struct Cause {
    const char* words;
    std::vector<const char*> needles;  // lower case
  };
  static const Cause kCauses[] = {
      {"the daemon is not running (nobody owns its name on this bus)",
       {"serviceunknown", "target service does not exist", "name has no owner", "not provided by any .service files"}},
      {"access denied: the bus policy does not let this user call the daemon",
       {"accessdenied", "access denied", "rejected send message"}},
      {"no reply in time: the daemon is busy or hung", {"noreply", "timeout was reached", "timed out"}},
      {"the bus went away (it stopped or restarted)", {"connection is closed", "disconnected"}},
      {"no bus at this address (is dbus-daemon running?)",
       {"could not connect", "no such file or directory", "connection refused"}},
  };
  std::string lower = chain;
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  for (const Cause& cause : kCauses) {
    for (const char* needle : cause.needles) {
      if (lower.find(needle) != std::string::npos) return cause.words;
    }
  }
  return "";
}

}  // namespace

TransportFault::TransportFault(const std::exception& cause)
    : TransportFault(WithErrnoText(Describe(cause)), WithErrnoText(WithoutLocation(Innermost(cause)))) {}

TransportFault::TransportFault(std::string chain, const std::string& inner)
    : std::runtime_error([&] {
        const std::string words = CauseInWords(chain);
        return words.empty() ? inner : words + " [" + inner + "]";
      }()),
      chain_(std::move(chain)) {}

std::string Describe(const std::exception& e) {
  std::string text = e.what();
  try {
    std::rethrow_if_nested(e);
  } catch (const std::exception& inner) {
    text += "\n  caused by: " + Describe(inner);
  } catch (...) {
    text += "\n  caused by: an exception of unknown type";
  }
  return text;
}

}  // namespace orvacli
