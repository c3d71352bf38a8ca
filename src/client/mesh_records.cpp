#include "orvamesh/client/mesh_records.h"

#include <algorithm>

#include <json/value.h>

#include <cstring>
#include <iterator>
#include <limits>
#include <type_traits>

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Client {

namespace {


constexpr const char* kNodeRoleNames[] = {"UNKNOWN", "CAP", "RE"};
constexpr const char* kBackhaulTypeNames[] = {"NONE", "ETHERNET", "WIFI_2G", "WIFI_5G", "WIFI_6G"};
constexpr const char* kSetupStageNames[] = {"IDLE", "PREPARING", "WPS", "JOINING",
                                            "CONFIGURING", "DONE", "FAILED"};
constexpr const char* kUpdateStageNames[] = {"IDLE", "CHECKING", "DOWNLOADING", "UPGRADING",
                                             "REBOOTING", "DONE", "FAILED"};

template <std::size_t N>
const char* NameOf(const char* const (&names)[N], unsigned value) {
  return value < N ? names[value] : "";
}

template <typename E>
struct EnumTable;
template <>
struct EnumTable<NODE_ROLE> {
  static constexpr const auto& names = kNodeRoleNames;
};
template <>
struct EnumTable<BACKHAUL_TYPE> {
  static constexpr const auto& names = kBackhaulTypeNames;
};
template <>
struct EnumTable<SETUP_STAGE> {
  static constexpr const auto& names = kSetupStageNames;
};
template <>
struct EnumTable<UPDATE_STAGE> {
  static constexpr const auto& names = kUpdateStageNames;
};

template <typename T, typename = void>
struct IsRecord : std::false_type {};
template <typename T>
struct IsRecord<T, std::void_t<decltype(T::kFieldNames)>> : std::true_type {};

[[noreturn]] void WrongType(const char* key, const char* expected) {
  ORVA_THROW_IN(Exception::InvalidArgumentException, "FromJson",
                std::string("Field [") + key + "] is not " + expected);
}

// ---- to JSON

Json::Value ToJsonValue(bool value) { return Json::Value(value); }
Json::Value ToJsonValue(uint8_t value) { return Json::Value(static_cast<Json::UInt>(value)); }
Json::Value ToJsonValue(uint16_t value) { return Json::Value(static_cast<Json::UInt>(value)); }
Json::Value ToJsonValue(uint32_t value) { return Json::Value(static_cast<Json::UInt>(value)); }
Json::Value ToJsonValue(uint64_t value) { return Json::Value(static_cast<Json::UInt64>(value)); }
Json::Value ToJsonValue(int32_t value) { return Json::Value(static_cast<Json::Int>(value)); }
Json::Value ToJsonValue(const std::string& value) { return Json::Value(value); }
Json::Value ToJsonValue(const Mac& value) { return Json::Value(value.ToString()); }
Json::Value ToJsonValue(ERROR_CODE value) { return Json::Value(static_cast<Json::UInt>(value)); }

template <typename E>
auto ToJsonValue(E value) -> decltype(EnumTable<E>::names, Json::Value()) {
  return Json::Value(NameOf(EnumTable<E>::names, static_cast<unsigned>(value)));
}

template <typename R, std::enable_if_t<IsRecord<R>::value, int> = 0>
Json::Value ToJsonValue(const R& record) {
  return record.ToJson();
}

template <typename T>
Json::Value ToJsonValue(const std::vector<T>& values) {
  Json::Value out(Json::arrayValue);
  for (const auto& value : values) out.append(ToJsonValue(value));
  return out;
}

template <typename T>
Json::Value ToJsonValue(const std::map<NodeId, T>& values) {
  Json::Value out(Json::objectValue);
  for (const auto& [id, value] : values) out[std::to_string(id)] = ToJsonValue(value);
  return out;
}

template <typename R>
Json::Value RecordToJson(const R& record) {
  Json::Value out(Json::objectValue);
  std::size_t index = 0;
  std::apply([&](const auto&... field) { ((out[R::kFieldNames[index++]] = ToJsonValue(field)), ...); },
             R::Fields(record));
  return out;
}

// ---- from JSON

void FromJsonValue(const Json::Value& in, const char* key, bool& out) {
  if (!in.isBool()) WrongType(key, "a boolean");
  out = in.asBool();
}

template <typename T>
std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool>> FromJsonValue(
    const Json::Value& in, const char* key, T& out) {
  if (std::is_signed_v<T>) {
    if (!in.isInt64() || in.asInt64() < std::numeric_limits<T>::min() ||
        in.asInt64() > std::numeric_limits<T>::max()) {
      WrongType(key, "an integer in range");
    }
    out = static_cast<T>(in.asInt64());
  } else {
    if (!in.isUInt64() || in.asUInt64() > std::numeric_limits<T>::max()) {
      WrongType(key, "an unsigned integer in range");
    }
    out = static_cast<T>(in.asUInt64());
  }
}

void FromJsonValue(const Json::Value& in, const char* key, std::string& out) {
  if (!in.isString()) WrongType(key, "a string");
  out = in.asString();
}

void FromJsonValue(const Json::Value& in, const char* key, Mac& out) {
  std::string text;
  FromJsonValue(in, key, text);
  out = Mac(text);
  if (!out.IsValid()) WrongType(key, "a MAC address");
}

void FromJsonValue(const Json::Value& in, const char* key, ERROR_CODE& out) {
  uint16_t number = 0;
  FromJsonValue(in, key, number);
  out = static_cast<ERROR_CODE>(number);
}

template <typename E>
auto FromJsonValue(const Json::Value& in, const char* key, E& out)
    -> decltype(EnumTable<E>::names, void()) {
  std::string text;
  FromJsonValue(in, key, text);
  const auto& names = EnumTable<E>::names;
  std::string known;
  for (std::size_t i = 0; i < std::size(names); ++i) {
    if (text == names[i]) {
      out = static_cast<E>(i);
      return;
    }
    known += (i == 0 ? "" : ", ") + std::string(names[i]);
  }
  WrongType(key, ("a known name (one of " + known + ")").c_str());
}

template <typename R, std::enable_if_t<IsRecord<R>::value, int> = 0>
void FromJsonValue(const Json::Value& in, const char*, R& out) {
  out = R::FromJson(in);
}

template <typename T>
void FromJsonValue(const Json::Value& in, const char* key, std::vector<T>& out) {
  if (!in.isArray()) WrongType(key, "an array");
  out.clear();
  for (const auto& item : in) {
    out.emplace_back();
    FromJsonValue(item, key, out.back());
  }
}

template <typename T>
void FromJsonValue(const Json::Value& in, const char* key, std::map<NodeId, T>& out) {
  if (!in.isObject()) WrongType(key, "an object");
  out.clear();
  for (auto it = in.begin(); it != in.end(); ++it) {
    const std::string name = it.name();
    char* end = nullptr;
    const unsigned long long id = std::strtoull(name.c_str(), &end, 10);
    if (name.empty() || *end != '\0' || name[0] == '-' || id > std::numeric_limits<NodeId>::max()) {
      WrongType(key, "an object keyed by node ids");
    }
    FromJsonValue(*it, key, out[static_cast<NodeId>(id)]);
  }
}

template <typename R>
R RecordFromJson(const Json::Value& in) {
  if (!in.isObject()) {
    ORVA_THROW_IN(Exception::InvalidArgumentException, "FromJson", "Record is not a JSON object");
  }
  // A misspelt key would otherwise leave its field at the default without a word.
  for (const std::string& key : in.getMemberNames()) {
    if (std::find(std::begin(R::kFieldNames), std::end(R::kFieldNames), key) == std::end(R::kFieldNames)) {
      ORVA_THROW_IN(Exception::InvalidArgumentException, "FromJson", "Unknown field [" + key + "]");
    }
  }
  R record;
  std::size_t index = 0;
  std::apply(
      [&](auto&... field) {
        (
            [&](auto& f) {
              const char* key = R::kFieldNames[index++];
              if (in.isMember(key)) FromJsonValue(in[key], key, f);
            }(field),
            ...);
      },
      R::Fields(record));
  return record;
}

}  // namespace

const char* NodeRoleToString(NODE_ROLE value) { return NameOf(kNodeRoleNames, static_cast<unsigned>(value)); }
const char* BackhaulTypeToString(BACKHAUL_TYPE value) {
  return NameOf(kBackhaulTypeNames, static_cast<unsigned>(value));
}
const char* SetupStageToString(SETUP_STAGE value) {
  return NameOf(kSetupStageNames, static_cast<unsigned>(value));
}
const char* UpdateStageToString(UPDATE_STAGE value) {
  return NameOf(kUpdateStageNames, static_cast<unsigned>(value));
}

#define ORVA_RECORD_JSON(Record)                                                       \
  Json::Value Record::ToJson() const { return RecordToJson(*this); }                 \
  Record Record::FromJson(const Json::Value& json) { return RecordFromJson<Record>(json); }

ORVA_RECORD_JSON(ScanCandidate)
ORVA_RECORD_JSON(ScanResult)
ORVA_RECORD_JSON(MeshSystemStatus)
ORVA_RECORD_JSON(SetupNodeProgress)
ORVA_RECORD_JSON(SetupNodeInfo)
ORVA_RECORD_JSON(WPSResultInfo)
ORVA_RECORD_JSON(JoinNetworkInfo)
ORVA_RECORD_JSON(JoinReturnInfo)
ORVA_RECORD_JSON(SystemUtilization)
ORVA_RECORD_JSON(Device)
ORVA_RECORD_JSON(NetworkInfo)
ORVA_RECORD_JSON(NodeInfo)
ORVA_RECORD_JSON(NodeMACInfo)
ORVA_RECORD_JSON(RepeaterAccessInfo)
ORVA_RECORD_JSON(NodeCapability)
ORVA_RECORD_JSON(SystemUpdateProgress)
ORVA_RECORD_JSON(CustomTopologyScanResultInfo)
ORVA_RECORD_JSON(CustomTopologyListInfo)
ORVA_RECORD_JSON(CustomTopologySetInfo)

}  // namespace ORVA::MESH::SDK::Client
