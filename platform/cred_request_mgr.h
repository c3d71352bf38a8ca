#pragma once
// Our credentialed web API request manager on libcurl. A manager holds a batch of calls; Run()
// sends them all at once (one curl multi handle, HTTP/1.1 keep-alive, connections and TLS
// sessions shared process-wide after CredRequestUtil::Init) and waits for every answer.
//
// One call is "POST <scheme>://<host>:<port>/webapi" with the JSON body {"api", "version",
// "method", "params"} and HTTP Basic credentials of its session from the credential store.
// A call with files is a multipart/form-data POST: the part "request" holds that JSON body,
// then one part per file under its field name. The answer text is the HTTP body whatever the
// status, except that a refused login (401) reads as the failed answer
// {"success": false, "error": {"code": 401, "message": "login refused"}}. A call that got no
// HTTP answer (connection, TLS, time-out) has an empty answer text.
#include <json/value.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/webapi_settings.h"

namespace orva::platform {

// Process-wide set-up of the HTTP client. `mode` is handed to curl_global_init (3 selects
// everything, TLS included; 2 a minimal set-up). Init also creates the shared connection and
// TLS-session cache; without Init every manager works with caches of its own.
class CredRequestUtil {
 public:
  static bool Init(long mode);
  static void CleanUp();
};

class CredRequestMgr;

// One call of a batch.
class CredRequest {
 public:
  ~CredRequest();
  CredRequest(const CredRequest&) = delete;
  CredRequest& operator=(const CredRequest&) = delete;

  // Attaches a file to send as form part `fieldName`. False when the name is empty or the file
  // is not a readable regular file; the manager's error code says which.
  bool SetUploadFile(const char* fieldName, const char* filePath);

  struct State;

 private:
  friend class CredRequestMgr;
  explicit CredRequest(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

class CredRequestMgr {
 public:
  // GetError() codes of the manager's own; smaller positive values are libcurl's CURLcode of
  // the first call that failed, kMultiError + n a CURLMcode n.
  enum Error : int {
    kNone = 0,
    kMultiError = 200,
    kBadArgument = 1001,
    kUnknownSession = 1002,
    kNoResources = 1003,
    kBadUpload = 1004,
    kAlreadyRun = 1005,
  };

  CredRequestMgr();
  ~CredRequestMgr();
  CredRequestMgr(const CredRequestMgr&) = delete;
  CredRequestMgr& operator=(const CredRequestMgr&) = delete;

  // Adds a call; its id, or -1 (with GetError set) for a bad scheme ("https" or "http"), an
  // empty host, a port outside 1..65535, params that are neither an object nor null, a
  // non-zero flag (no flags are defined yet) or a session without credentials. The connection
  // time-out, in seconds, bounds the connection set-up and any stall of the answer; zero or
  // less means 30 seconds.
  int AddCredRequest(const std::string& host, const std::string& scheme, int port,
                     const std::string& session, const std::string& api, int version,
                     const std::string& method, const Json::Value& params,
                     long connectionTimeout, int flag);
  // The call with that id, or nullptr. Owned by the manager.
  CredRequest* GetRequest(int id);
  // Sends every call concurrently and returns once each has its answer or has failed. False
  // when a call got no HTTP answer or the batch could not run; answers are readable anyway.
  bool Run();
  // The answer text of call `id`; empty when it got none.
  std::string GetResponse(int id) const;
  int GetError() const { return error_; }

  struct Shared;

 private:
  std::shared_ptr<Shared> shared_;
  std::vector<std::unique_ptr<CredRequest>> requests_;
  // The session's user and password, read from the store on first use; null when unknown.
  const WebapiCredentials* Credentials(const std::string& session);

  // A batch usually names one session many times: the store is read once per session.
  std::map<std::string, WebapiCredentials> credentials_;
  int error_ = kNone;
  bool ran_ = false;
};

}  // namespace orva::platform
