#include "platform/cred_request_mgr.h"
#include "platform/net_if.h"

#include <curl/curl.h>
#include <cctype>
#include <arpa/inet.h>
#include <fcntl.h>
#include <json/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <mutex>

#include "orvamesh/platform/system_root.h"
#include "orvamesh/base/log.h"
#include "platform/webapi_settings.h"

namespace orva::platform {

namespace {

constexpr const char* kEntryPath = "/webapi";
constexpr long kDefaultTimeoutSeconds = 30;
// An answer larger than this is cut off and the call fails: no web API answer comes near it.
constexpr std::size_t kMaxAnswerBytes = 16 << 20;
constexpr long kLoginRefused = 401;
constexpr int kWatchMs = 200;

// The connection and TLS-session cache shared by every manager between Init and CleanUp.
// Managers keep it alive while they run, so CleanUp never pulls it from under a batch.
class ShareHandle {
 public:
  ShareHandle() : share_(curl_share_init()) {
    if (share_ == nullptr) return;
    curl_share_setopt(share_, CURLSHOPT_LOCKFUNC, &ShareHandle::Lock);
    curl_share_setopt(share_, CURLSHOPT_UNLOCKFUNC, &ShareHandle::Unlock);
    curl_share_setopt(share_, CURLSHOPT_USERDATA, this);
    curl_share_setopt(share_, CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
    curl_share_setopt(share_, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
    curl_share_setopt(share_, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
  }
  ~ShareHandle() {
    if (share_ != nullptr) curl_share_cleanup(share_);
  }
  ShareHandle(const ShareHandle&) = delete;
  ShareHandle& operator=(const ShareHandle&) = delete;

  CURLSH* Get() const { return share_; }

 private:
  static void Lock(CURL*, curl_lock_data data, curl_lock_access, void* self) {
    static_cast<ShareHandle*>(self)->locks_[Index(data)].lock();
  }
  static void Unlock(CURL*, curl_lock_data data, void* self) {
    static_cast<ShareHandle*>(self)->locks_[Index(data)].unlock();
  }
  static std::size_t Index(curl_lock_data data) {
    return std::min<std::size_t>(static_cast<std::size_t>(data), kLocks - 1);
  }

  static constexpr std::size_t kLocks = CURL_LOCK_DATA_LAST + 1;
  CURLSH* share_;
  std::mutex locks_[kLocks];
};

std::mutex gShareMutex;
std::shared_ptr<ShareHandle> gShare;
std::atomic<bool> gInsecureLogged{false};

std::shared_ptr<ShareHandle> CurrentShare() {
  std::lock_guard<std::mutex> lock(gShareMutex);
  return gShare;
}

// "[fe80::1%eth0]" with the zone's "%" escaped as URLs want it; other hosts as they are.
std::string UrlHost(const std::string& host) {
  if (host.find(':') == std::string::npos) return host;
  std::string escaped;
  for (char c : host) escaped += (c == '%') ? std::string("%25") : std::string(1, c);
  return "[" + escaped + "]";
}

size_t CollectAnswer(char* data, size_t size, size_t count, void* userdata);

// An IPv4 or IPv6 literal (the IPv6 one with an optional "%zone") or a DNS host name. Anything
// else could carry a port, a path or a fragment into the URL and send the session's
// credentials elsewhere.
bool IsUrlHost(const std::string& host) {
  unsigned char bytes[16];
  const size_t percent = host.find('%');
  if (host.find(':') != std::string::npos) {
    const std::string zone = percent == std::string::npos ? "" : host.substr(percent + 1);
    return ::inet_pton(AF_INET6, host.substr(0, percent).c_str(), bytes) == 1 &&
           (percent == std::string::npos || IsInterfaceName(zone));
  }
  if (::inet_pton(AF_INET, host.c_str(), bytes) == 1) return true;
  if (host.empty() || host.size() > 253) return false;
  size_t label = 0;
  for (size_t i = 0; i <= host.size(); ++i) {
    const char c = i < host.size() ? host[i] : '.';
    if (c == '.') {
      if (label == 0 || label > 63 || host[i - 1] == '-' || host[i - label] == '-') return false;
      label = 0;
    } else if (std::isalnum(static_cast<unsigned char>(c)) || c == '-') {
      ++label;
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace

struct CredRequestMgr::Shared {
  std::shared_ptr<ShareHandle> share;
  WebapiSettings settings;
};

struct CredRequest::State {
  CredRequestMgr::Shared* shared = nullptr;
  int* managerError = nullptr;
  CURL* easy = nullptr;
  curl_slist* headers = nullptr;
  curl_mime* mime = nullptr;
  std::string body;
  size_t bodyRead = 0;  // bytes of the body handed to libcurl so far
  std::string answer;
  bool overflow = false;
  // Stall watch: the call ends when no byte moved either way for `stallLimit`.
  std::chrono::steady_clock::duration stallLimit{};
  std::chrono::steady_clock::time_point lastActivity{};
  curl_off_t lastDown = 0;
  curl_off_t lastUp = 0;
  bool stalled = false;
  CURLcode result = CURLE_OK;
  long status = 0;
  bool done = false;

  ~State() {
    if (easy != nullptr) curl_easy_cleanup(easy);
    if (mime != nullptr) curl_mime_free(mime);
    if (headers != nullptr) curl_slist_free_all(headers);
  }
};

namespace {

size_t CollectAnswer(char* data, size_t size, size_t count, void* userdata) {
  auto* state = static_cast<CredRequest::State*>(userdata);
  const size_t bytes = size * count;
  if (state->answer.size() + bytes > kMaxAnswerBytes) {
    state->overflow = true;
    return 0;
  }
  state->answer.append(data, bytes);
  return bytes;
}

size_t ReadBody(char* buffer, size_t size, size_t count, void* userdata) {
  auto* state = static_cast<CredRequest::State*>(userdata);
  const size_t bytes = std::min(size * count, state->body.size() - state->bodyRead);
  std::memcpy(buffer, state->body.data() + state->bodyRead, bytes);
  state->bodyRead += bytes;
  return bytes;
}

// libcurl resends a request whose reused connection died, up to five times, by rewinding its
// body. Once the call has gone out it may have been carried out (a node that reboots on the call
// hangs up without answering), so the rewind is refused and the attempt fails: one attempt
// delivers a call at most once.
int RewindBody(void* userdata, curl_off_t offset, int origin) {
  auto* state = static_cast<CredRequest::State*>(userdata);
  if (origin != SEEK_SET || offset != 0 || state->bodyRead != 0) return CURL_SEEKFUNC_FAIL;
  return CURL_SEEKFUNC_OK;
}

int WatchStall(void* userdata, curl_off_t, curl_off_t dlnow, curl_off_t, curl_off_t ulnow) {
  auto* state = static_cast<CredRequest::State*>(userdata);
  const auto now = std::chrono::steady_clock::now();
  if (dlnow != state->lastDown || ulnow != state->lastUp) {
    state->lastDown = dlnow;
    state->lastUp = ulnow;
    state->lastActivity = now;
    return 0;
  }
  if (now - state->lastActivity < state->stallLimit) return 0;
  state->stalled = true;
  return 1;
}

}  // namespace

CredRequest::CredRequest(std::unique_ptr<State> state) : state_(std::move(state)) {}

CredRequest::~CredRequest() = default;

bool CredRequest::SetUploadFile(const char* fieldName, const char* filePath) {
  if (fieldName == nullptr || *fieldName == '\0' || filePath == nullptr || *filePath == '\0') {
    *state_->managerError = CredRequestMgr::kBadUpload;
    return false;
  }
  const int fd = open(filePath, O_RDONLY | O_CLOEXEC);
  struct stat info {};
  const bool readable = fd >= 0 && fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
  if (fd >= 0) close(fd);
  if (!readable) {
    *state_->managerError = CredRequestMgr::kBadUpload;
    return false;
  }
  if (state_->mime == nullptr) {
    state_->mime = curl_mime_init(state_->easy);
    curl_mimepart* call = state_->mime == nullptr ? nullptr : curl_mime_addpart(state_->mime);
    if (call == nullptr || curl_mime_name(call, "request") != CURLE_OK ||
        curl_mime_data_cb(call, static_cast<curl_off_t>(state_->body.size()), &ReadBody, &RewindBody, nullptr,
                          state_.get()) != CURLE_OK ||
        curl_mime_type(call, "application/json") != CURLE_OK) {
      *state_->managerError = CredRequestMgr::kNoResources;
      return false;
    }
  }
  curl_mimepart* part = curl_mime_addpart(state_->mime);
  if (part == nullptr || curl_mime_name(part, fieldName) != CURLE_OK ||
      curl_mime_filedata(part, filePath) != CURLE_OK) {
    *state_->managerError = CredRequestMgr::kNoResources;
    return false;
  }
  return true;
}

bool CredRequestUtil::Init(long mode) {
  if (curl_global_init(mode) != CURLE_OK) return false;
  auto share = std::make_shared<ShareHandle>();
  std::lock_guard<std::mutex> lock(gShareMutex);
  if (share->Get() != nullptr) gShare = std::move(share);
  return true;
}

void CredRequestUtil::CleanUp() {
  {
    std::lock_guard<std::mutex> lock(gShareMutex);
    gShare.reset();
  }
  curl_global_cleanup();
}

CredRequestMgr::CredRequestMgr() : shared_(std::make_shared<Shared>()) {
  shared_->share = CurrentShare();
  shared_->settings = WebapiSettings::Load();
  if (!shared_->settings.verifyPeer && !gInsecureLogged.exchange(true)) {
    ORVA_LOG_ERR("TLS verification of web API peers is off, see [%s]",
                 SystemRoot::Path(WebapiSettings::kSettingsPath).c_str());
  }
}

CredRequestMgr::~CredRequestMgr() {
  // Calls leave the shared cache before it may go away with the last manager.
  requests_.clear();
}

namespace {

bool ValidCallArguments(const std::string& host, const std::string& scheme, int port, const Json::Value& params,
                        int flag) {
  return (scheme == "https" || scheme == "http") && IsUrlHost(host) && port >= 1 && port <= 65535 &&
         (params.isObject() || params.isNull()) && flag == 0;
}

// The call as the web API takes it: one compact JSON object.
std::string CallBody(const std::string& api, int version, const std::string& method, const Json::Value& params) {
  Json::Value call(Json::objectValue);
  call["api"] = api;
  call["version"] = version;
  call["method"] = method;
  call["params"] = params;
  Json::StreamWriterBuilder compact;
  compact["indentation"] = "";
  return Json::writeString(compact, call);
}

// The POST of the body, at most once per attempt (the body refuses a rewind once sent), with
// basic authentication and a stall watch instead of curl's low-speed averaging.
bool SetUpTransfer(CURL* easy, CredRequest::State* state, const std::string& url,
                   const WebapiCredentials& credentials, long timeout) {
  bool ok = curl_easy_setopt(easy, CURLOPT_URL, url.c_str()) == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L) == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "https,http") == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_HTTPHEADER, state->headers) == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_POST, 1L) == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(state->body.size())) ==
                 CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_READFUNCTION, &ReadBody) == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_READDATA, state) == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_SEEKFUNCTION, &RewindBody) == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_SEEKDATA, state) == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_HTTPAUTH, CURLAUTH_BASIC) == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_USERNAME, credentials.user.c_str()) == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_PASSWORD, credentials.password.c_str()) == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, timeout) == CURLE_OK;
  // A stalled answer (nothing moved for the whole time-out) ends the call; a slow but moving
  // upload does not. curl's own low-speed check averages over seconds and reacts too late.
  state->stallLimit = std::chrono::seconds(timeout);
  ok = ok && curl_easy_setopt(easy, CURLOPT_NOPROGRESS, 0L) == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_XFERINFOFUNCTION, &WatchStall) == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_XFERINFODATA, state) == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_TCP_KEEPALIVE, 1L) == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &CollectAnswer) == CURLE_OK;
  return ok && curl_easy_setopt(easy, CURLOPT_WRITEDATA, state) == CURLE_OK;
}

