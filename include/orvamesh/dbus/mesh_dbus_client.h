#pragma once
// The mesh client and signal receiver over D-Bus: the implementations that the client
// factories hand out. The two Hyfi-mitigation operations have no daemon method and are
// answered here, without a call: the getter with (NONE, false), the setter with NONE.
#include <functional>
#include <memory>
#include <string>

#include "orvamesh/client/mesh_client.h"
#include "orvamesh/client/mesh_signal_receiver.h"
#include "orvamesh/dbus/mesh_gdbus_client.h"
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Dbus {

class ORVA_EXPORT MeshDBusClient : public Client::MeshClient {
 public:
  using ERROR_CODE = Client::ERROR_CODE;
  template <typename T>
  using Result = Client::Result<T>;
  using NodeId = Client::NodeId;

  MeshDBusClient(const std::string& busName, const std::string& objectPath);
  ~MeshDBusClient() override;

 protected:
#define ORVA_DECLARE_IMPL(Return, Operation, Parameters, ...) Return Operation##Impl Parameters override;
  ORVA_MESH_CLIENT_OPERATIONS(ORVA_DECLARE_IMPL, ORVA_DECLARE_IMPL)
#undef ORVA_DECLARE_IMPL

 private:
  MeshGDBusClient client_;
};

class ORVA_EXPORT MeshDBusSignalReceiver : public Client::MeshSignalReceiver {
 public:
  MeshDBusSignalReceiver(std::shared_ptr<Client::SignalHandleSpec> spec, const std::string& busName,
                         const std::string& objectPath);
  ~MeshDBusSignalReceiver() override;

  void StartReceiving() override;
  void StopReceiving() override;
  void BindDummy(std::function<void()> handler) override;

 private:
  MeshGDBusSignalReceiver receiver_;
};

}  // namespace ORVA::MESH::SDK::Dbus
