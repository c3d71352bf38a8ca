// Lists the mesh's nodes with their names, as a management program's first screen would.
// Against the simulator: DBUS_SYSTEM_BUS_ADDRESS=unix:path=... ./list_nodes
#include <cstdio>
#include <exception>

#include <orvamesh/orvamesh.h>

int main() {
  using namespace ORVA::MESH::SDK;
  try {
    auto client = Client::MeshClientFactory::GetClient();
    const auto [code, nodes] = client->GetNodeInfos();
    if (code != Client::ERROR_CODE::NONE) {
      std::fprintf(stderr, "the daemon refused: %s\n", Client::ErrorCodeToSemanticString(code));
      return 1;
    }
    for (const auto& [id, node] : nodes) {
      std::printf("%3u  %-17s  %-10s  %-12s  %s\n", id, node.mac.ToString().c_str(),
                  Client::NodeRoleToString(node.role), node.online ? "online" : "offline", node.name.c_str());
    }
    return 0;
  } catch (const std::exception& e) {
    // No bus, no daemon: the exception says where; its nested cause says why.
    std::fprintf(stderr, "cannot reach the mesh daemon: %s\n", e.what());
    return 3;
  }
}
