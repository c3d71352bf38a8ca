#pragma once
// Runs a call of the local node's web API for the library (LED control and the other local
// calls of Utils::ExecWebAPI). The default backend sends it over loopback HTTPS to the node's
// own web server (address, port and trust from the web API settings, credentials of the
// session named after the user). A program that serves the web API itself registers an
// in-process backend instead.
#include <json/value.h>

#include <functional>
#include <string>

#include "orvamesh/export.h"

namespace orva::platform {

class ORVA_EXPORT ApiRunner {
 public:
  // Fills `answer` with the answer document; false when the call could not be made at all.
  using Backend = std::function<bool(Json::Value& answer, const std::string& api, int version,
                                     const std::string& method, const Json::Value& params,
                                     const std::string& user)>;

  static bool Exec(Json::Value& answer, const std::string& api, int version,
                   const std::string& method, const Json::Value& params, const std::string& user);
  // Installs a backend for the whole process and returns the previous one; an empty backend
  // restores the loopback HTTPS one. Calls already running finish on the backend they began on.
  static Backend SetBackend(Backend backend);
};

}  // namespace orva::platform