// Only the configured trust counts, never the build machine's CA store.
bool SetUpTls(CURL* easy, const WebapiSettings& settings) {
  bool ok = curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, settings.verifyPeer ? 1L : 0L) == CURLE_OK;
  ok = ok && curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, settings.verifyPeer && settings.verifyHost ? 2L : 0L) ==
                 CURLE_OK;
  const std::string caFile = settings.caFile.empty() ? "" : SystemRoot::Path(settings.caFile);
  const std::string caDir = settings.caDir.empty() ? "" : SystemRoot::Path(settings.caDir);
  ok = ok && curl_easy_setopt(easy, CURLOPT_CAINFO, caFile.empty() ? nullptr : caFile.c_str()) == CURLE_OK;
  return ok && curl_easy_setopt(easy, CURLOPT_CAPATH, caDir.empty() ? nullptr : caDir.c_str()) == CURLE_OK;
}

}  // namespace

const WebapiCredentials* CredRequestMgr::Credentials(const std::string& session) {
  auto known = credentials_.find(session);
  if (known == credentials_.end()) {
    WebapiCredentials loaded;
    if (!LoadWebapiCredentials(session, loaded)) return nullptr;
    known = credentials_.emplace(session, std::move(loaded)).first;
  }
  return &known->second;
}

