#pragma once
// The typed client of the mesh daemon's D-Bus interface: one operation per method, named like
// the method, over the generated proxy. Each returns the daemon's answer as a client error
// code (NONE, or the refusal the daemon sent) and, for methods with a result, the decoded
// value, meaningful only with NONE. Faults (no daemon, a broken bus, an undecodable payload)
// are exceptions.
//
// The JSON payloads of the topology-change methods travel as the value's styled text
// (Json::Value::toStyledString), not as an archive.
#include <gio/gio.h>
#include <json/value.h>

#include <functional>
#include <string>

#include "orvamesh/client/error_code.h"
#include "orvamesh/client/mesh_operations.h"
#include "orvamesh/client/mesh_records.h"
#include "orvamesh/dbus/gdbus_client.h"
#include "orvamesh/dbus/mesh_dbus_codegen.h"
#include "orvamesh/dbus/mesh_gdbus_serialize.h"
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Dbus {

// The mesh interface on the system bus.
inline constexpr const char* kMeshBusName = "com.velanto.mesh";
inline constexpr const char* kMeshObjectPath = "/com/velanto/mesh/v1";

class ORVA_EXPORT MeshGDBusClient : public GDBusClient<OrvaMesh> {
 public:
  using ERROR_CODE = Client::ERROR_CODE;
  template <typename T>
  using Result = Client::Result<T>;
  using NodeId = Client::NodeId;

  // Connects to the system bus and registers the mesh error domain (under the object path)
  // once per process. Throws when the bus cannot be reached.
  MeshGDBusClient(const std::string& busName, const std::string& objectPath);

  // One operation per D-Bus method, named like the method, for example
  //   Result<std::string> GetNodeName(NodeId nodeId);
#define ORVA_DECLARE_METHOD(Return, Operation, Parameters, Arguments, Method, ...) Return Method Parameters;
  ORVA_MESH_DBUS_METHODS(ORVA_DECLARE_METHOD)
#undef ORVA_DECLARE_METHOD

  GQuark GetErrorDomain() const noexcept { return quark_; }

 private:
  template <typename Callable>
  ERROR_CODE Call(Callable&& call);
  template <typename Return, typename ProxyCall>
  auto Method(ProxyCall proxyCall);

  GQuark quark_ = 0;
};

// Serves "DummySignal" of the mesh interface from a main loop in the caller's thread.
class ORVA_EXPORT MeshGDBusSignalReceiver : public GDBusSignalReceiver<OrvaMesh> {
 public:
  MeshGDBusSignalReceiver(const std::string& busName, const std::string& objectPath);

  void SetDummyHandler(std::function<void()> handler);
  // Blocks until StopReceiving().
  void StartReceiving();
  void StopReceiving();

 private:
  std::function<void()> dummyHandler_;
};

}  // namespace ORVA::MESH::SDK::Dbus
