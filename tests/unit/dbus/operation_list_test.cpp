#include <gio/gio.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <type_traits>

#include "orvamesh/client/mesh_operations.h"

namespace {
using namespace ORVA::MESH::SDK;

// The D-Bus signature a C++ parameter or result travels as.
template <typename T>
std::string Wire() {
  if constexpr (std::is_same_v<T, Client::NodeId>) return "u";
  else if constexpr (std::is_same_v<T, bool>) return "b";
  else if constexpr (std::is_same_v<T, std::string>) return "s";
  else return "ay";  // records and JSON text
}

template <typename Function>
struct Signature;

template <typename Return, typename... Parameters>
struct Signature<Return(Parameters...)> {
  static std::string In() { return (std::string() + ... + Wire<std::decay_t<Parameters>>()); }
  static std::string Out() {
    if constexpr (std::is_same_v<Return, Client::ERROR_CODE>) return "";
    else return Wire<typename Return::second_type>();
  }
};

using Signatures = std::map<std::string, std::pair<std::string, std::string>>;  // method -> (in, out)

Signatures FromTheList() {
#define ORVA_REMOTE(Return, Operation, Parameters, Arguments, DBusMethod, ...) \
  {#DBusMethod, {Signature<Return Parameters>::In(), Signature<Return Parameters>::Out()}},
  return {ORVA_MESH_DBUS_METHODS(ORVA_REMOTE)};
#undef ORVA_REMOTE
}

Signatures FromTheInterfaceFile() {
  gchar* xml = nullptr;
  GError* error = nullptr;
  EXPECT_TRUE(g_file_get_contents(ORVAMESH_SOURCE_DIR "/dbus/com.velanto.mesh.xml", &xml, nullptr, &error));
  GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(xml, &error);
  g_free(xml);
  EXPECT_NE(node, nullptr) << (error != nullptr ? error->message : "");
  Signatures found;
  if (node == nullptr) return found;
  for (GDBusMethodInfo** method = node->interfaces[0]->methods; *method != nullptr; ++method) {
    auto& [in, out] = found[(*method)->name];
    for (GDBusArgInfo** arg = (*method)->in_args; arg != nullptr && *arg != nullptr; ++arg) in += (*arg)->signature;
    for (GDBusArgInfo** arg = (*method)->out_args; arg != nullptr && *arg != nullptr; ++arg) out += (*arg)->signature;
  }
  g_dbus_node_info_unref(node);
  return found;
}

// The interface file generates the proxy and the skeleton; the operation list generates the
// client, its forwarders and the simulator's handler table. A method added to one and not the
// other, or with other arguments, fails here.
TEST(OperationList, NamesEveryMethodOfTheInterfaceWithItsArguments) {
  EXPECT_EQ(FromTheList(), FromTheInterfaceFile());
}

}  // namespace
