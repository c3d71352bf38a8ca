#pragma once
// The answer of "ORVA.Entry.Request": {"success": true, "data": {"has_fail": bool, "result":
// [answer, ...]}}, where each answer also names its "api", "method" and "version". It is valid
// only when every per-call answer is well formed.
#include <json/value.h>

#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/utils/response.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT CompoundResponse : public Response {
 public:
  CompoundResponse() = default;
  CompoundResponse(const Json::Value& body, const std::string& api, const int& version,
                   std::string method);
  CompoundResponse(const Json::Value& body, const Request& req);
  CompoundResponse(const std::string& bodyText, const std::string& api, const int& version,
                   std::string method);
  CompoundResponse(const std::string& bodyText, const Request& req);
  explicit CompoundResponse(const Response& plain);

  bool CheckValid() const override;

  // Appends one answer per element of `resultArray`, stopping (false) at the first element
  // without "api", "method" and "version" or that is not a well-formed answer.
  bool ParseResponses(const Json::Value& resultArray);

  const std::vector<Response>& GetResponses() const { return responses_; }
  bool HasFail() const { return hasFail_; }

 private:
  void InitCompound();

  std::vector<Response> responses_;
  bool hasFail_ = false;
};

}  // namespace ORVA::MESH::SDK
