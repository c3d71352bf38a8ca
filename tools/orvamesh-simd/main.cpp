// orvamesh-simd: a mesh daemon for desks and CI. It owns "com.velanto.mesh" on the system bus
// (or on the bus given with --bus), serves the whole mesh interface with the library's
// generated skeleton over an in-memory mesh read from a JSON file, and lets scans, node
// setups, removals and system updates take their time: they advance one step per tick of a
// timer on the main loop, so clients see progress and conflicting calls are refused.
#include <glib-unix.h>
#include <json/reader.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <string>

#include "../common/front_door.h"
#include "orvamesh/client/error_code.h"
#include "orvamesh/dbus/gdbus_common.h"
#include "orvamesh/dbus/mesh_dbus_codegen.h"
#include "orvamesh/dbus/mesh_gdbus_client.h"
#include "orvamesh/dbus/mesh_gdbus_error_code.h"
#include "orvamesh/dbus/mesh_gdbus_serialize.h"
#include "sim_mesh.h"

namespace {

using namespace ORVA::MESH::SDK;
using orvasim::SimMesh;

// The example mesh as installed beside this program (PREFIX/bin -> PREFIX/share/orvamesh), so the
// help names a file that exists whatever the prefix or package.
std::string InstalledExampleMesh() {
  char self[4096];
  const ssize_t n = ::readlink("/proc/self/exe", self, sizeof self - 1);
  if (n <= 0) return "PREFIX/share/orvamesh/mesh.json";
  std::string path(self, static_cast<size_t>(n));
  path.erase(path.find_last_of('/'));
  path.erase(path.find_last_of('/') + 1);
  return path + "share/orvamesh/mesh.json";
}

std::string UsageText(const std::string& exampleMesh = InstalledExampleMesh()) {
  return "Usage: orvamesh-simd [--bus ADDRESS] [--tick-ms N] MESH_FILE\n"
         "\n"
         "Serves the mesh interface com.velanto.mesh at /com/velanto/mesh/v1 over the mesh described\n"
         "in MESH_FILE (JSON), until SIGINT or SIGTERM. An example mesh is installed as\n" +
         exampleMesh +
         "\n"
         "(examples/mesh.json in the source tree).\n"
         "\n"
         "  --bus ADDRESS  a D-Bus address (unix:path=...) instead of the system bus\n"
         "  --tick-ms N    length of one step of a long operation, 1..60000 ms (default 200)\n"
         "  --help         this text\n"
         "\n"
         "Exit status: 0 after SIGINT/SIGTERM, 1 when the bus fails or the name is taken,\n"
         "2 for a bad command line or mesh file.\n";
}

struct Daemon {
  std::unique_ptr<SimMesh> mesh;
  OrvaMesh* skeleton = nullptr;
  GDBusConnection* connection = nullptr;
  GMainLoop* loop = nullptr;
  GQuark domain = 0;
  guint tickMs = 200;
  guint tickSource = 0;
  int exitStatus = 0;
};

Daemon* g_daemon = nullptr;

// --- replies ------------------------------------------------------------------------------

void Refuse(GDBusMethodInvocation* invocation, Client::ERROR_CODE code) {
  g_dbus_method_invocation_return_error_literal(
      invocation, g_daemon->domain, Dbus::MeshGDBusCommon::MarshalErrorCodeToGInt(Dbus::FromClientErrorCode(code)),
      Client::ErrorCodeToSemanticString(code));
}

void Reply(GDBusMethodInvocation* invocation, Client::ERROR_CODE code) {
  if (code != Client::ERROR_CODE::NONE) return Refuse(invocation, code);
  g_dbus_method_invocation_return_value(invocation, nullptr);
}

template <typename T>
void ReplyBytes(GDBusMethodInvocation* invocation, const T& value) {
  auto bytes = Dbus::ObjectToGVariant(value);
  g_dbus_method_invocation_return_value(invocation, g_variant_new("(@ay)", bytes.GetGVariant()));
}

template <typename T>
void ReplyBytes(GDBusMethodInvocation* invocation, const Client::Result<T>& result) {
  if (result.first != Client::ERROR_CODE::NONE) return Refuse(invocation, result.first);
  ReplyBytes(invocation, result.second);
}

void ReplyBool(GDBusMethodInvocation* invocation, bool value) {
  g_dbus_method_invocation_return_value(invocation, g_variant_new("(b)", value ? TRUE : FALSE));
}

// --- arguments ----------------------------------------------------------------------------

GVariant* Argument(GDBusMethodInvocation* invocation, gsize index) {
  return g_variant_get_child_value(g_dbus_method_invocation_get_parameters(invocation), index);
}

template <typename T>
T BytesArgument(GDBusMethodInvocation* invocation) {
  return Dbus::GVariantToObject<T>(Dbus::GVariantWrapper(Argument(invocation, 0)));
}

std::string TextArgument(GDBusMethodInvocation* invocation) {
  Dbus::GVariantWrapper bytes(Argument(invocation, 0));
  return Dbus::GVariantAYUnwrapper(bytes).Unwrap();
}

guint32 NodeIdArgument(GDBusMethodInvocation* invocation) {
  GVariant* value = Argument(invocation, 0);
  const guint32 id = g_variant_get_uint32(value);
  g_variant_unref(value);
  return id;
}

bool BoolArgument(GDBusMethodInvocation* invocation) {
  GVariant* value = Argument(invocation, 0);
  const bool on = g_variant_get_boolean(value) != FALSE;
  g_variant_unref(value);
  return on;
}

// --- the interface ------------------------------------------------------------------------

using I = GDBusMethodInvocation*;

// One handler per D-Bus method of the operation list; a method without its handler does not build.
void HandleStartScan(SimMesh& m, I i) { Reply(i, m.StartScan()); }
void HandleStopScan(SimMesh& m, I i) { Reply(i, m.StopScan()); }
void HandleSetNodeName(SimMesh& m, I i) {
  GVariant* name = Argument(i, 1);
  const std::string text = g_variant_get_string(name, nullptr);
  g_variant_unref(name);
  Reply(i, m.SetNodeName(NodeIdArgument(i), text));
}
void HandleGetNodeName(SimMesh& m, I i) {
  auto [code, name] = m.GetNodeName(NodeIdArgument(i));
  if (code != Client::ERROR_CODE::NONE) return Refuse(i, code);
  g_dbus_method_invocation_return_value(i, g_variant_new("(s)", name.c_str()));
}
void HandleGetScanResult(SimMesh& m, I i) { ReplyBytes(i, m.GetScanResult()); }
void HandleGetMeshSystemStatus(SimMesh& m, I i) { ReplyBytes(i, m.GetMeshSystemStatus()); }
void HandleRemoveNodes(SimMesh& m, I i) { Reply(i, m.RemoveNodes(BytesArgument<Client::NodeIdList>(i))); }
void HandleGetSetupNodeProgress(SimMesh& m, I i) { ReplyBytes(i, m.GetSetupNodeProgress()); }
void HandleStopSetupNode(SimMesh& m, I i) { Reply(i, m.StopSetupNode()); }
void HandleStartSetupNode(SimMesh& m, I i) { Reply(i, m.StartSetupNode(BytesArgument<Client::SetupNodeInfo>(i))); }
void HandleNoticeWPSResult(SimMesh& m, I i) { Reply(i, m.NoticeWPSResult(BytesArgument<Client::WPSResultInfo>(i))); }
void HandleWirelessJoinNetwork(SimMesh& m, I i) { ReplyBytes(i, m.JoinNetwork(BytesArgument<Client::JoinNetworkInfo>(i))); }
void HandleEthernetJoinNetwork(SimMesh& m, I i) { ReplyBytes(i, m.JoinNetwork(BytesArgument<Client::JoinNetworkInfo>(i))); }
void HandleNotifyJoinReturnSent(SimMesh&, I i) { Reply(i, Client::ERROR_CODE::NONE); }
void HandleRebootNode(SimMesh& m, I i) { Reply(i, m.RebootNode(NodeIdArgument(i))); }
void HandleGetDataSystemUtilization(SimMesh& m, I i) { ReplyBytes(i, m.GetDataSystemUtilization()); }
void HandleGetDataDevices(SimMesh& m, I i) { ReplyBytes(i, m.GetDataDevices()); }
void HandleGetDataNetworkInfo(SimMesh& m, I i) { ReplyBytes(i, m.GetDataNetworkInfo()); }
void HandleGetDataMeshTopology(SimMesh& m, I i) { ReplyBytes(i, m.GetDataMeshTopology()); }
void HandleGetNodeIds(SimMesh& m, I i) { ReplyBytes(i, m.GetNodeIds()); }
void HandleGetNodeInfos(SimMesh& m, I i) { ReplyBytes(i, m.GetNodeInfos()); }
void HandleGetRepeaterMacs(SimMesh& m, I i) { ReplyBytes(i, m.GetRepeaterMacs()); }
void HandleGetRepeaterAccessInfos(SimMesh& m, I i) { ReplyBytes(i, m.GetRepeaterAccessInfos()); }
void HandleBeforeTopologyChange(SimMesh& m, I i) { Reply(i, m.TopologyChange(TextArgument(i), true)); }
void HandleAfterTopologyChange(SimMesh& m, I i) { Reply(i, m.TopologyChange(TextArgument(i), false)); }
void HandleIgmpSnoopingPreChange(SimMesh&, I i) { Reply(i, Client::ERROR_CODE::NONE); }
void HandleIgmpSnoopingPostChange(SimMesh&, I i) { Reply(i, Client::ERROR_CODE::NONE); }
void HandleStartSystemUpdate(SimMesh& m, I i) { Reply(i, m.StartSystemUpdate()); }
void HandleGetSystemUpdateProgress(SimMesh& m, I i) { ReplyBytes(i, m.GetSystemUpdateProgress(false)); }
void HandleGetSystemUpdateProgressV2(SimMesh& m, I i) { ReplyBytes(i, m.GetSystemUpdateProgress(true)); }
void HandleSwitchDebugLogLevel(SimMesh& m, I i) {
  m.debugLogLevel = BoolArgument(i);
  m.MarkChanged();
  Reply(i, Client::ERROR_CODE::NONE);
}
void HandleGetDebugLogLevel(SimMesh& m, I i) { ReplyBool(i, m.debugLogLevel); }
void HandleGetRegionLock(SimMesh& m, I i) { ReplyBool(i, m.regionLock); }
void HandleGetLedBlinkings(SimMesh& m, I i) { ReplyBytes(i, m.GetLedBlinkings(BytesArgument<Client::NodeIdList>(i))); }
void HandleGetLedConfigs(SimMesh& m, I i) { ReplyBytes(i, m.GetLedConfigs(BytesArgument<Client::NodeIdList>(i))); }
void HandleSetLedBlinkings(SimMesh& m, I i) { Reply(i, m.SetLedBlinkings(BytesArgument<Client::LedBlinkingMap>(i))); }
void HandleSetLedConfigs(SimMesh& m, I i) { Reply(i, m.SetLedConfigs(BytesArgument<Client::LedConfigMap>(i))); }
void HandleGetIeee1905ToBroadcast(SimMesh& m, I i) { ReplyBool(i, m.ieee1905ToBroadcast); }
void HandleSetIeee1905ToBroadcast(SimMesh& m, I i) {
  m.ieee1905ToBroadcast = BoolArgument(i);
  m.MarkChanged();
  Reply(i, Client::ERROR_CODE::NONE);
}
void HandleGet5GBackhaulSwapped(SimMesh& m, I i) { ReplyBool(i, m.backhaul5GSwapped); }
void HandleSet5GBackhaulSwapped(SimMesh& m, I i) {
  m.backhaul5GSwapped = BoolArgument(i);
  m.MarkChanged();
  Reply(i, Client::ERROR_CODE::NONE);
}
void HandleGetNodeCapabilities(SimMesh& m, I i) { ReplyBytes(i, m.GetNodeCapabilities()); }
void HandlePrepareRestore(SimMesh& m, I i) { Reply(i, m.PrepareRestore()); }
void HandleTriggerSynchronize(SimMesh&, I i) { Reply(i, Client::ERROR_CODE::NONE); }
void HandleTriggerBackhaulStatusUpdate(SimMesh&, I i) { Reply(i, Client::ERROR_CODE::NONE); }
void HandleTriggerCustomTopologyScan(SimMesh& m, I i) { Reply(i, m.TriggerCustomTopologyScan(BytesArgument<Client::NodeIdList>(i))); }
void HandleGetCustomTopologyScanResult(SimMesh& m, I i) { ReplyBytes(i, m.GetCustomTopologyScanResult()); }
void HandleListCustomTopology(SimMesh& m, I i) { ReplyBytes(i, m.ListCustomTopology()); }
void HandleSetCustomTopologyConfig(SimMesh& m, I i) {
  Reply(i, m.SetCustomTopologyConfig(BytesArgument<Client::CustomTopologySetMap>(i)));
}
void HandleUserConfirmWifiAdjust(SimMesh&, I i) { Reply(i, Client::ERROR_CODE::NONE); }

using Handler = void (*)(SimMesh&, GDBusMethodInvocation*);

const std::map<std::string, Handler>& Handlers() {
#define ORVA_HANDLER(Return, Operation, Parameters, Arguments, DBusMethod, ...) {#DBusMethod, &Handle##DBusMethod},
  static const std::map<std::string, Handler> handlers = {ORVA_MESH_DBUS_METHODS(ORVA_HANDLER)};
#undef ORVA_HANDLER
  return handlers;
}

void AfterChange() {
  if (g_daemon->mesh->TakeChanged()) orva_mesh_emit_dummy_signal(g_daemon->skeleton);
}

gboolean OnTick(gpointer) {
  g_daemon->mesh->Tick();
  AfterChange();
  if (g_daemon->mesh->Busy()) return G_SOURCE_CONTINUE;
  g_daemon->tickSource = 0;
  return G_SOURCE_REMOVE;
}

// The timer runs only while there is work, so an idle daemon never wakes up.
void EnsureTicking() {
  if (g_daemon->mesh->Busy() && g_daemon->tickSource == 0) {
    g_daemon->tickSource = g_timeout_add(g_daemon->tickMs, &OnTick, nullptr);
  }
}

void Handle(GDBusMethodInvocation* invocation) {
  const std::string method = g_dbus_method_invocation_get_method_name(invocation);
  const auto& handlers = Handlers();
  auto it = handlers.find(method);
  if (it == handlers.end()) {
    g_dbus_method_invocation_return_dbus_error(invocation, "org.freedesktop.DBus.Error.UnknownMethod",
                                               ("No such method: " + method).c_str());
    return;
  }
  try {
    it->second(*g_daemon->mesh, invocation);
  } catch (const std::exception& e) {
    // A payload that does not decode into the method's record: the caller's fault.
    g_dbus_method_invocation_return_dbus_error(invocation, "org.freedesktop.DBus.Error.InvalidArgs",
                                               ("Undecodable argument of " + method + ": " + e.what()).c_str());
  }
  AfterChange();
  EnsureTicking();
}

// The generated skeleton emits one "handle-<method>" signal per call, each with its own
// argument list; one closure serves them all, since the invocation carries everything.
void Marshal(GClosure*, GValue* result, guint, const GValue* params, gpointer, gpointer) {
  Handle(G_DBUS_METHOD_INVOCATION(g_value_get_object(&params[1])));
  if (result != nullptr) g_value_set_boolean(result, TRUE);
}

void ConnectHandlers(OrvaMesh* skeleton) {
  guint count = 0;
  guint* ids = g_signal_list_ids(ORVA_TYPE_MESH, &count);
  for (guint i = 0; i < count; ++i) {
    const char* name = g_signal_name(ids[i]);
    if (g_str_has_prefix(name, "handle-")) {
      GClosure* closure = g_closure_new_simple(sizeof(GClosure), nullptr);
      g_closure_set_marshal(closure, &Marshal);
      g_signal_connect_closure(skeleton, name, closure, FALSE);
    }
  }
  g_free(ids);
}

// --- start-up -----------------------------------------------------------------------------

std::unique_ptr<SimMesh> LoadMesh(const std::string& path, std::chrono::milliseconds step) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot read " + path + ": " + std::strerror(errno));
  Json::Value root;
  Json::CharReaderBuilder builder;
  std::string errors;
  if (!Json::parseFromStream(builder, in, &root, &errors)) {
    throw std::runtime_error(path + " is not valid JSON: " + errors);
  }
  try {
    return std::make_unique<SimMesh>(root, step);
  } catch (const std::exception& e) {
    throw std::runtime_error(path + ": " + e.what());
  }
}

