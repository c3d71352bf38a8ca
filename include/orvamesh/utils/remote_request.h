#pragma once
// A web API call addressed to a node: the call plus the node's host (usually an IPv6
// link-local address without zone index; the send functions add it), the port of its web
// server, the session whose credentials log in, and the connection time-out in seconds.
#include <json/value.h>

#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/utils/request.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT RemoteRequest : public Request {
 public:
  RemoteRequest(const std::string& host, const int& port, const std::string& session,
                const std::string& api, int version, const std::string& method,
                const Json::Value& params, long connectionTimeout,
                const std::vector<UploadDesc>& uploads);
  RemoteRequest(const std::string& host, const int& port, const std::string& session,
                Request request, long connectionTimeout);

  std::string GetHost() const { return host_; }
  int GetPort() const { return port_; }
  std::string GetSession() const { return session_; }
  long GetConnectionTimeout() const { return connectionTimeout_; }

  // "[host]" + Request::ToString().
  std::string ToString() const;
  // "[host][port][session]" + Request::ToDebugString().
  std::string ToDebugString() const;

 private:
  std::string host_;
  int port_;
  std::string session_;
  long connectionTimeout_;
};

}  // namespace ORVA::MESH::SDK
