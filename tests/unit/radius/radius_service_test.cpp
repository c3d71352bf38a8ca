// Bringing the RADIUS server in line, against a recording job manager: what a failure of the
// job manager or of the signal leaves behind. Which of start, restart and reload each situation
// gets is checked against a real FreeRADIUS in integration/radius.
#include <unistd.h>

#include <gtest/gtest.h>

#include "orvamesh/base/exception.h"
#include "orvamesh/radius/radius_service.h"
#include "support/fixture_root.h"
#include "support/log_capture.h"

namespace {

using namespace ORVA::MESH::SDK::Radius;
using ORVA::MESH::SDK::Exception::RuntimeException;

constexpr char kSecret[] = "never-logged";

TEST(RadiusServiceJobs, AJobManagerOrSignalFailureIsThrownOrReturnedAndLoggedWithoutTheSecret) {
  orva::test::FixtureRoot root;
  orva::test::LogCapture log;
  for (const char* job : {"/sbin/start", "/sbin/stop"}) root.InstallRecorder(job);
  root.WriteFile("etc/freeradius/3.0/radiusd.conf", "");
  RadiusConfig config;
  config.clients = {{"aps", "192.168.8.0/24", kSecret}};
  RadiusService service;
  root.SetStatus("/sbin/start", 1);
  EXPECT_THROW(service.Apply(config), RuntimeException);
  // The server counts as running while its pid file names a live process: this one.
  root.WriteFile("var/run/freeradius/freeradius.pid", std::to_string(::getpid()) + "\n");
  root.SetStatus("/sbin/stop", 1);
  config.clients[0].secret = "changed";
  EXPECT_THROW(service.Apply(config), RuntimeException);
  EXPECT_EQ(root.Calls("/sbin/start").size(), 1u);  // no start after a failed stop
  for (const std::string& line : log.Texts()) EXPECT_EQ(line.find(kSecret), std::string::npos) << line;
  EXPECT_EQ(RadiusService(root.Join("conf"), root.Join("nothing.pid")).Reload(), -1);
  EXPECT_TRUE(log.Contains("Failed to signal the RADIUS server through"));
}

}  // namespace
