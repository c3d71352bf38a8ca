#include "orvamesh/utils/request.h"

#include <json/json.h>

namespace ORVA::MESH::SDK {

Request::Request(const std::string& api, int version, const std::string& method,
                 const Json::Value& params, const std::vector<UploadDesc>& uploads)
    : api_(api), method_(method), version_(version), params_(params), uploads_(uploads) {}

Json::Value Request::ToJSON() const {
  Json::Value json = params_;
  json["api"] = api_;
  json["version"] = version_;
  json["method"] = method_;
  return json;
}

std::string Request::ToString() const {
  return "[" + api_ + "][" + std::to_string(version_) + "][" + method_ + "]";
}

std::string Request::ToDebugString() const {
  Json::StreamWriterBuilder styled;
  styled["indentation"] = "   ";
  return ToString() + "[" + Json::writeString(styled, params_) + "][uploadFiles:" +
         (uploads_.empty() ? "0" : "1") + "]";
}

}  // namespace ORVA::MESH::SDK