int CredRequestMgr::AddCredRequest(const std::string& host, const std::string& scheme, int port,
                                   const std::string& session, const std::string& api,
                                   int version, const std::string& method,
                                   const Json::Value& params, long connectionTimeout, int flag) {
  if (!ValidCallArguments(host, scheme, port, params, flag)) {
    error_ = kBadArgument;
    return -1;
  }
  const WebapiCredentials* credentials = Credentials(session);
  if (credentials == nullptr) {
    error_ = kUnknownSession;
    return -1;
  }
  auto state = std::make_unique<CredRequest::State>();
  state->shared = shared_.get();
  state->managerError = &error_;
  state->easy = curl_easy_init();
  if (state->easy != nullptr) {
    state->headers = curl_slist_append(nullptr, "Content-Type: application/json");
    if (state->headers != nullptr) state->headers = curl_slist_append(state->headers, "Expect:");
  }
  if (state->easy == nullptr || state->headers == nullptr) {
    error_ = kNoResources;
    return -1;
  }
  state->body = CallBody(api, version, method, params);
  const long timeout = connectionTimeout > 0 ? connectionTimeout : kDefaultTimeoutSeconds;
  const std::string url = scheme + "://" + UrlHost(host) + ":" + std::to_string(port) + kEntryPath;
  bool ok = SetUpTransfer(state->easy, state.get(), url, *credentials, timeout) &&
            SetUpTls(state->easy, shared_->settings);
  if (ok && shared_->share) ok = curl_easy_setopt(state->easy, CURLOPT_SHARE, shared_->share->Get()) == CURLE_OK;
  if (!ok) {
    error_ = kNoResources;
    return -1;
  }
  requests_.push_back(std::unique_ptr<CredRequest>(new CredRequest(std::move(state))));
  return static_cast<int>(requests_.size()) - 1;
}

