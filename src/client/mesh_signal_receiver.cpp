#include "orvamesh/client/mesh_signal_receiver.h"

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Client {

SignalHandleSpec::~SignalHandleSpec() = default;

MeshSignalReceiver::MeshSignalReceiver(std::shared_ptr<SignalHandleSpec> spec) : spec_(std::move(spec)) {
  if (!spec_) ORVA_THROW(Exception::InvalidArgumentException, "Null pointer passed as argument");
}

MeshSignalReceiver::~MeshSignalReceiver() = default;

void MeshSignalReceiver::BindHandler() { BindDummy(spec_->GetDummyHandler()); }

}  // namespace ORVA::MESH::SDK::Client
