#include <json/json.h>
#include <sys/types.h>

#include "orvamesh/node/led_blinking_setting.h"
#include "orvamesh/node/led_config.h"
#include "orvamesh/node/led_schedule_setting.h"
#include "orvamesh/base/log.h"

namespace ORVA::MESH::SDK {

namespace {

constexpr int32_t kNoNode = -1;
constexpr std::size_t kScheduleLength = 7 * 24;

std::string CompactText(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

// The checks shared by the records, in the order Deserialize runs them. Each logs its own line.
bool IsNull(const Json::Value& in) {
  if (!in.isNull()) return false;
  ORVA_LOG_ERR("Input json value is null");
  return true;
}

bool HasNoNode(int32_t id, const Json::Value& in) {
  if (id != kNoNode) return false;
  ORVA_LOG_ERR("No node ID in [%s]", CompactText(in).c_str());
  return true;
}

// Signed on purpose: negative modes have always been let through.
bool IsBadMode(LED_MODE mode) {
  if (static_cast<int32_t>(mode) <= static_cast<int32_t>(LED_MODE::NORMAL)) return false;
  ORVA_LOG_ERR("Invalid led mode: [%d]", static_cast<int>(mode));
  return true;
}

bool IsBadSchedule(const std::string& schedule) {
  if (schedule.empty() || schedule.size() == kScheduleLength) return false;
  ORVA_LOG_ERR("Invalid led schedule length [%zd] for [%s]", static_cast<ssize_t>(schedule.size()),
               schedule.c_str());
  return true;
}

// jsoncpp throws when a member has a type that cannot convert (a text "blinking", an object
// given as the record); such input is refused like any other bad record.
void LogWrongType(const Json::Value& in, const std::exception& error) {
  ORVA_LOG_ERR("Invalid value type in [%s]: %s", CompactText(in).c_str(), error.what());
}

LED_MODE ReadMode(const Json::Value& in) {
  return static_cast<LED_MODE>(in.get("mode", static_cast<int>(LED_MODE::UNKNOWN)).asInt());
}

}  // namespace

int LedConfig::Serialize(Json::Value& out) const {
  Json::Value object(Json::objectValue);
  object["blinking"] = blinking;
  object["mode"] = static_cast<int>(mode);
  object["schedule"] = schedule;
  out = object;
  return 0;
}

int LedConfig::Deserialize(const Json::Value& in) {
  if (IsNull(in)) return -1;
  try {
    blinking = in.get("blinking", false).asBool();
    mode = ReadMode(in);
    schedule = in.get("schedule", "").asString();
  } catch (const std::exception& error) {
    LogWrongType(in, error);
    return -1;
  }
  if (IsBadMode(mode) || IsBadSchedule(schedule)) return -1;
  return 0;
}

int LedBlinkingSetting::Serialize(Json::Value& out) const {
  Json::Value object(Json::objectValue);
  object["id"] = id;
  object["blinking"] = blinking;
  out = object;
  return 0;
}

int LedBlinkingSetting::Deserialize(const Json::Value& in) {
  if (IsNull(in)) return -1;
  try {
    id = in.get("id", kNoNode).asInt();
    blinking = in.get("blinking", false).asBool();
  } catch (const std::exception& error) {
    LogWrongType(in, error);
    return -1;
  }
  if (HasNoNode(id, in)) return -1;
  return 0;
}

int LedScheduleSetting::Serialize(Json::Value& out) const {
  Json::Value object(Json::objectValue);
  object["id"] = id;
  object["mode"] = static_cast<int>(mode);
  object["schedule"] = schedule;
  out = object;
  return 0;
}

int LedScheduleSetting::Deserialize(const Json::Value& in) {
  if (IsNull(in)) return -1;
  try {
    id = in.get("id", kNoNode).asInt();
    mode = ReadMode(in);
    schedule = in.get("schedule", "").asString();
  } catch (const std::exception& error) {
    LogWrongType(in, error);
    return -1;
  }
  if (HasNoNode(id, in) || IsBadMode(mode) || IsBadSchedule(schedule)) return -1;
  return 0;
}

}  // namespace ORVA::MESH::SDK
