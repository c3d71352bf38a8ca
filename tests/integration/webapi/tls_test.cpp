#include <gtest/gtest.h>

#include <memory>
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

class WebapiTls : public WebapiEnv {
 protected:
  // A second node that presents `identity`.
  int StartNode(const orva::test::TlsIdentity& identity) {
    other_ = std::make_unique<WebapiServer>(dir_, identity, ServerOptions());
    return other_->Port();
  }

  // Sends one call to the port: true when it was answered with success. `log` gets the lines logged meanwhile.
  bool Reaches(int port, std::string* log = nullptr) {
    LogCapture capture;
    Response answer;
    const int rc = SendWebAPI(RemoteRequest("::1", port, "mesh", "Node.Ok", 1, "get", Json::Value(), 5, {}),
                              answer, "lo");
    if (log != nullptr) {
      for (const auto& text : capture.Texts()) *log += text + "\n";
    }
    return rc == 0 && answer.IsSuccess();
  }

  std::unique_ptr<WebapiServer> other_;
};

TEST_F(WebapiTls, RefusesANodeWhoseCertificateIsNotTrustedUntilVerificationIsTurnedOffWhichIsLogged) {
  const int port = StartNode(MakeCertificate(dir_, "stranger", {"::1"}));
  std::string log;
  EXPECT_FALSE(Reaches(port, &log));
  EXPECT_NE(log.find("Fail to send webapi, webapiMgr error code: [60]"), std::string::npos) << log;
  EXPECT_TRUE(other_->Calls().empty());
  EXPECT_TRUE(Reaches(server_->Port()));
  WriteSettings("verify_peer=0\n");
  log.clear();
  EXPECT_TRUE(Reaches(port, &log));
  EXPECT_NE(log.find("TLS verification of web API peers is off"), std::string::npos) << log;
}

TEST_F(WebapiTls, RefusesATrustedCertificateIssuedForAnotherAddressUnlessHostChecksAreOff) {
  const auto elsewhere = MakeCertificate(dir_, "elsewhere", {"fd00::2"});
  dir_.WriteFile("root/etc/orvamesh/webapi/ca.pem",
                 TempDir::ReadFile(identity_.cert) + TempDir::ReadFile(elsewhere.cert));
  const int port = StartNode(elsewhere);
  EXPECT_FALSE(Reaches(port));
  EXPECT_TRUE(Reaches(server_->Port()));
  WriteSettings("verify_host=0\n");
  EXPECT_TRUE(Reaches(port));
}

TEST_F(WebapiTls, WithoutItsTrustFileNoNodeIsTrusted) {
  WriteSettings("ca_file=/etc/orvamesh/webapi/none.pem\nbogus line\n");
  std::string log;
  EXPECT_FALSE(Reaches(server_->Port(), &log));
  EXPECT_NE(log.find("Ignoring line 5 of"), std::string::npos) << log;
  EXPECT_TRUE(server_->Calls().empty());
}

}  // namespace
