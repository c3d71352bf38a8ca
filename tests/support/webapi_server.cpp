#include "support/webapi_server.h"

#include "support/port_server.h"

#include <json/json.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace orva::test {

TlsIdentity MakeCertificate(const TempDir& dir, const std::string& name,
                            const std::vector<std::string>& ips) {
  TlsIdentity identity{dir.Join(name + ".pem"), dir.Join(name + ".key")};
  std::string san = "subjectAltName=";
  for (size_t i = 0; i < ips.size(); ++i) san += (i ? ",IP:" : "IP:") + ips[i];
  MustRun({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
           "-nodes", "-days", "2", "-subj", "/CN=" + name, "-addext", san, "-keyout",
           identity.key, "-out", identity.cert});
  return identity;
}

WebapiServer::WebapiServer(const TempDir& dir, const TlsIdentity& identity,
                           const Options& options) {
  static std::atomic<int> servers{0};
  const std::string tag = "webapi-server-" + std::to_string(servers++);
  log_ = dir.WriteFile(tag + ".log", "");
  script_ = dir.Join(tag + ".script.json");
  std::vector<std::string> argv;
  if (options.ns != nullptr) argv = {"ip", "netns", "exec", options.ns->Name()};
  argv.insert(argv.end(), {"/usr/bin/python3", std::string(ORVAMESH_SOURCE_DIR) + "/tests/support/webapi_server.py",
                           "--bind", options.bind, "--cert", identity.cert, "--key", identity.key, "--log", log_,
                           "--script", script_, "--delay-ms", std::to_string(options.delayMs)});
  for (const auto& credential : options.credentials) argv.insert(argv.end(), {"--cred", credential});
  server_ = std::make_unique<PortServer>(argv, "the web API server");
}

WebapiServer::~WebapiServer() = default;

int WebapiServer::Port() const { return server_->Port(); }

std::vector<Json::Value> WebapiServer::Calls() const {
  std::vector<Json::Value> calls;
  std::ifstream in(log_);
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  for (std::string line; std::getline(in, line);) {
    Json::Value call;
    if (reader->parse(line.data(), line.data() + line.size(), &call, nullptr)) calls.push_back(call);
  }
  return calls;
}

size_t WebapiServer::CountCalls(const std::string& api) const {
  size_t count = 0;
  for (const auto& call : Calls()) count += call["api"].asString() == api ? 1 : 0;
  return count;
}

void WebapiServer::Script(const std::string& api, const std::string& method,
                          const std::string& rawAnswer) {
  scripted_[api + " " + method] = rawAnswer;
  Json::StreamWriterBuilder writer;
  const std::string temporary = script_ + ".new";
  std::ofstream(temporary) << Json::writeString(writer, scripted_);
  // Renamed into place so the server never reads half a script.
  if (::rename(temporary.c_str(), script_.c_str()) != 0) throw std::runtime_error("rename failed");
}

}  // namespace orva::test