CredRequest* CredRequestMgr::GetRequest(int id) {
  if (id < 0 || static_cast<std::size_t>(id) >= requests_.size()) return nullptr;
  return requests_[id].get();
}

bool CredRequestMgr::Run() {
  if (ran_) {
    error_ = kAlreadyRun;
    return false;
  }
  ran_ = true;
  CURLM* multi = curl_multi_init();
  if (multi == nullptr) {
    error_ = kNoResources;
    return false;
  }
  bool ok = true;
  int added = 0;
  for (auto& request : requests_) {
    CredRequest::State& state = *request->state_;
    if (state.mime != nullptr) {
      // The multipart body brings its own Content-Type with the boundary.
      curl_slist_free_all(state.headers);
      state.headers = curl_slist_append(nullptr, "Expect:");
      curl_easy_setopt(state.easy, CURLOPT_HTTPHEADER, state.headers);
      curl_easy_setopt(state.easy, CURLOPT_MIMEPOST, state.mime);
    }
    state.lastActivity = std::chrono::steady_clock::now();
    curl_easy_setopt(state.easy, CURLOPT_PRIVATE, &state);
    const CURLMcode code = curl_multi_add_handle(multi, state.easy);
    if (code != CURLM_OK) {
      if (error_ == kNone) error_ = kMultiError + code;
      ok = false;
      continue;
    }
    ++added;
  }
  int running = added;
  while (running > 0) {
    CURLMcode code = curl_multi_perform(multi, &running);
    // Woken at least every kWatchMs so stalled calls are noticed on time.
    if (code == CURLM_OK && running > 0) code = curl_multi_poll(multi, nullptr, 0, kWatchMs, nullptr);
    if (code != CURLM_OK) {
      if (error_ == kNone) error_ = kMultiError + code;
      ok = false;
      break;
    }
  }
  int queued = 0;
  while (CURLMsg* message = curl_multi_info_read(multi, &queued)) {
    if (message->msg != CURLMSG_DONE) continue;
    CredRequest::State* state = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &state);
    if (state == nullptr) continue;
    state->done = true;
    state->result = message->data.result;
    if (state->result == CURLE_ABORTED_BY_CALLBACK && state->stalled) {
      state->result = CURLE_OPERATION_TIMEDOUT;
    }
    curl_easy_getinfo(message->easy_handle, CURLINFO_RESPONSE_CODE, &state->status);
  }
  for (auto& request : requests_) {
    CredRequest::State& state = *request->state_;
    curl_multi_remove_handle(multi, state.easy);
    if (!state.done || state.result != CURLE_OK) {
      state.answer.clear();
      if (error_ == kNone) error_ = state.done ? static_cast<int>(state.result) : kMultiError;
      ok = false;
    } else if (state.status == kLoginRefused) {
      state.answer = R"({"success":false,"error":{"code":401,"message":"login refused"}})";
    }
  }
  curl_multi_cleanup(multi);
  return ok;
}

std::string CredRequestMgr::GetResponse(int id) const {
  if (id < 0 || static_cast<std::size_t>(id) >= requests_.size()) return "";
  return requests_[id]->state_->answer;
}

}  // namespace orva::platform
