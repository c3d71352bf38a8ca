#pragma once
// Sending web API calls to mesh nodes over HTTPS. Every function returns 0 on success and -1
// on failure (with log lines), never throws, and leaves one answer per request, by index, in
// `responses`. `ifname` is the local interface through which link-local hosts are reached and
// must not be empty. Call OrvaCredInit once before the first send and OrvaCredCleanUp at exit.
#include <functional>
#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/utils/remote_request.h"
#include "orvamesh/utils/response.h"

namespace ORVA::MESH::SDK::Webapi {

using Callback = std::function<void(const Response&)>;

// `flag` true sets up everything the HTTP client can use (TLS included), false a minimal
// set-up. Idempotent.
ORVA_EXPORT int OrvaCredInit(bool flag);
ORVA_EXPORT int OrvaCredCleanUp();

// Sends the whole batch concurrently and waits for every answer.
ORVA_EXPORT int SendWebAPIs(const std::vector<RemoteRequest>& requests,
                            std::vector<Response>& responses, const std::string& ifname);
ORVA_EXPORT int SendWebAPI(const RemoteRequest& request, Response& response,
                           const std::string& ifname);

// Re-sends, up to `retries` times and without pause, only the calls that did not succeed.
// retries == 4294967295 sends nothing and returns 0, unlike SendWebAPIRetry, which refuses it
// with -1: callers rely on both behaviours.
ORVA_EXPORT int SendWebAPIsRetry(const std::vector<RemoteRequest>& requests,
                                 std::vector<Response>& responses, unsigned int retries,
                                 const std::string& ifname);
ORVA_EXPORT int SendWebAPIRetry(const RemoteRequest& request, Response& response,
                                unsigned int retries, const std::string& ifname);

// Copy the arguments into a job for a detached thread (1 MiB stack) and return at once: 0 when
// the thread started. The thread runs SendWebAPIsRetry, then calls callbacks[i] (when it
// exists and is set) with answer i, on that thread.
ORVA_EXPORT int SendWebAPIsRetryNonBlocking(const std::vector<RemoteRequest>& requests,
                                            unsigned int retries,
                                            const std::vector<Callback>& callbacks,
                                            const std::string& ifname);
ORVA_EXPORT int SendWebAPIRetryNonBlocking(const RemoteRequest& request, unsigned int retries,
                                           const Callback& cb, const std::string& ifname);
ORVA_EXPORT int SendWebAPIsNonBlocking(const std::vector<RemoteRequest>& requests,
                                       const std::vector<Callback>& callbacks,
                                       const std::string& ifname);
ORVA_EXPORT int SendWebAPINonBlocking(const RemoteRequest& request, const Callback& cb,
                                      const std::string& ifname);

// Body of the non-blocking sends' thread; takes ownership of the job. Returns nullptr.
ORVA_EXPORT void* SendWebAPIHandler(void* job);

}  // namespace ORVA::MESH::SDK::Webapi