void OnNameAcquired(GDBusConnection*, const gchar* name, gpointer) {
  std::printf("orvamesh-simd: serving %s at %s with %zu nodes\n", name, Dbus::kMeshObjectPath,
              g_daemon->mesh->GetNodeIds().size());
  std::fflush(stdout);
}

void OnNameLost(GDBusConnection* connection, const gchar* name, gpointer) {
  std::fprintf(stderr, "orvamesh-simd: %s\n",
               connection == nullptr ? "lost the bus connection"
                                     : (std::string("cannot own ") + name +
                                        " (another daemon has it, or the bus policy forbids it)").c_str());
  g_daemon->exitStatus = 1;
  g_main_loop_quit(g_daemon->loop);
}

void OnClosed(GDBusConnection*, gboolean, GError*, gpointer) {
  std::fprintf(stderr, "orvamesh-simd: the bus closed the connection\n");
  g_daemon->exitStatus = 1;
  g_main_loop_quit(g_daemon->loop);
}

gboolean OnStopSignal(gpointer) {
  g_main_loop_quit(g_daemon->loop);
  return G_SOURCE_CONTINUE;
}

GDBusConnection* Connect(const std::string& address, GError** error) {
  if (address.empty()) return g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, error);
  return g_dbus_connection_new_for_address_sync(
      address.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, error);
}

