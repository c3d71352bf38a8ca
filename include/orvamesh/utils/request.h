#pragma once
// One call of the router's web API: API name, version, method, parameters and the files to
// upload with it. A plain value; the transport turns it into an HTTP request.
#include <json/value.h>

#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/utils/upload_desc.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT Request {
 public:
  Request(const std::string& api, int version, const std::string& method, const Json::Value& params,
          const std::vector<UploadDesc>& uploads);

  std::string GetAPI() const { return api_; }
  std::string GetMethod() const { return method_; }
  int GetVersion() const { return version_; }
  Json::Value GetParam() const { return params_; }
  std::vector<UploadDesc> GetUploadFiles() const { return uploads_; }

  // The call as it travels inside a batch: the params with "api", "version" and "method" set
  // (over any members of those names the params carried).
  Json::Value ToJSON() const;
  // "[api][version][method]", for log lines.
  std::string ToString() const;
  // ToString() + "[styled params][uploadFiles:0|1]".
  std::string ToDebugString() const;

 private:
  std::string api_;
  std::string method_;
  int version_;
  Json::Value params_;
  std::vector<UploadDesc> uploads_;
};

}  // namespace ORVA::MESH::SDK
