#include "orvamesh/utils/remote_request.h"

#include <utility>

namespace ORVA::MESH::SDK {

RemoteRequest::RemoteRequest(const std::string& host, const int& port, const std::string& session,
                             const std::string& api, int version, const std::string& method,
                             const Json::Value& params, long connectionTimeout,
                             const std::vector<UploadDesc>& uploads)
    : Request(api, version, method, params, uploads),
      host_(host),
      port_(port),
      session_(session),
      connectionTimeout_(connectionTimeout) {}

RemoteRequest::RemoteRequest(const std::string& host, const int& port, const std::string& session,
                             Request request, long connectionTimeout)
    : Request(std::move(request)),
      host_(host),
      port_(port),
      session_(session),
      connectionTimeout_(connectionTimeout) {}

std::string RemoteRequest::ToString() const { return "[" + host_ + "]" + Request::ToString(); }

std::string RemoteRequest::ToDebugString() const {
  return "[" + host_ + "][" + std::to_string(port_) + "][" + session_ + "]" +
         Request::ToDebugString();
}

}  // namespace ORVA::MESH::SDK
