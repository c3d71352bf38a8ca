#include "orvamesh/dbus/mesh_dbus_client.h"

namespace ORVA::MESH::SDK::Dbus {

using namespace Client;

MeshDBusClient::MeshDBusClient(const std::string& busName, const std::string& objectPath)
    : client_(busName, objectPath) {}

MeshDBusClient::~MeshDBusClient() = default;

#define ORVA_FORWARD(Return, Operation, Parameters, Arguments, Method, ...) \
  Return MeshDBusClient::Operation##Impl Parameters { return client_.Method Arguments; }
ORVA_MESH_DBUS_METHODS(ORVA_FORWARD)
#undef ORVA_FORWARD

// No daemon method: the feature is off on every mesh.
Result<bool> MeshDBusClient::GetHyfiMitigationEnabledImpl() { return {ERROR_CODE::NONE, false}; }
ERROR_CODE MeshDBusClient::SetHyfiMitigationEnabledImpl(bool) { return ERROR_CODE::NONE; }

MeshDBusSignalReceiver::MeshDBusSignalReceiver(std::shared_ptr<SignalHandleSpec> spec,
                                               const std::string& busName, const std::string& objectPath)
    : MeshSignalReceiver(std::move(spec)), receiver_(busName, objectPath) {}

MeshDBusSignalReceiver::~MeshDBusSignalReceiver() = default;

void MeshDBusSignalReceiver::StartReceiving() { receiver_.StartReceiving(); }
void MeshDBusSignalReceiver::StopReceiving() { receiver_.StopReceiving(); }
void MeshDBusSignalReceiver::BindDummy(std::function<void()> handler) {
  receiver_.SetDummyHandler(std::move(handler));
}

}  // namespace ORVA::MESH::SDK::Dbus

// The factories of the client module hand out the D-Bus transport. They live here, with what
// they build, so that the client module never includes the transport above it.
namespace ORVA::MESH::SDK::Client {

std::shared_ptr<MeshClient> MeshClientFactory::GetClient() {
  static const std::shared_ptr<MeshClient> client =
      std::make_shared<Dbus::MeshDBusClient>(Dbus::kMeshBusName, Dbus::kMeshObjectPath);
  return client;
}

std::shared_ptr<MeshSignalReceiver> MeshSignalReceiverFactory::GetReceiver(
    const std::shared_ptr<SignalHandleSpec>& spec) {
  auto receiver = std::make_shared<Dbus::MeshDBusSignalReceiver>(spec, Dbus::kMeshBusName, Dbus::kMeshObjectPath);
  receiver->BindHandler();
  return receiver;
}

}  // namespace ORVA::MESH::SDK::Client
