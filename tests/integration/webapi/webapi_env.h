#pragma once
// A node as the web API transport sees it: a fixture system root holding the trust settings
// and the credential store, and a real HTTPS server on [::1] whose certificate is the one
// trusted CA. Sessions: "mesh" and "admin" log in, "stale" has a wrong password.
#include <gtest/gtest.h>
#include <json/json.h>

#include <memory>
#include <string>
#include <vector>

#include "orvamesh/utils/remote_request.h"
#include "orvamesh/utils/remote_webapi.h"
#include "support/fixture_root.h"
#include "support/json_text.h"
#include "support/webapi_server.h"

namespace orva::test {

class WebapiEnv : public ::testing::Test {
 protected:
  void SetUp() override {
    identity_ = MakeCertificate(dir_, "node", {"::1"});
    dir_.WriteFile("etc/orvamesh/webapi/ca.pem", TempDir::ReadFile(identity_.cert));
    dir_.WriteFile("etc/orvamesh/webapi/credentials.json",
                   R"({"mesh": {"user": "admin", "password": "s3cret"},
                       "admin": {"user": "admin", "password": "s3cret"},
                       "stale": {"user": "admin", "password": "old"}})",
                   0600);
    server_ = std::make_unique<WebapiServer>(dir_, identity_, ServerOptions());
    WriteSettings("");
    ASSERT_EQ(ORVA::MESH::SDK::Webapi::OrvaCredInit(true), 0);
  }

  void TearDown() override {
    ORVA::MESH::SDK::Webapi::OrvaCredCleanUp();
    server_.reset();
  }

  virtual WebapiServer::Options ServerOptions() const {
    WebapiServer::Options options;
    options.credentials = {"admin:s3cret"};
    return options;
  }

  // The settings file: the default trust plus `extra` lines.
  void WriteSettings(const std::string& extra) {
    dir_.WriteFile("etc/orvamesh/webapi.conf",
                   "# written by the test\nca_file=/etc/orvamesh/webapi/ca.pem\nlocal_port=" +
                       std::to_string(server_->Port()) + "\n" + extra);
  }

  ORVA::MESH::SDK::RemoteRequest Call(const std::string& api,
                                      const Json::Value& params = Json::Value(Json::objectValue),
                                      const std::string& session = "mesh", long timeout = 5) const {
    return ORVA::MESH::SDK::RemoteRequest("::1", server_->Port(), session, api, 1, "get", params,
                                          timeout, {});
  }

  static Json::Value Params(const std::string& text) { return orva::test::ParseJson(text); }

  // How many calls of each api reached the server, space-separated.
  std::string Counts(const std::vector<std::string>& apis) const {
    std::string out;
    for (const auto& api : apis) out += (out.empty() ? "" : " ") + std::to_string(server_->CountCalls(api));
    return out;
  }

  // The node's system root, which also holds the certificates and the servers' files.
  FixtureRoot dir_;
  TlsIdentity identity_;
  std::unique_ptr<WebapiServer> server_;
};

}  // namespace orva::test
