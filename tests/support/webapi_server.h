#pragma once
// A real HTTPS web API server for tests (tests/support/webapi_server.py on Debian's python3),
// with certificates made by openssl at test time. It listens on port 0 of the given address,
// in the caller's namespace or inside a NetNs, and records every call it receives so tests can
// count what really reached it. Stopped (and reaped) by the destructor.
#include <sys/types.h>

#include <json/value.h>

#include <memory>
#include <string>
#include <vector>

#include "support/netns.h"
#include "support/temp_dir.h"

namespace orva::test {

class PortServer;

struct TlsIdentity {
  std::string cert;
  std::string key;
};

// A self-signed P-256 certificate in `dir` valid for the IP addresses given (its own CA).
TlsIdentity MakeCertificate(const TempDir& dir, const std::string& name,
                            const std::vector<std::string>& ips);

class WebapiServer {
 public:
  struct Options {
    // The address to listen on; a link-local one needs its zone ("fe80::1%veth0").
    std::string bind = "::1";
    const NetNs* ns = nullptr;
    // "user:password" pairs; none means every caller is let in.
    std::vector<std::string> credentials;
    // Every answer waits this long.
    int delayMs = 0;
  };

  WebapiServer(const TempDir& dir, const TlsIdentity& identity, const Options& options);
  ~WebapiServer();
  WebapiServer(const WebapiServer&) = delete;
  WebapiServer& operator=(const WebapiServer&) = delete;

  int Port() const;
  // The calls received so far, oldest first: {"api", "method", "version", "params", "user",
  // "uploads": [field names]}.
  std::vector<Json::Value> Calls() const;
  size_t CountCalls(const std::string& api) const;
  // From now on, calls of api/method get exactly `rawAnswer` as their answer text.
  void Script(const std::string& api, const std::string& method, const std::string& rawAnswer);

 private:
  std::unique_ptr<PortServer> server_;
  std::string log_;
  std::string script_;
  Json::Value scripted_;
};

}  // namespace orva::test
