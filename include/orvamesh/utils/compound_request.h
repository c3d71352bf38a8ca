#pragma once
// Several web API calls packed into one call of "ORVA.Entry.Request". Calls that upload
// files cannot travel in a batch and are left out (with a log line).
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/utils/request.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT CompoundRequest : public Request {
 public:
  CompoundRequest(const std::vector<Request>& requests, bool stopWhenError);

  // Every request given, including those left out of the batch for their uploads.
  const std::vector<Request>& GetRequests() const { return requests_; }
  bool GetStopWhenError() const { return stopWhenError_; }

 private:
  std::vector<Request> requests_;
  bool stopWhenError_;
};

}  // namespace ORVA::MESH::SDK
