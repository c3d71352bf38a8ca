#pragma once
// The pieces of the orvamesh command line that every subcommand shares: its exit statuses,
// the option parser, the conversions from words and JSON files to values, and the JSON form
// of every result.
#include <json/value.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "orvamesh/client/mesh_client.h"
#include "orvamesh/mac.h"
#include "orvamesh/node/led_config.h"

namespace orvacli {

namespace Client = ORVA::MESH::SDK::Client;

// Exit statuses. A refusal by the daemon exits with kExitRefusalBase + the code's number.
constexpr int kExitOk = 0;
constexpr int kExitUnfinished = 1;  // a followed operation failed or was stopped
constexpr int kExitUsage = 2;       // bad command line or input file
constexpr int kExitTransport = 3;   // no bus, no daemon, an undecodable answer
constexpr int kExitRefusalBase = 10;

// Bad command-line input: reported with the subcommand's usage, exit status 2.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};
// A fault between the tool and the daemon: exit status 3. The library's texts are fixed and
// name source locations, so what() explains the fault in words (daemon not running, access
// denied, no reply in time, bus gone) and Chain() keeps the nested texts for --verbose.
class TransportFault : public std::runtime_error {
 public:
  explicit TransportFault(const std::exception& cause);
  const std::string& Chain() const noexcept { return chain_; }

 private:
  TransportFault(std::string chain, const std::string& inner);
  std::string chain_;
};

// "errno: [9]" becomes "errno: [9] (Bad file descriptor)".
std::string WithErrnoText(const std::string& text);

// Options of one subcommand. `spec` names the allowed options separated by spaces; a name
// ending in "!" is a flag without value. "--name value" and "--name=value" are both taken;
// "--" ends the options.
class Args {
 public:
  Args(const std::vector<std::string>& words, const std::string& spec);
  bool Flag(const std::string& name) const { return flags_.count(name) != 0; }
  const std::string* Option(const std::string& name) const;
  const std::vector<std::string>& Positional() const { return positional_; }

 private:
  std::map<std::string, std::string> options_;
  std::map<std::string, bool> flags_;
  std::vector<std::string> positional_;
};

// --- words to values --------------------------------------------------------------------
Client::NodeId ParseNodeId(const std::string& word);
Client::NodeIdList ParseNodeIds(const std::vector<std::string>& words);
bool ParseSwitch(const std::string& word);
Json::Value ParseJsonText(const std::string& text, const std::string& what);
// The JSON of --file PATH ("-" is standard input) or --data JSON; null when neither is given.
// (Input is named for input: --json means "print JSON" in our other tools.)
Json::Value JsonInput(const Args& args);
// "firmwareVersion" -> "firmware-version".
std::string Kebab(const std::string& camel);

// The options that fill the fields of record R, one per field, named in kebab case.
template <typename R>
std::string RecordOptions() {
  std::string spec = "file data";
  for (const char* field : R::kFieldNames) spec += " " + Kebab(field);
  return spec;
}

// Sets a field of `json` from an option word, typed like the field's default value in
// `model`.
void SetFieldFromWord(Json::Value& json, const Json::Value& model, const std::string& field,
                      const std::string& word);

// An SDK exception's text without its "file:function:line: " prefix.
std::string WithoutLocation(const std::string& what);

// Record R from --file/--data, then from one option per field (options win).
template <typename R>
R RecordFromArgs(const Args& args) {
  Json::Value json = JsonInput(args);
  if (json.isNull()) json = Json::Value(Json::objectValue);
  if (!json.isObject()) throw UsageError("the JSON input must be an object");
  const Json::Value model = R{}.ToJson();
  for (const char* field : R::kFieldNames) {
    if (const std::string* word = args.Option(Kebab(field))) SetFieldFromWord(json, model, field, *word);
  }
  try {
    return R::FromJson(json);
  } catch (const std::exception& e) {
    throw UsageError(WithoutLocation(e.what()));
  }
}

// --- values to JSON ---------------------------------------------------------------------
inline Json::Value ToJson(bool value) { return Json::Value(value); }
inline Json::Value ToJson(uint32_t value) { return Json::Value(static_cast<Json::UInt>(value)); }
inline Json::Value ToJson(const std::string& value) { return Json::Value(value); }
inline Json::Value ToJson(const ORVA::MESH::SDK::Mac& value) { return Json::Value(value.ToString()); }
Json::Value ToJson(const ORVA::MESH::SDK::LedConfig& value);
template <typename R>
auto ToJson(const R& record) -> decltype(record.ToJson()) {
  return record.ToJson();
}
template <typename T>
Json::Value ToJson(const std::vector<T>& values);
template <typename K, typename V>
Json::Value ToJson(const std::map<K, V>& values);

inline std::string Key(uint32_t id) { return std::to_string(id); }
inline std::string Key(const std::string& text) { return text; }
inline std::string Key(const ORVA::MESH::SDK::Mac& mac) { return mac.ToString(); }

template <typename T>
Json::Value ToJson(const std::vector<T>& values) {
  Json::Value out(Json::arrayValue);
  for (const auto& value : values) out.append(ToJson(value));
  return out;
}

template <typename K, typename V>
Json::Value ToJson(const std::map<K, V>& values) {
  Json::Value out(Json::objectValue);
  for (const auto& [key, value] : values) out[Key(key)] = ToJson(value);
  return out;
}

// "caused by" chain of a nested exception, one line per level.
std::string Describe(const std::exception& e);
// The innermost exception's text of a nested chain.
std::string Innermost(const std::exception& e);

}  // namespace orvacli
