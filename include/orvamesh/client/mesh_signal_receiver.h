#pragma once
// Signals of the mesh daemon. The caller supplies the handlers through a SignalHandleSpec,
// takes a receiver from MeshSignalReceiverFactory and runs StartReceiving() on a thread of
// its own: it blocks, running the handlers on that thread, until StopReceiving().
#include <functional>
#include <memory>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Client {

class ORVA_EXPORT SignalHandleSpec {
 public:
  virtual ~SignalHandleSpec();
  // Run when the daemon emits "DummySignal".
  virtual std::function<void()> GetDummyHandler() = 0;
};

class ORVA_EXPORT MeshSignalReceiver {
 public:
  explicit MeshSignalReceiver(std::shared_ptr<SignalHandleSpec> spec);
  virtual ~MeshSignalReceiver();
  MeshSignalReceiver(const MeshSignalReceiver&) = delete;
  MeshSignalReceiver& operator=(const MeshSignalReceiver&) = delete;

  virtual void StartReceiving() = 0;
  virtual void StopReceiving() = 0;
  virtual void BindDummy(std::function<void()> handler) = 0;

  // Hands the caller's handlers (GetDummyHandler and the like) to the receiver.
  void BindHandler();

 protected:
  const std::shared_ptr<SignalHandleSpec>& GetSpec() const noexcept { return spec_; }

 private:
  std::shared_ptr<SignalHandleSpec> spec_;
};

class ORVA_EXPORT MeshSignalReceiverFactory {
 public:
  // A new receiver for the mesh daemon on the system bus, with the caller's handlers bound.
  static std::shared_ptr<MeshSignalReceiver> GetReceiver(const std::shared_ptr<SignalHandleSpec>& spec);
};

}  // namespace ORVA::MESH::SDK::Client
