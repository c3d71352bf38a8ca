// The system bus restarts under a long-running client fifty times: each time the first call
// fails as a lost daemon's does, the next goes over a new connection, and nothing piles up.
#include <dirent.h>
#include <signal.h>

#include <cstdlib>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "orvamesh/base/exception.h"
#include "orvamesh/client/mesh_client.h"
#include "platform/process_runner.h"
#include "support/child.h"
#include "support/netns.h"
#include "support/private_bus.h"
#include "support/thrown_text.h"
#include "support/wait_until.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Client;

size_t Entries(const char* directory) {
  size_t count = 0;
  DIR* dir = ::opendir(directory);
  while (const dirent* entry = ::readdir(dir)) count += entry->d_name[0] != '.';
  ::closedir(dir);
  return count;
}

// The simulated daemon on `bus`, answering once `orvamesh` gets an answer from it.
pid_t StartDaemon(const std::string& bus) {
  const pid_t pid = orva::test::SpawnTied(
      {ORVAMESH_BINARY_DIR "/tools/orvamesh-simd", "--bus", bus, ORVAMESH_SOURCE_DIR "/examples/mesh.json"});
  const bool up = orva::test::WaitUntil([&] {
    return orva::test::Run({ORVAMESH_BINARY_DIR "/tools/orvamesh", "--bus", bus, "get-node-ids"}) == 0;
  });
  EXPECT_TRUE(up) << "orvamesh-simd did not answer on " << bus;
  return pid;
}

TEST(BusRestart, EachRestartCostsOneFailedCallAndLeavesNoDescriptorOrThreadBehind) {
  ORVA_REQUIRE_PRIVATE_BUS();
  std::shared_ptr<MeshClient> client;
  size_t descriptors = 0;
  size_t threads = 0;
  constexpr int kRounds = 50;
  for (int round = 0; round < kRounds; ++round) {
    orva::test::PrivateBus bus;
    ASSERT_EQ(::setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.Address().c_str(), 1), 0);
    const pid_t daemon = StartDaemon(bus.Address());
    if (round == 0) client = MeshClientFactory::GetClient();
    // The first call over a new bus fails; in round 0 only when an earlier test of this program
    // took its bus away.
    const std::string lost = orva::test::ThrownText<Exception::MeshClientException>([&] { client->GetNodeIds(); });
    EXPECT_TRUE(round == 0 || !lost.empty()) << "round " << round;
    const auto ids = client->GetNodeIds();
    EXPECT_EQ(ids.first, ERROR_CODE::NONE) << "round " << round;
    EXPECT_EQ(ids.second.size(), 4u) << "round " << round;
    if (round == 1) {
      descriptors = Entries("/proc/self/fd");
      threads = Entries("/proc/self/task");
    }
    ::kill(daemon, SIGKILL);
    orva::platform::WaitProgram(daemon);
    bus.Kill();
  }
  EXPECT_LE(Entries("/proc/self/fd"), descriptors);
  EXPECT_LE(Entries("/proc/self/task"), threads);
}

}  // namespace
