// A daemon's reply is input too: whatever bytes arrive as an "ay" payload, the library's own
// archive reader either refuses them with an exception or decodes a record, and when it
// decodes one, the Boost archive the contract describes decodes the same record from the same
// bytes. The first byte picks the record type.
#include <glib.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <tuple>

#include "dbus/payload_iarchive.h"
#include "orvamesh/client/mesh_records.h"
#include "orvamesh/dbus/mesh_gdbus_serialize.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Client;

using Records = std::tuple<ScanResult, MeshSystemStatus, SetupNodeProgress, SetupNodeInfo, WPSResultInfo,
                           JoinNetworkInfo, JoinReturnInfo, SystemUtilizationMap, DevicesMap, NetworkInfoMap,
                           NodeInfoMap, NodeIdList, NodeMACInfoMap, RepeaterAccessInfoMap, NodeCapability,
                           SystemUpdateProgress, LedBlinkingMap, LedConfigMap, CustomTopologyScanResultMap,
                           CustomTopologyListMap, CustomTopologySetMap>;

template <typename T>
void Check(const Dbus::GVariantWrapper& payload) {
  T ours;
  try {
    ours = Dbus::Detail::DecodePayload<T>(payload);
  } catch (const std::exception&) {
    return;
  }
  T theirs;
  try {
    theirs = Dbus::GVariantToObject<T>(payload);
  } catch (const std::exception&) {
    std::abort();  // ours read a record from bytes the reference refuses
  }
  if (!(ours == theirs)) std::abort();
}

template <std::size_t... I>
void CheckOne(std::size_t which, const Dbus::GVariantWrapper& payload, std::index_sequence<I...>) {
  ((which == I ? Check<std::tuple_element_t<I, Records>>(payload) : void()), ...);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  constexpr std::size_t kCount = std::tuple_size_v<Records>;
  const Dbus::GVariantWrapper payload(
      g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, data + 1, size - 1, sizeof(uint8_t)));
  CheckOne(data[0] % kCount, payload, std::make_index_sequence<kCount>{});
  return 0;
}
