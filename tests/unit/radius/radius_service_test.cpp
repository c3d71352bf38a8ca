// Bringing the RADIUS server in line, against a recording job manager: which of start,
// restart and reload each situation gets, and what a failure leaves behind.
#include <unistd.h>

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>

#include "orvamesh/base/exception.h"
#include "orvamesh/radius/radius_service.h"
#include "support/fixture_root.h"
#include "support/log_capture.h"

namespace {

using namespace ORVA::MESH::SDK::Radius;
using Calls = std::vector<std::vector<std::string>>;
using ORVA::MESH::SDK::Exception::RuntimeException;

constexpr char kSecret[] = "never-logged";

class RadiusServiceJobs : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* job : {"/sbin/start", "/sbin/stop"}) root_.InstallRecorder(job);
    root_.WriteFile("etc/freeradius/3.0/radiusd.conf", "");
    config_.clients = {{"aps", "192.168.8.0/24", kSecret}};
  }
  // The server counts as running while its pid file names a live process: this one.
  void Running() { root_.WriteFile("var/run/freeradius/freeradius.pid", std::to_string(::getpid()) + "\n"); }
  Calls Jobs() {
    Calls all;
    for (const char* job : {"/sbin/stop", "/sbin/start"}) {
      for (auto call : root_.Calls(job)) {
        call.insert(call.begin(), job);
        all.push_back(call);
      }
    }
    return all;
  }

  orva::test::FixtureRoot root_;
  orva::test::LogCapture log_;
  RadiusConfig config_;
};

TEST_F(RadiusServiceJobs, AStoppedServerIsStartedWithTheNewFiles) {
  RadiusService service;
  EXPECT_FALSE(service.IsRunning());
  EXPECT_EQ(service.Apply(config_), RadiusService::ACTION::STARTED);
  EXPECT_EQ(Jobs(), (Calls{{"/sbin/start", "freeradius"}}));
  EXPECT_NE(orva::test::TempDir::ReadFile(root_.Join("etc/freeradius/3.0/clients.conf")).find(kSecret),
            std::string::npos);
}

TEST_F(RadiusServiceJobs, ARunningServerIsRestartedOnChangeAndOnlyReloadedOtherwise) {
  RadiusService service;
  service.Apply(config_);
  Running();
  root_.ClearCalls("/sbin/start");
  config_.clients[0].secret = "other";
  EXPECT_EQ(service.Apply(config_), RadiusService::ACTION::RESTARTED);
  EXPECT_EQ(Jobs(), (Calls{{"/sbin/stop", "freeradius"}, {"/sbin/start", "freeradius"}}));
  root_.ClearCalls("/sbin/start");
  root_.ClearCalls("/sbin/stop");
  // SIGHUP to ourselves: note it instead of dying.
  struct sigaction ignore{};
  struct sigaction previous{};
  ignore.sa_handler = SIG_IGN;
  ::sigaction(SIGHUP, &ignore, &previous);
  EXPECT_EQ(service.Apply(config_), RadiusService::ACTION::RELOADED);
  ::sigaction(SIGHUP, &previous, nullptr);
  EXPECT_EQ(Jobs(), Calls{});
}

TEST_F(RadiusServiceJobs, AJobManagerFailureIsThrownAndLogged) {
  RadiusService service;
  root_.SetStatus("/sbin/start", 1);
  EXPECT_THROW(service.Apply(config_), RuntimeException);
  EXPECT_TRUE(log_.Contains("Failed to /sbin/start freeradius"));
  Running();
  root_.SetStatus("/sbin/stop", 1);
  config_.clients[0].secret = "changed";
  EXPECT_THROW(service.Apply(config_), RuntimeException);
  EXPECT_EQ(root_.Calls("/sbin/start").size(), 1u);  // no start after a failed stop
  for (const std::string& line : log_.Texts()) EXPECT_EQ(line.find(kSecret), std::string::npos) << line;
}

TEST_F(RadiusServiceJobs, ReloadWithoutAServerFails) {
  RadiusService service(root_.Join("conf"), root_.Join("nothing.pid"));
  EXPECT_EQ(service.Reload(), -1);
  EXPECT_TRUE(log_.Contains("Failed to signal the RADIUS server through"));
}

TEST_F(RadiusServiceJobs, AnInvalidConfigurationTouchesNothing) {
  RadiusService service;
  config_.clients[0].address = "192.168.8.0/99";
  EXPECT_THROW(service.Apply(config_), ORVA::MESH::SDK::Exception::InvalidArgumentException);
  EXPECT_EQ(Jobs(), Calls{});
  EXPECT_FALSE(std::ifstream(root_.Join("etc/freeradius/3.0/clients.conf")).good());
}

}  // namespace
