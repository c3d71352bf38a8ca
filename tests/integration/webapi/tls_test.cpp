#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "integration/webapi/webapi_env.h"
#include "support/log_capture.h"

namespace {

using ORVA::MESH::SDK::RemoteRequest;
using ORVA::MESH::SDK::Response;
using ORVA::MESH::SDK::Webapi::SendWebAPI;
using orva::test::LogCapture;
using orva::test::MakeCertificate;
using orva::test::TempDir;
using orva::test::WebapiEnv;
using orva::test::WebapiServer;

// Sends one call to the port: true when it was answered with success.
bool Reaches(int port) {
  Response answer;
  const RemoteRequest call("::1", port, "mesh", "Node.Ok", 1, "get", Json::Value(), 5, {});
  return SendWebAPI(call, answer, "lo") == 0 && answer.IsSuccess();
}

using WebapiTls = WebapiEnv;

TEST_F(WebapiTls, RefusesANodeWhoseCertificateIsNotTrustedUntilVerificationIsTurnedOffWhichIsLogged) {
  const WebapiServer stranger(dir_, MakeCertificate(dir_, "stranger", {"::1"}), ServerOptions());
  const int port = stranger.Port();
  LogCapture log;
  EXPECT_FALSE(Reaches(port));
  EXPECT_TRUE(log.Contains("Fail to send webapi, webapiMgr error code: [60]"));
  EXPECT_TRUE(stranger.Calls().empty());
  EXPECT_TRUE(Reaches(server_->Port()));
  WriteSettings("verify_peer=0\n");
  EXPECT_TRUE(Reaches(port));
  EXPECT_TRUE(log.Contains("TLS verification of web API peers is off"));
}

TEST_F(WebapiTls, RefusesATrustedCertificateIssuedForAnotherAddressUnlessHostChecksAreOff) {
  const auto elsewhere = MakeCertificate(dir_, "elsewhere", {"fd00::2"});
  dir_.WriteFile("etc/orvamesh/webapi/ca.pem", TempDir::ReadFile(identity_.cert) + TempDir::ReadFile(elsewhere.cert));
  const WebapiServer other(dir_, elsewhere, ServerOptions());
  const int port = other.Port();
  LogCapture quiet;
  EXPECT_FALSE(Reaches(port));
  EXPECT_TRUE(Reaches(server_->Port()));
  WriteSettings("verify_host=0\n");
  EXPECT_TRUE(Reaches(port));
}

TEST_F(WebapiTls, WithoutItsTrustFileNoNodeIsTrusted) {
  WriteSettings("ca_file=/etc/orvamesh/webapi/none.pem\nbogus line\n");
  LogCapture log;
  EXPECT_FALSE(Reaches(server_->Port()));
  EXPECT_TRUE(log.Contains("Ignoring line 5 of"));
  EXPECT_TRUE(server_->Calls().empty());
}

}  // namespace
