// Payloads cross the bus as native binary archives, so a management program built for one
// architecture and a daemon built for another agree only if both write the same bytes. Every
// record's archive is committed under tests/data/payloads (written by an x86-64 build); each
// build must write exactly those bytes and read them back. CI also swaps live archives between
// the x86-64 and aarch64 builds:
//   ORVAMESH_PAYLOAD_WRITE=dir  this build also writes its archives to dir
//   ORVAMESH_PAYLOAD_DIR=dir    read the archives from dir instead of the committed ones
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>

#include "dbus/payload_iarchive.h"
#include "orvamesh/dbus/mesh_gdbus_serialize.h"
#include "support/mesh_samples.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Client;
using namespace ORVA::MESH::SDK::Dbus;
namespace sample = orva::test::sample;

struct Golden {
  std::string name;
  std::function<std::string()> encode;
  // Both readers (the public one and the client's) must give back the sample.
  std::function<bool(const std::string&)> decodesToSample;
};

template <typename T>
Golden Entry(const std::string& name, T value) {
  return {name, [value] { return GVariantAYUnwrapper(ObjectToGVariant(value)).Unwrap(); },
          [value](const std::string& bytes) {
            const GVariantWrapper payload = BytesToGVariant(bytes);
            return GVariantToObject<T>(payload) == value && Dbus::Detail::DecodePayload<T>(payload) == value;
          }};
}

// Values with every field away from its default and at the edges of its width, so a byte of
// difference in any field's encoding shows.
std::vector<Golden> Table() {
  const Mac a = sample::MacNo(0xa1), b = sample::MacNo(0xb2);
  NodeInfo node = sample::Node(2);
  node.backhaulQuality = -1;
  node.uplink = 0xfffffffe;
  return {
      Entry("node_info_map", NodeInfoMap{{1, sample::Node(1)}, {2, node}}),
      Entry("scan_result", sample::Scan()),
      Entry("mesh_system_status", MeshSystemStatus{true, false, true, false, true, 0xffffffffu, 7}),
      Entry("setup_node_progress", sample::Setup()),
      Entry("setup_node_info", SetupNodeInfo{a, "SN7", BACKHAUL_TYPE::WIFI_6G, "Kitchen \xc3\xa9"}),
      Entry("wps_result_info", WPSResultInfo{true, b, "wlan1"}),
      Entry("join_network_info", sample::Join()),
      Entry("join_return_info", JoinReturnInfo{0x80000001u, "mesh-1", std::string("\0cred\xff", 6), "fe80::1%br0"}),
      Entry("system_utilization_map",
            SystemUtilizationMap{{"1", {255, 0xffffffffffffffffull, 1ull << 40, 0xfffffffeu}}, {"2", {}}}),
      Entry("devices_map", DevicesMap{{"1", {{a, "tv", "192.168.1.20", "eth1", false, 0},
                                            {b, "phone", "192.168.1.21", "wlan0", true, -87}}}}),
      Entry("network_info_map", NetworkInfoMap{{"wan", {"203.0.113.9", "255.255.255.0", "203.0.113.1",
                                                        {"1.1.1.1", "9.9.9.9"}, {"2001:db8::9"}}}}),
      Entry("mesh_topology_map", MeshTopologyMap{{"wired", {{a, b}, {Mac("bogus"), a}}}, {"wifi", {}}}),
      Entry("node_mac_info_map", NodeMACInfoMap{{3, {a, b, sample::MacNo(3), sample::MacNo(4)}}}),
      Entry("repeater_access_info_map", RepeaterAccessInfoMap{{3, {"fe80::3", "br0", "root", 65535}}}),
      Entry("led_blinking_map", LedBlinkingMap{{1, true}, {2, false}}),
      Entry("led_config_map", LedConfigMap{{1, sample::Led(true)}, {2, sample::Led(false)}}),
      Entry("node_capability_list", NodeCapabilityList{{1, {"ledSchedule", "customTopology"}}, {2, {}}}),
      Entry("system_update_progress", sample::Update()),
      Entry("custom_topology_scan_result_map",
            CustomTopologyScanResultMap{{2, {true, {{1, 100}, {3, -2147483647 - 1}}}}}),
      Entry("custom_topology_list_map", CustomTopologyListMap{{2, {1, BACKHAUL_TYPE::ETHERNET, true}}}),
      Entry("custom_topology_set_map", CustomTopologySetMap{{2, {3, BACKHAUL_TYPE::WIFI_5G}}}),
      Entry("node_id_list", NodeIdList{1, 2, 0xffffffffu}),
      Entry("string", std::string(300, 'x')),
      Entry("error_code", ERROR_CODE::SETUP_REJECT_CAP_NEED_UPGRADE),
  };
}

std::string CommittedDir() { return ORVAMESH_SOURCE_DIR "/tests/data/payloads"; }

bool ReadFile(const std::string& path, std::string& bytes) {
  std::ifstream in(path, std::ios::binary);
  bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return static_cast<bool>(in);
}

TEST(CrossArchitecturePayloads, EveryRecordEncodesToTheCommittedBytes) {
  const char* writeDir = std::getenv("ORVAMESH_PAYLOAD_WRITE");
  for (const Golden& golden : Table()) {
    const std::string ours = golden.encode();
    if (writeDir != nullptr) {
      std::ofstream(std::string(writeDir) + "/" + golden.name + ".bin", std::ios::binary) << ours;
    }
    std::string committed;
    ASSERT_TRUE(ReadFile(CommittedDir() + "/" + golden.name + ".bin", committed)) << golden.name;
    const auto differ = std::mismatch(ours.begin(), ours.end(), committed.begin(), committed.end()).first;
    EXPECT_TRUE(ours == committed) << golden.name << ": first difference at byte " << differ - ours.begin() << " of "
                                   << ours.size() << " (ours) and " << committed.size() << " (committed)";
  }
}

TEST(CrossArchitecturePayloads, EveryArchiveDecodesToItsRecord) {
  const char* readDir = std::getenv("ORVAMESH_PAYLOAD_DIR");
  const std::string dir = readDir != nullptr ? readDir : CommittedDir();
  for (const Golden& golden : Table()) {
    std::string bytes;
    ASSERT_TRUE(ReadFile(dir + "/" + golden.name + ".bin", bytes)) << dir << "/" << golden.name << ".bin";
    EXPECT_TRUE(golden.decodesToSample(bytes)) << golden.name << " from " << dir;
  }
}

}  // namespace