int Usage(const std::string& problem) {
  std::fprintf(stderr, "orvamesh-simd: %s\n\n%s", problem.c_str(), UsageText().c_str());
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  std::string address;
  std::string meshFile;
  long tickMs = 200;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--help" || arg == "-h") {
      std::fputs(UsageText().c_str(), stdout);
      return 0;
    }
    if (arg == "--version") {
      orvatools::PrintVersion("orvamesh-simd");
      return 0;
    }
    if (i == 1 && orvatools::AnswerManual(argc, argv, [] {
                   return orvatools::ManualFromUsage("orvamesh-simd", "a simulated mesh daemon",
                                                     UsageText("PREFIX/share/orvamesh/mesh.json"));
                 })) {
      return 0;
    } else if (arg == "--bus" || arg == "--tick-ms") {
      if (i + 1 >= argc) return Usage(arg + " needs a value");
      const std::string value = argv[++i];
      if (arg == "--bus") {
        address = value;
      } else {
        char* end = nullptr;
        errno = 0;
        tickMs = std::strtol(value.c_str(), &end, 10);
        if (value.empty() || *end != '\0' || errno != 0 || tickMs < 1 || tickMs > 60000) {
          return Usage("--tick-ms needs a number of milliseconds from 1 to 60000, not '" + value + "'");
        }
      }
    } else if (!arg.empty() && arg[0] == '-') {
      return Usage("unknown option " + arg);
    } else if (meshFile.empty()) {
      meshFile = arg;
    } else {
      return Usage("only one mesh file, please");
    }
  }
  if (meshFile.empty()) return Usage("no mesh file given");

  Daemon daemon;
  g_daemon = &daemon;
  daemon.tickMs = static_cast<guint>(tickMs);
  try {
    daemon.mesh = LoadMesh(meshFile, std::chrono::milliseconds(tickMs));
  } catch (const std::exception& e) {
    std::fprintf(stderr, "orvamesh-simd: %s\n", e.what());
    return 2;
  }

  daemon.domain = Dbus::GDBusCommon::InitGDBusQuark(Dbus::kMeshObjectPath,
                                                    Dbus::MeshGDBusCommon::ErrorCodeToErrorEntry());
  GError* error = nullptr;
  daemon.connection = Connect(address, &error);
  if (daemon.connection == nullptr) {
    std::fprintf(stderr, "orvamesh-simd: cannot connect to the %s: %s\n",
                 address.empty() ? "system bus" : address.c_str(), error->message);
    g_error_free(error);
    return 1;
  }
  g_dbus_connection_set_exit_on_close(daemon.connection, FALSE);
  daemon.loop = g_main_loop_new(nullptr, FALSE);
  g_signal_connect(daemon.connection, "closed", G_CALLBACK(&OnClosed), nullptr);

  daemon.skeleton = orva_mesh_skeleton_new();
  ConnectHandlers(daemon.skeleton);
  if (!g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(daemon.skeleton), daemon.connection,
                                        Dbus::kMeshObjectPath, &error)) {
    std::fprintf(stderr, "orvamesh-simd: cannot export the interface: %s\n", error->message);
    g_error_free(error);
    return 1;
  }
  const guint owner = g_bus_own_name_on_connection(daemon.connection, Dbus::kMeshBusName,
                                                   G_BUS_NAME_OWNER_FLAGS_DO_NOT_QUEUE, &OnNameAcquired,
                                                   &OnNameLost, nullptr, nullptr);
  g_unix_signal_add(SIGINT, &OnStopSignal, nullptr);
  g_unix_signal_add(SIGTERM, &OnStopSignal, nullptr);

  g_main_loop_run(daemon.loop);

  g_bus_unown_name(owner);
  if (daemon.tickSource != 0) g_source_remove(daemon.tickSource);
  g_dbus_interface_skeleton_unexport(G_DBUS_INTERFACE_SKELETON(daemon.skeleton));
  g_object_unref(daemon.skeleton);
  g_dbus_connection_flush_sync(daemon.connection, nullptr, nullptr);
  g_object_unref(daemon.connection);
  g_main_loop_unref(daemon.loop);
  g_daemon = nullptr;
  return daemon.exitStatus;
}
