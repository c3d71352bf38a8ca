#include "orvamesh/utils/compound_request.h"

#include "orvamesh/utils/compound_response.h"
#include "orvamesh/base/log.h"

namespace ORVA::MESH::SDK {

namespace {

Json::Value CompoundParams(const std::vector<Request>& requests, bool stopWhenError) {
  Json::Value params(Json::objectValue);
  Json::Value compound(Json::arrayValue);
  for (const auto& request : requests) {
    if (!request.GetUploadFiles().empty()) {
      ORVA_LOG_ERR("CompoundRequest cannot handle request with upload, ignoring [%s]",
                   request.ToString().c_str());
      continue;
    }
    compound.append(request.ToJSON());
  }
  params["compound"] = compound;
  params["stop_when_error"] = stopWhenError;
  return params;
}

}  // namespace

CompoundRequest::CompoundRequest(const std::vector<Request>& requests, bool stopWhenError)
    : Request("ORVA.Entry.Request", 1, "request", CompoundParams(requests, stopWhenError), {}),
      requests_(requests),
      stopWhenError_(stopWhenError) {}

CompoundResponse::CompoundResponse(const Json::Value& body, const std::string& api,
                                   const int& version, std::string method)
    : Response(body, api, version, std::move(method)) {
  InitCompound();
}

CompoundResponse::CompoundResponse(const Json::Value& body, const Request& req)
    : Response(body, req) {
  InitCompound();
}

CompoundResponse::CompoundResponse(const std::string& bodyText, const std::string& api,
                                   const int& version, std::string method)
    : Response(bodyText, api, version, std::move(method)) {
  InitCompound();
}

CompoundResponse::CompoundResponse(const std::string& bodyText, const Request& req)
    : Response(bodyText, req) {
  InitCompound();
}

CompoundResponse::CompoundResponse(const Response& plain) : Response(plain) { InitCompound(); }

void CompoundResponse::InitCompound() {
  // A failed batch answer keeps the plain verdict: its error shape was already checked.
  if (!IsValid() || !IsSuccess()) return;
  if (!CheckValid()) {
    SetValid(false);
    return;
  }
  Json::Value result;
  if (!GetArrayField("result", result) || !GetBoolField("has_fail", hasFail_)) {
    SetValid(false);
    return;
  }
  SetValid(ParseResponses(result));
}

bool CompoundResponse::CheckValid() const {
  if (!Response::CheckSuccess()) return true;
  if (!CheckHaveData()) return false;
  const Json::Value& data = GetBody()["data"];
  return CheckArrayMember(data, "result") && CheckBoolMember(data, "has_fail");
}

bool CompoundResponse::ParseResponses(const Json::Value& resultArray) {
  if (!resultArray.isArray()) return false;
  for (const auto& element : resultArray) {
    if (!CheckStringMember(element, "api") || !CheckStringMember(element, "method") ||
        !CheckIntMember(element, "version")) {
      return false;
    }
    Response answer(element, element["api"].asString(), element["version"].asInt(),
                    element["method"].asString());
    if (!answer.IsValid()) return false;
    responses_.push_back(std::move(answer));
  }
  return true;
}

}  // namespace ORVA::MESH::SDK
