// Adds a node found by a scan and follows its setup to the end, as a setup wizard would.
//   ./follow_setup MAC SERIAL NAME
#include <chrono>
#include <cstdio>
#include <exception>
#include <thread>

#include <orvamesh/orvamesh.h>

int main(int argc, char** argv) {
  using namespace ORVA::MESH::SDK;
  if (argc != 4) {
    std::fprintf(stderr, "Usage: follow_setup MAC SERIAL NAME\n");
    return 2;
  }
  try {
    auto client = Client::MeshClientFactory::GetClient();
    Client::SetupNodeInfo info;
    info.mac = Mac(argv[1]);
    info.serial = argv[2];
    info.link = Client::BACKHAUL_TYPE::ETHERNET;
    info.name = argv[3];
    if (const auto code = client->StartSetupNode(info); code != Client::ERROR_CODE::NONE) {
      std::fprintf(stderr, "the daemon refused: %s\n", Client::ErrorCodeToSemanticString(code));
      return 1;
    }
    for (;;) {
      const auto [code, progress] = client->GetSetupNodeProgress();
      if (code != Client::ERROR_CODE::NONE) return 1;
      std::printf("%-12s %3u%%\n", Client::SetupStageToString(progress.stage), progress.percent);
      if (progress.stage == Client::SETUP_STAGE::DONE) return 0;
      if (progress.stage == Client::SETUP_STAGE::FAILED) return 1;
      std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
  } catch (const std::exception& e) {
    std::fprintf(stderr, "cannot reach the mesh daemon: %s\n", e.what());
    return 3;
  }
}
