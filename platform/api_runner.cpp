#include "orvamesh/platform/api_runner.h"

#include <json/json.h>

#include <memory>
#include <mutex>

#include "orvamesh/base/log.h"
#include "platform/cred_request_mgr.h"
#include "platform/text.h"
#include "platform/webapi_settings.h"

namespace orva::platform {

namespace {

constexpr long kLocalTimeoutSeconds = 10;

bool LoopbackBackend(Json::Value& answer, const std::string& api, int version,
                     const std::string& method, const Json::Value& params,
                     const std::string& user) {
  const WebapiSettings settings = WebapiSettings::Load();
  CredRequestMgr manager;
  const int id = manager.AddCredRequest(settings.localHost, "https", settings.localPort, user, api,
                                        version, method, params, kLocalTimeoutSeconds, 0);
  if (id < 0) {
    ORVA_LOG_ERR("Cannot prepare local webapi call [%s][%s]: [%d]", api.c_str(), method.c_str(),
                 manager.GetError());
    return false;
  }
  if (!manager.Run()) {
    ORVA_LOG_ERR("Local webapi call [%s][%s] failed: [%d]", api.c_str(), method.c_str(),
                 manager.GetError());
    return false;
  }
  const std::string text = manager.GetResponse(id);
  Json::Value parsed;
  if (!ParseJsonText(text, parsed)) {
    // Not an answer document; the caller judges its shape.
    answer = Json::Value(text);
    return true;
  }
  answer = std::move(parsed);
  return true;
}

std::mutex gBackendMutex;
std::shared_ptr<const ApiRunner::Backend> gBackend;

}  // namespace

bool ApiRunner::Exec(Json::Value& answer, const std::string& api, int version,
                     const std::string& method, const Json::Value& params,
                     const std::string& user) {
  std::shared_ptr<const Backend> backend;
  {
    std::lock_guard<std::mutex> lock(gBackendMutex);
    backend = gBackend;
  }
  if (!backend) return LoopbackBackend(answer, api, version, method, params, user);
  return (*backend)(answer, api, version, method, params, user);
}

ApiRunner::Backend ApiRunner::SetBackend(Backend backend) {
  auto next = backend ? std::make_shared<const Backend>(std::move(backend)) : nullptr;
  std::lock_guard<std::mutex> lock(gBackendMutex);
  Backend previous = gBackend ? *gBackend : Backend();
  gBackend = std::move(next);
  return previous;
}

}  // namespace orva::platform
