#include "orvamesh/utils/response.h"

#include <json/json.h>

#include <memory>
#include <utility>

#include "orvamesh/utils/request.h"
#include "platform/text.h"

namespace ORVA::MESH::SDK {

Response::Response(const Json::Value& body, const std::string& api, const int& version,
                   std::string method)
    : api_(api), method_(std::move(method)), version_(version), body_(body) {
  Init();
}

Response::Response(const Json::Value& body, const Request& req)
    : Response(body, req.GetAPI(), req.GetVersion(), req.GetMethod()) {}

Response::Response(const std::string& bodyText, const std::string& api, const int& version,
                   std::string method)
    : api_(api), method_(std::move(method)), version_(version) {
  ParseText(bodyText);
}

Response::Response(const std::string& bodyText, const Request& req)
    : Response(bodyText, req.GetAPI(), req.GetVersion(), req.GetMethod()) {}

void Response::ParseText(const std::string& bodyText) {
  Json::Value parsed;
  if (!orva::platform::ParseJsonText(bodyText, parsed)) return;
  body_ = std::move(parsed);
  Init();
}

void Response::Init() {
  // A constructor's call reaches this class's checks only; derived answers re-run their own.
  valid_ = CheckValid();
  success_ = CheckSuccess();
  errorCode_ = success_ ? 0 : ExtractErrorCode();
}

bool Response::CheckValid() const {
  if (!CheckBoolMember(body_, "success")) return false;
  if (!body_["success"].asBool()) {
    return CheckObjectMember(body_, "error") && CheckIntMember(body_["error"], "code");
  }
  return !body_.isMember("data") || body_["data"].isObject();
}

bool Response::CheckSuccess() const {
  return CheckBoolMember(body_, "success") && body_["success"].asBool();
}

bool Response::CheckHaveData() const { return CheckObjectMember(body_, "data"); }

int Response::ExtractErrorCode() const {
  if (!CheckObjectMember(body_, "error") || !CheckIntMember(body_["error"], "code")) return 0;
  return body_["error"]["code"].asInt();
}

bool Response::GetData(Json::Value& out) const {
  if (!valid_ || !success_ || !CheckHaveData()) return false;
  out = body_["data"];
  return true;
}

namespace {

// GetData, the member check and the conversion of one typed getter.
template <typename T>
bool GetField(const Response& response, const std::string& name, T& out,
              bool (*check)(const Json::Value&, const std::string&),
              T (*convert)(const Json::Value&)) {
  Json::Value data;
  if (!response.GetData(data) || !check(data, name)) return false;
  out = convert(data[name]);
  return true;
}

}  // namespace

bool Response::GetIntField(const std::string& name, int& out) const {
  return GetField<int>(*this, name, out, CheckIntMember,
                       [](const Json::Value& v) { return v.asInt(); });
}

bool Response::GetBoolField(const std::string& name, bool& out) const {
  return GetField<bool>(*this, name, out, CheckBoolMember,
                        [](const Json::Value& v) { return v.asBool(); });
}

bool Response::GetDoubleField(const std::string& name, double& out) const {
  return GetField<double>(*this, name, out, CheckDoubleMember,
                          [](const Json::Value& v) { return v.asDouble(); });
}

bool Response::GetStringField(const std::string& name, std::string& out) const {
  return GetField<std::string>(*this, name, out, CheckStringMember,
                               [](const Json::Value& v) { return v.asString(); });
}

bool Response::GetObjectField(const std::string& name, Json::Value& out) const {
  return GetField<Json::Value>(*this, name, out, CheckObjectMember,
                               [](const Json::Value& v) { return v; });
}

bool Response::GetArrayField(const std::string& name, Json::Value& out) const {
  return GetField<Json::Value>(*this, name, out, CheckArrayMember,
                               [](const Json::Value& v) { return v; });
}

namespace {

bool HasMember(const Json::Value& obj, const std::string& name, bool (Json::Value::*is)() const) {
  return obj.isObject() && obj.isMember(name) && (obj[name].*is)();
}

}  // namespace

bool Response::CheckIntMember(const Json::Value& obj, const std::string& name) {
  return HasMember(obj, name, &Json::Value::isInt);
}

bool Response::CheckBoolMember(const Json::Value& obj, const std::string& name) {
  return HasMember(obj, name, &Json::Value::isBool);
}

bool Response::CheckDoubleMember(const Json::Value& obj, const std::string& name) {
  return HasMember(obj, name, &Json::Value::isDouble);
}

bool Response::CheckStringMember(const Json::Value& obj, const std::string& name) {
  return HasMember(obj, name, &Json::Value::isString);
}

bool Response::CheckObjectMember(const Json::Value& obj, const std::string& name) {
  return HasMember(obj, name, &Json::Value::isObject);
}

bool Response::CheckArrayMember(const Json::Value& obj, const std::string& name) {
  return HasMember(obj, name, &Json::Value::isArray);
}

}  // namespace ORVA::MESH::SDK
