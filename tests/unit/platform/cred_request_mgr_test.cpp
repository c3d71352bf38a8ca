#include "platform/cred_request_mgr.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "platform/webapi_settings.h"
#include "support/fixture_root.h"
#include "support/log_capture.h"

namespace {

using orva::platform::CredRequestMgr;
using orva::platform::WebapiSettings;
using orva::test::LogCapture;

class WebapiPlatform : public ::testing::Test {
 protected:
  void SetUp() override {
    root_.WriteFile("etc/orvamesh/webapi/credentials.json",
                    R"({"mesh": {"user": "admin", "password": "pw"}, "half": {"user": "admin"}})");
  }

  orva::test::FixtureRoot root_;
};

TEST_F(WebapiPlatform, RefusesCallsItCannotMakeWithAReasonAndRunsABatchOnce) {
  struct Case {
    std::string host, scheme;
    int port;
    std::string session;
    Json::Value params;
    int flag;
    int error;
  };
  const Json::Value object(Json::objectValue);
  const std::vector<Case> cases = {
      {"::1", "ftp", 443, "mesh", object, 0, CredRequestMgr::kBadArgument},
      {"", "https", 443, "mesh", object, 0, CredRequestMgr::kBadArgument},
      {"::1", "https", 0, "mesh", object, 0, CredRequestMgr::kBadArgument},
      {"::1", "https", 65536, "mesh", object, 0, CredRequestMgr::kBadArgument},
      {"::1", "https", 443, "mesh", Json::Value(Json::arrayValue), 0, CredRequestMgr::kBadArgument},
      {"::1", "https", 443, "mesh", object, 1, CredRequestMgr::kBadArgument},
      {"::1", "https", 443, "nobody", object, 0, CredRequestMgr::kUnknownSession},
      {"::1", "https", 443, "half", object, 0, CredRequestMgr::kUnknownSession},
  };
  LogCapture capture;
  for (const auto& c : cases) {
    CredRequestMgr manager;
    EXPECT_EQ(manager.AddCredRequest(c.host, c.scheme, c.port, c.session, "A", 1, "m", c.params, 5, c.flag), -1)
        << c.scheme << " " << c.host << " " << c.port << " " << c.session;
    EXPECT_EQ(manager.GetError(), c.error);
  }
  CredRequestMgr manager;
  EXPECT_EQ(manager.AddCredRequest("::1", "https", 443, "mesh", "A", 1, "m", Json::Value(), 5, 0), 0);
  EXPECT_EQ(manager.AddCredRequest("node", "http", 80, "mesh", "A", 1, "m", object, 0, 0), 1);
  EXPECT_EQ(manager.GetRequest(2), nullptr);
  EXPECT_EQ(manager.GetRequest(-1), nullptr);
  EXPECT_EQ(manager.GetResponse(7), "");
  CredRequestMgr once;
  EXPECT_TRUE(once.Run());
  EXPECT_FALSE(once.Run());
  EXPECT_EQ(once.GetError(), CredRequestMgr::kAlreadyRun);
}

TEST_F(WebapiPlatform, TakesOnlyAddressLiteralsAndHostNamesAsHosts) {
  // Anything else could move the call, with the session's credentials, to another place.
  const std::vector<std::pair<std::string, bool>> hosts = {
      {"::1", true}, {"fe80::1%eth0", true}, {"192.168.1.20", true}, {"node-2.mesh.lan", true}, {"re1", true},
      {"::1]:8443/evil?x=#", false}, {"fe80::1%eth0/x", false}, {"fe80::1%", false}, {"node/x", false},
      {"user@node", false}, {"node:8443", false}, {"-node", false}, {"node..lan", false}, {"node lan", false},
      {"node?x", false}, {std::string(64, 'a'), false}, {"192.168.1.20#x", false},
  };
  LogCapture capture;
  for (const auto& [host, accepted] : hosts) {
    CredRequestMgr manager;
    const int id = manager.AddCredRequest(host, "https", 443, "mesh", "A", 1, "m", Json::Value(), 5, 0);
    EXPECT_EQ(id == 0, accepted) << host;
    if (!accepted) {
      EXPECT_EQ(manager.GetError(), CredRequestMgr::kBadArgument) << host;
    }
  }
}

TEST_F(WebapiPlatform, RefusesUploadsThatAreNotReadableFiles) {
  CredRequestMgr manager;
  const int id = manager.AddCredRequest("::1", "https", 443, "mesh", "A", 1, "m", Json::Value(), 5, 0);
  ASSERT_EQ(id, 0);
  auto* call = manager.GetRequest(id);
  const std::string file = root_.WriteFile("patch.bin", "x");
  EXPECT_TRUE(call->SetUploadFile("file", file.c_str()));
  EXPECT_TRUE(call->SetUploadFile("second", file.c_str()));
  for (const auto& [name, path] : std::vector<std::pair<const char*, std::string>>{
           {"", file}, {"file", ""}, {"file", root_.Join("missing")}, {"file", root_.Path()}}) {
    EXPECT_FALSE(call->SetUploadFile(name, path.c_str())) << name << " " << path;
    EXPECT_EQ(manager.GetError(), CredRequestMgr::kBadUpload);
  }
  EXPECT_FALSE(call->SetUploadFile(nullptr, file.c_str()));
}

TEST_F(WebapiPlatform, SettingsOverrideTheDefaultsAndSkipBadLines) {
  const WebapiSettings defaults = WebapiSettings::Load();
  EXPECT_EQ(defaults.caFile, "/etc/orvamesh/webapi/ca.pem");
  EXPECT_TRUE(defaults.verifyPeer);
  EXPECT_TRUE(defaults.verifyHost);
  EXPECT_EQ(defaults.localPort, 443);

  root_.WriteFile("etc/orvamesh/webapi.conf",
                  "# trust\n ca_file = /etc/ca.pem \nca_dir=/etc/certs\nverify_peer=no\nverify_host=false\n"
                  "local_host=fd00::1\nlocal_port=8443\nlocal_port=70000\nverify_peer=maybe\ncolour=blue\n"
                  "just text\n");
  LogCapture capture;
  const WebapiSettings settings = WebapiSettings::Load();
  EXPECT_EQ(settings.caFile, "/etc/ca.pem");
  EXPECT_EQ(settings.caDir, "/etc/certs");
  EXPECT_FALSE(settings.verifyPeer);
  EXPECT_FALSE(settings.verifyHost);
  EXPECT_EQ(settings.localHost, "fd00::1");
  EXPECT_EQ(settings.localPort, 8443);
  EXPECT_EQ(capture.Lines().size(), 4u);
  EXPECT_TRUE(capture.Contains("Ignoring line 8 of"));
}

}  // namespace
