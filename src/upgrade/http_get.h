#pragma once
// One HTTPS GET on a fresh libcurl handle, streaming the body to a callback. Shared by the feed
// and the image download, which need the same TLS and time-out settings.
#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace ORVA::MESH::SDK::Upgrade {

struct HttpGetOptions {
  std::string caFile;
  long timeoutMs = 30000;     // the whole transfer
  uint64_t rangeStart = 0;    // ask for the bytes from here on
};

struct HttpGetResult {
  long status = 0;
  std::map<std::string, std::string> headers;  // names lower-cased
  std::string error;                           // empty when the transfer completed
};

// `sink` gets each piece of the body; returning false aborts the transfer, and an exception it
// throws aborts it too and comes out of HttpGet.
HttpGetResult HttpGet(const std::string& url, const HttpGetOptions& options,
                      const std::function<bool(const char*, size_t)>& sink);

// Percent-encodes a query parameter value.
std::string QueryEscape(const std::string& value);

}  // namespace ORVA::MESH::SDK::Upgrade
