#pragma once
// Filled-in mesh records for tests and benchmarks: every field away from its default, so a
// field lost or swapped on the way shows up in a comparison.
#include <cstdio>
#include <string>

#include "orvamesh/client/mesh_records.h"

namespace orva::test {

namespace sample {
using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Client;

inline Mac MacNo(unsigned n) {
  char text[18];
  std::snprintf(text, sizeof(text), "00:24:e7:%02x:%02x:%02x", (n >> 16) & 0xff, (n >> 8) & 0xff, n & 0xff);
  return Mac(text);
}

inline NodeInfo Node(NodeId id) {
  NodeInfo node;
  node.id = id;
  node.name = "Node " + std::to_string(id);
  node.role = id == 1 ? NODE_ROLE::CAP : NODE_ROLE::RE;
  node.modelUnique = "QRX-5400";
  node.serial = "SN" + std::to_string(100000 + id);
  node.firmwareVersion = "5.2.0." + std::to_string(id % 7);
  node.mac = MacNo(id);
  node.addresses = {"192.168.1." + std::to_string(id % 250 + 2), "fe80::224:e7ff:fe00:" + std::to_string(id)};
  node.uplink = id == 1 ? 0 : 1;
  node.backhaul = id == 1 ? BACKHAUL_TYPE::NONE : BACKHAUL_TYPE::WIFI_5G;
  node.backhaulQuality = static_cast<int32_t>(id % 101);
  node.online = id % 3 != 0;
  return node;
}

inline NodeInfoMap Nodes(unsigned count) {
  NodeInfoMap nodes;
  for (NodeId id = 1; id <= count; ++id) nodes[id] = Node(id);
  return nodes;
}

inline ScanResult Scan() {
  ScanCandidate candidate{MacNo(0x10), "QRX-5400", "SN9", "5.1.9", BACKHAUL_TYPE::ETHERNET, -41, true};
  ScanCandidate other{MacNo(0x11), "QRX-3200", "SN10", "4.0.0", BACKHAUL_TYPE::WIFI_2G, -70, false};
  return ScanResult{true, {candidate, other}};
}

inline SetupNodeProgress Setup() {
  return SetupNodeProgress{SETUP_STAGE::JOINING, 40, MacNo(0x10), 5, ERROR_CODE::NODE_ALREADY_EXIST};
}

inline SystemUpdateProgress Update() {
  return SystemUpdateProgress{UPDATE_STAGE::DOWNLOADING, 33, "5.3.0", {{1, 100}, {2, 0}},
                              ERROR_CODE::SERVER_INTERNAL_ERROR};
}

inline JoinNetworkInfo Join() { return JoinNetworkInfo{MacNo(0x20), "QRX-5400", "SN20", "5.2.0", "pk=="}; }

inline LedConfig Led(bool blinking) {
  LedConfig config;
  config.blinking = blinking;
  config.mode = LED_MODE::SCHEDULE;
  config.schedule = std::string(168, blinking ? '1' : '0');
  return config;
}

}  // namespace sample
}  // namespace orva::test
