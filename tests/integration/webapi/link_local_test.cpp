#include <gtest/gtest.h>

#include "integration/webapi/webapi_env.h"
#include "support/log_capture.h"
#include "support/netns.h"

namespace {

using ORVA::MESH::SDK::RemoteRequest;
using ORVA::MESH::SDK::Response;
using ORVA::MESH::SDK::Webapi::SendWebAPI;
using orva::test::LogCapture;
using orva::test::MakeCertificate;
using orva::test::NetNs;
using orva::test::TempDir;
using orva::test::WebapiEnv;
using orva::test::WebapiServer;

using WebapiLinkLocal = WebapiEnv;

TEST_F(WebapiLinkLocal, ReachesANodeByItsLinkLocalAddressThroughTheNamedInterface) {
  ORVA_REQUIRE_NETNS();
  NetNs node("wnode");
  NetNs self("wself");
  orva::test::AddVeth(&self, "mesh0", &node, "eth0");
  const std::string address = node.LinkLocal("eth0");
  const auto identity = MakeCertificate(dir_, "linklocal", {address});
  dir_.WriteFile("etc/orvamesh/webapi/ca.pem", TempDir::ReadFile(identity.cert));
  WebapiServer::Options options = ServerOptions();
  options.ns = &node;
  options.bind = address + "%eth0";
  WebapiServer remote(dir_, identity, options);

  const RemoteRequest call(address, remote.Port(), "mesh", "Node.Remote", 1, "get", Json::Value(), 5, {});
  int rc = -2;
  Response answer;
  self.RunIn([&] { rc = SendWebAPI(call, answer, "mesh0"); });
  EXPECT_EQ(rc, 0);
  EXPECT_TRUE(answer.IsSuccess());
  EXPECT_EQ(remote.CountCalls("Node.Remote"), 1u);

  LogCapture capture;
  self.RunIn([&] { rc = SendWebAPI(call, answer, "nosuch0"); });
  EXPECT_EQ(rc, -1);
  EXPECT_TRUE(capture.Contains("Fail to check/add ipv6 link-local postfix"));
  EXPECT_EQ(remote.CountCalls("Node.Remote"), 1u);
}

}  // namespace
