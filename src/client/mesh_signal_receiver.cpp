#include "orvamesh/client/mesh_signal_receiver.h"

#include "orvamesh/dbus/mesh_dbus_client.h"
#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Client {

SignalHandleSpec::~SignalHandleSpec() = default;

MeshSignalReceiver::MeshSignalReceiver(std::shared_ptr<SignalHandleSpec> spec) : spec_(std::move(spec)) {
  if (!spec_) ORVA_THROW(Exception::InvalidArgumentException, "Null pointer passed as argument");
}

MeshSignalReceiver::~MeshSignalReceiver() = default;

void MeshSignalReceiver::BindHandler() { BindDummy(spec_->GetDummyHandler()); }

std::shared_ptr<MeshSignalReceiver> MeshSignalReceiverFactory::GetReceiver(
    const std::shared_ptr<SignalHandleSpec>& spec) {
  auto receiver = std::make_shared<Dbus::MeshDBusSignalReceiver>(spec, Dbus::kMeshBusName, Dbus::kMeshObjectPath);
  receiver->BindHandler();
  return receiver;
}

}  // namespace ORVA::MESH::SDK::Client
