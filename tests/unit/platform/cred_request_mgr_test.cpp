#include "platform/cred_request_mgr.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <tuple>
#include <vector>

#include "platform/webapi_settings.h"
#include "support/fixture_root.h"
#include "support/log_capture.h"

namespace {

using orva::platform::CredRequestMgr;
using orva::platform::WebapiSettings;
using orva::test::LogCapture;
using Outcome = std::pair<int, int>;  // the id AddCredRequest gave, and GetError after it
const Outcome kBadArgument{-1, CredRequestMgr::kBadArgument}, kUnknownSession{-1, CredRequestMgr::kUnknownSession};

class WebapiPlatform : public ::testing::Test {
 protected:
  void SetUp() override {
    root_.WriteFile("etc/orvamesh/webapi/credentials.json",
                    R"({"mesh": {"user": "admin", "password": "pw"}, "half": {"user": "admin"}})");
  }
  // The first call of a fresh manager.
  static Outcome Add(const std::string& host, const std::string& scheme, int port, const std::string& session = "mesh",
                     const Json::Value& params = Json::Value(), int flag = 0) {
    CredRequestMgr manager;
    const int id = manager.AddCredRequest(host, scheme, port, session, "A", 1, "m", params, 5, flag);
    return {id, manager.GetError()};
  }

  orva::test::FixtureRoot root_;
  LogCapture capture_;
};

TEST_F(WebapiPlatform, RefusesCallsItCannotMakeWithAReasonAndRunsABatchOnce) {
  EXPECT_EQ(Add("::1", "ftp", 443), kBadArgument);
  EXPECT_EQ(Add("::1", "https", 0), kBadArgument);
  EXPECT_EQ(Add("::1", "https", 65536), kBadArgument);
  EXPECT_EQ(Add("::1", "https", 443, "mesh", Json::Value(Json::arrayValue)), kBadArgument);
  EXPECT_EQ(Add("::1", "https", 443, "mesh", Json::Value(Json::objectValue), 1), kBadArgument);
  EXPECT_EQ(Add("::1", "https", 443, "nobody"), kUnknownSession);
  EXPECT_EQ(Add("::1", "https", 443, "half"), kUnknownSession);
  CredRequestMgr manager;
  EXPECT_EQ(manager.AddCredRequest("::1", "https", 443, "mesh", "A", 1, "m", Json::Value(), 5, 0), 0);
  EXPECT_EQ(manager.AddCredRequest("node", "http", 80, "mesh", "A", 1, "m", Json::objectValue, 0, 0), 1);
  EXPECT_EQ(manager.GetRequest(2), nullptr);
  CredRequestMgr once;
  EXPECT_TRUE(once.Run());
  EXPECT_FALSE(once.Run());
  EXPECT_EQ(once.GetError(), CredRequestMgr::kAlreadyRun);
}

TEST_F(WebapiPlatform, TakesOnlyAddressLiteralsAndHostNamesAsHosts) {
  // Anything else could move the call, with the session's credentials, to another place.
  const std::vector<std::pair<std::string, bool>> hosts = {
      {"fe80::1%eth0", true}, {"192.168.1.20", true}, {"node-2.mesh.lan", true}, {"", false},
      {"::1]:8443/evil?x=#", false}, {"fe80::1%eth0/x", false}, {"user@node", false}, {"node:8443", false},
      {"-node", false}, {"node..lan", false}, {"192.168.1.20#x", false}, {std::string(64, 'a'), false},
  };
  for (const auto& [host, accepted] : hosts) {
    EXPECT_EQ(Add(host, "https", 443), accepted ? Outcome(0, CredRequestMgr::kNone) : kBadArgument) << host;
  }
}

TEST_F(WebapiPlatform, RefusesUploadsThatAreNotReadableFiles) {
  CredRequestMgr manager;
  ASSERT_EQ(manager.AddCredRequest("::1", "https", 443, "mesh", "A", 1, "m", Json::Value(), 5, 0), 0);
  auto* call = manager.GetRequest(0);
  const std::string file = root_.WriteFile("patch.bin", "x");
  EXPECT_TRUE(call->SetUploadFile("file", file.c_str()));
  EXPECT_TRUE(call->SetUploadFile("second", file.c_str()));
  for (const auto& [name, path] : std::vector<std::pair<const char*, std::string>>{
           {"", file}, {"file", root_.Join("missing")}, {"file", root_.Path()}}) {
    EXPECT_FALSE(call->SetUploadFile(name, path.c_str())) << name << " " << path;
    EXPECT_EQ(manager.GetError(), CredRequestMgr::kBadUpload);
  }
}

// Trust settings are walked end to end by the web API's TLS tests; here the lines not taken.
TEST_F(WebapiPlatform, SettingsSkipLinesWithUnusableValues) {
  root_.WriteFile("etc/orvamesh/webapi.conf",
                  "ca_dir=/etc/certs\nlocal_host=fd00::1\nlocal_port=8443\nlocal_port=70000\n"
                  "verify_peer=maybe\ncolour=blue\njust text\n");
  const WebapiSettings settings = WebapiSettings::Load();
  EXPECT_EQ(std::tie(settings.caDir, settings.verifyPeer, settings.localHost, settings.localPort),
            std::make_tuple("/etc/certs", true, "fd00::1", 8443));
  EXPECT_EQ(capture_.Lines().size(), 4u);
  EXPECT_TRUE(capture_.Contains("Ignoring line 7 of"));
}

}  // namespace
