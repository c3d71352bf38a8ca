// System utilization from fixture /proc files (exact figures, the CPU share among them) and
// from the real /proc, checked against psutil, an independent reading of the same kernel files.
#include <chrono>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "orvamesh/client/local_utilization.h"
#include "orvamesh/utils/utilization_sampler.h"
#include "platform/process_runner.h"
#include "support/fixture_root.h"
#include "support/log_capture.h"

namespace {

using namespace ORVA::MESH::SDK;
using std::chrono::milliseconds;

class UtilizationFromFixtureProc : public ::testing::Test {
 protected:
  void SetUp() override {
    root_.WriteFile("proc/uptime", "4242.17 100.00\n");
    root_.WriteFile("proc/meminfo", "MemTotal:        1000 kB\nMemFree:          100 kB\nMemAvailable:     600 kB\n");
  }
  void Stat(unsigned user, unsigned idle, unsigned iowait, unsigned guest) {
    root_.WriteFile("proc/stat", "cpu  " + std::to_string(user) + " 0 0 " + std::to_string(idle) + " " +
                                     std::to_string(iowait) + " 0 0 0 " + std::to_string(guest) + " 0\ncpu0 1 2 3\n");
  }
  orva::test::FixtureRoot root_;
  orva::test::LogCapture log_;
};

TEST_F(UtilizationFromFixtureProc, ReportsTheShareOfBusyTicksSinceTheLastSample) {
  struct Step {
    unsigned user, idle, iowait, guest;
    int percent;
  };
  // Guest time is part of user time already; iowait counts as waiting.
  const Step steps[] = {{175, 125, 0, 50, 75}, {175, 200, 25, 0, 0}, {175, 200, 25, 0, 0}, {275, 200, 25, 0, 100}};
  Utils::UtilizationSampler sampler(milliseconds(0));
  Utils::SystemLoad load;
  Stat(100, 100, 0, 0);
  ASSERT_EQ(sampler.Sample(load), 0);  // the first call measures a window with no change
  for (const Step& s : steps) {
    Stat(s.user, s.idle, s.iowait, s.guest);
    ASSERT_EQ(sampler.Sample(load), 0);
    EXPECT_EQ(load.cpuPercent, s.percent) << s.user << "/" << s.idle;
  }
  const Client::SystemUtilization record = Client::ToSystemUtilization(load);
  EXPECT_EQ(record.memoryFreeKiB, 600u);
}

TEST_F(UtilizationFromFixtureProc, FailsAndLeavesTheResultAloneWhenAFileIsUnusable) {
  const std::pair<const char*, const char*> cases[] = {
      {"proc/stat", "intr 1 2 3\n"}, {"proc/stat", "cpu 1 2\n"}, {"proc/meminfo", "MemTotal: 1000 kB\n"}};
  for (const auto& [file, content] : cases) {
    SetUp();
    Stat(1, 1, 0, 0);
    root_.WriteFile(file, content);
    Utils::UtilizationSampler sampler(milliseconds(0));
    Utils::SystemLoad load;
    load.memoryTotalKiB = 7;
    EXPECT_EQ(sampler.Sample(load), -1) << file << ": " << content;
    EXPECT_EQ(load.memoryTotalKiB, 7u);
  }
}

// psutil's figures for this machine: total and available memory in KiB and uptime in seconds.
bool PsutilFigures(double& total, double& available, double& uptime) {
  std::string out;
  const char* script =
      "import psutil,time\nm=psutil.virtual_memory()\n"
      "print(m.total/1024, m.available/1024, time.time()-psutil.boot_time())";
  if (orva::platform::RunProgramCapture({"/usr/bin/python3", "-c", script}, out) != 0) return false;
  std::istringstream(out) >> total >> available >> uptime;
  return total > 0;
}

TEST(UtilizationOfThisMachine, AgreesWithPsutil) {
  double total = 0, available = 0, uptime = 0;
  if (!PsutilFigures(total, available, uptime)) GTEST_SKIP() << "python3-psutil is not installed";
  Utils::UtilizationSampler sampler(milliseconds(300));
  Utils::SystemLoad load;
  ASSERT_EQ(sampler.Sample(load), 0);
  EXPECT_NEAR(static_cast<double>(load.memoryTotalKiB), total, total * 0.02);
  EXPECT_NEAR(static_cast<double>(load.memoryAvailableKiB), available, total * 0.02);
  EXPECT_NEAR(static_cast<double>(load.uptimeSeconds), uptime, 1.5);
}

}  // namespace
