#include "orvamesh/utils/remote_webapi.h"

#include <atomic>
#include <memory>
#include <tuple>
#include <utility>

#include "orvamesh/base/log.h"
#include "orvamesh/utils/mutex.h"
#include "orvamesh/utils/utils.h"
#include "platform/cred_request_mgr.h"

namespace ORVA::MESH::SDK::Webapi {

namespace {

constexpr long kInitAll = 3;
constexpr long kInitMinimal = 2;
constexpr size_t kWorkerStackBytes = 1048576;
constexpr unsigned int kRefusedRetries = 4294967295u;

Mutex gModuleMutex;
// Read without the lock by the senders, which only warn when it is unset.
std::atomic<bool> gInitialised{false};

struct Job {
  std::vector<RemoteRequest> requests;
  unsigned int retries;
  std::vector<Callback> callbacks;
  std::string ifname;
};

}  // namespace

int OrvaCredInit(bool flag) {
  int result = 0;
  const bool locked = Mutex::CallWithLock(gModuleMutex, [&] {
    if (gInitialised.load()) return;
    if (!orva::platform::CredRequestUtil::Init(flag ? kInitAll : kInitMinimal)) {
      result = -1;
      return;
    }
    gInitialised.store(true);
  });
  return locked ? result : -1;
}

int OrvaCredCleanUp() {
  const bool locked = Mutex::CallWithLock(gModuleMutex, [] {
    if (!gInitialised.load()) return;
    orva::platform::CredRequestUtil::CleanUp();
    gInitialised.store(false);
  });
  return locked ? 0 : -1;
}

int SendWebAPIs(const std::vector<RemoteRequest>& requests, std::vector<Response>& responses,
                const std::string& ifname) {
  responses.assign(requests.size(), Response());
  if (!gInitialised.load()) {
    ORVA_LOG_ERR("Warning: curl not initialized, refer to OrvaCredInit() function");
  }
  if (requests.empty()) {
    ORVA_LOG_ERR("Empty webapi request");
    return -1;
  }
  orva::platform::CredRequestMgr manager;
  // (manager id, index in the batch, the request) of every call handed to the manager.
  std::vector<std::tuple<int, size_t, const RemoteRequest*>> sent;
  for (size_t i = 0; i < requests.size(); ++i) {
    const RemoteRequest& request = requests[i];
    std::string host;
    if (Utils::AddIPv6LinkLocalZoneIndex(request.GetHost(), host, ifname) != 0) {
      ORVA_LOG_ERR("Fail to check/add ipv6 link-local postfix");
      return -1;
    }
    const int id = manager.AddCredRequest(host, "https", request.GetPort(), request.GetSession(),
                                          request.GetAPI(), request.GetVersion(),
                                          request.GetMethod(), request.GetParam(),
                                          request.GetConnectionTimeout(), 0);
    if (id == -1) {
      ORVA_LOG_ERR("Fail to add [%s] to webapiMgr: [%d]", request.ToString().c_str(),
                   manager.GetError());
      continue;
    }
    for (const UploadDesc& upload : request.GetUploadFiles()) {
      orva::platform::CredRequest* call = manager.GetRequest(id);
      if (call == nullptr ||
          !call->SetUploadFile(upload.GetFieldName().c_str(), upload.GetFilePath().c_str())) {
        ORVA_LOG_ERR("Fail to set upload file [%s][%s] for [%s]", upload.GetFieldName().c_str(),
                     upload.GetFilePath().c_str(), request.ToString().c_str());
        return -1;
      }
    }
    sent.emplace_back(id, i, &request);
  }
  if (sent.empty()) return -1;

  int result = 0;
  if (!manager.Run()) {
    ORVA_LOG_ERR("Fail to send webapi, webapiMgr error code: [%d]", manager.GetError());
    result = -1;
  }
  for (const auto& [id, index, request] : sent) {
    const std::string text = manager.GetResponse(id);
    Response& answer = responses[index];
    answer = Response(text, *request);
    if (answer.IsValid() && answer.IsSuccess()) continue;
    if (answer.IsValid()) {
      ORVA_LOG_ERR("%s webapi request failed: [%d]", request->ToString().c_str(),
                   answer.GetErrorCode());
    } else {
      ORVA_LOG_ERR("Ill-formed webapi response from %s : %s", request->ToString().c_str(),
                   text.c_str());
    }
    ORVA_LOG_DEBUG("Detailed Request: %s", request->ToDebugString().c_str());
    result = -1;
  }
  return result;
}

int SendWebAPI(const RemoteRequest& request, Response& response, const std::string& ifname) {
  std::vector<Response> responses;
  const int result = SendWebAPIs({request}, responses, ifname);
  if (!responses.empty()) response = responses.front();
  return result;
}

int SendWebAPIRetry(const RemoteRequest& request, Response& response, unsigned int retries,
                    const std::string& ifname) {
  if (retries == kRefusedRetries) return -1;
  for (unsigned int attempt = 0; attempt <= retries; ++attempt) {
    if (SendWebAPI(request, response, ifname) == 0) return 0;
  }
  return -1;
}

int SendWebAPIsRetry(const std::vector<RemoteRequest>& requests, std::vector<Response>& responses,
                     unsigned int retries, const std::string& ifname) {
  responses.assign(requests.size(), Response());
  std::vector<size_t> pending(requests.size());
  for (size_t i = 0; i < pending.size(); ++i) pending[i] = i;
  // Wraps to 0 for the largest count on purpose: no pass runs and the call "succeeds".
  const unsigned int passes = retries + 1;
  int result = 0;
  for (unsigned int pass = 0; pass < passes && !pending.empty(); ++pass) {
    std::vector<RemoteRequest> batch;
    batch.reserve(pending.size());
    for (size_t index : pending) batch.push_back(requests[index]);
    std::vector<Response> answers;
    SendWebAPIs(batch, answers, ifname);
    std::vector<size_t> next;
    for (size_t k = 0; k < pending.size(); ++k) {
      // A failed call keeps the answer of its latest pass, so callers can see why it failed.
      if (k < answers.size()) responses[pending[k]] = answers[k];
      if (k >= answers.size() || !answers[k].IsSuccess()) next.push_back(pending[k]);
    }
    pending = std::move(next);
    result = pending.empty() ? 0 : -1;
  }
  return result;
}

int SendWebAPIsRetryNonBlocking(const std::vector<RemoteRequest>& requests, unsigned int retries,
                                const std::vector<Callback>& callbacks,
                                const std::string& ifname) {
  auto job = std::make_unique<Job>(Job{requests, retries, callbacks, ifname});
  pthread_t tid;
  if (Utils::CreatePThread(&tid, SendWebAPIHandler, job.get(), true, kWorkerStackBytes) != 0) {
    ORVA_LOG_ERR("Fail to create / detach thread");
    return -1;
  }
  job.release();  // The worker owns it now.
  return 0;
}

int SendWebAPIRetryNonBlocking(const RemoteRequest& request, unsigned int retries,
                               const Callback& cb, const std::string& ifname) {
  return SendWebAPIsRetryNonBlocking({request}, retries, {cb}, ifname);
}

int SendWebAPIsNonBlocking(const std::vector<RemoteRequest>& requests,
                           const std::vector<Callback>& callbacks, const std::string& ifname) {
  return SendWebAPIsRetryNonBlocking(requests, 0, callbacks, ifname);
}

int SendWebAPINonBlocking(const RemoteRequest& request, const Callback& cb,
                          const std::string& ifname) {
  return SendWebAPIRetryNonBlocking(request, 0, cb, ifname);
}

void* SendWebAPIHandler(void* jobPointer) {
  std::unique_ptr<Job> job(static_cast<Job*>(jobPointer));
  try {
    std::vector<Response> responses;
    SendWebAPIsRetry(job->requests, responses, job->retries, job->ifname);
    for (size_t i = 0; i < job->requests.size(); ++i) {
      const Response& answer = responses[i];
      if (i < job->callbacks.size() && job->callbacks[i]) job->callbacks[i](answer);
      if (answer.IsValid() && answer.IsSuccess()) continue;
      if (answer.IsValid()) {
        ORVA_LOG_ERR("%s failed: [%d]", job->requests[i].ToString().c_str(),
                     answer.GetErrorCode());
      } else {
        ORVA_LOG_ERR("%s failed, invalid response / timeout / network error",
                     job->requests[i].ToString().c_str());
      }
    }
  } catch (const std::exception& error) {
    // A throwing callback must not take the process down with it.
    ORVA_LOG_ERR("Unhandled exception in webapi worker: %s", error.what());
  } catch (...) {
    ORVA_LOG_ERR("Unhandled exception in webapi worker");
  }
  return nullptr;
}

}  // namespace ORVA::MESH::SDK::Webapi
