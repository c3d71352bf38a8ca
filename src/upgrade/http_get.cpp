#include "upgrade/http_get.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <exception>
#include <memory>

namespace ORVA::MESH::SDK::Upgrade {
namespace {

struct Transfer {
  const std::function<bool(const char*, size_t)>* sink;
  HttpGetResult* result;
  std::exception_ptr failure;  // thrown by the sink; rethrown once libcurl has returned
};

size_t OnBody(char* data, size_t size, size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  // An exception must not unwind through libcurl's C frames: it ends the transfer instead.
  try {
    return (*transfer->sink)(data, size * count) ? size * count : 0;
  } catch (...) {
    transfer->failure = std::current_exception();
    return 0;
  }
}

size_t OnHeader(char* data, size_t size, size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  const std::string line(data, size * count);
  const auto colon = line.find(':');
  if (colon != std::string::npos) {
    std::string name = line.substr(0, colon);
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    std::string value = line.substr(colon + 1);
    const auto first = value.find_first_not_of(" \t");
    const auto last = value.find_last_not_of(" \t\r\n");
    transfer->result->headers[name] = first == std::string::npos ? "" : value.substr(first, last - first + 1);
  }
  return size * count;
}

}  // namespace

HttpGetResult HttpGet(const std::string& url, const HttpGetOptions& options,
                      const std::function<bool(const char*, size_t)>& sink) {
  HttpGetResult result;
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), &curl_easy_cleanup);
  if (!curl) {
    result.error = "cannot create an HTTP handle";
    return result;
  }
  Transfer transfer{&sink, &result, nullptr};
  char errorText[CURL_ERROR_SIZE] = {};
  CURL* h = curl.get();
  curl_easy_setopt(h, CURLOPT_URL, url.c_str());
  curl_easy_setopt(h, CURLOPT_PROTOCOLS_STR, "https,http");
  curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L);
  // Larger pieces mean fewer callbacks, writes and digest updates per image.
  curl_easy_setopt(h, CURLOPT_BUFFERSIZE, 256L * 1024);
  curl_easy_setopt(h, CURLOPT_TIMEOUT_MS, options.timeoutMs);
  curl_easy_setopt(h, CURLOPT_CONNECTTIMEOUT_MS, std::min(options.timeoutMs, 10000L));
  curl_easy_setopt(h, CURLOPT_ERRORBUFFER, errorText);
  curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, &OnBody);
  curl_easy_setopt(h, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(h, CURLOPT_HEADERFUNCTION, &OnHeader);
  curl_easy_setopt(h, CURLOPT_HEADERDATA, &transfer);
  if (!options.caFile.empty()) curl_easy_setopt(h, CURLOPT_CAINFO, options.caFile.c_str());
  const std::string range = std::to_string(options.rangeStart) + "-";
  if (options.rangeStart > 0) curl_easy_setopt(h, CURLOPT_RANGE, range.c_str());
  const CURLcode code = curl_easy_perform(h);
  if (transfer.failure) std::rethrow_exception(transfer.failure);
  curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &result.status);
  if (code != CURLE_OK) result.error = errorText[0] != '\0' ? errorText : curl_easy_strerror(code);
  return result;
}

std::string QueryEscape(const std::string& value) {
  std::unique_ptr<char, decltype(&curl_free)> escaped(
      curl_easy_escape(nullptr, value.c_str(), static_cast<int>(value.size())), &curl_free);
  return escaped ? escaped.get() : "";
}

}  // namespace ORVA::MESH::SDK::Upgrade
