#pragma once
// A D-Bus client over one generated proxy type that survives its peer leaving the bus, and a
// signal receiver that serves a proxy's signals from a GLib main loop.
//
// GDBusClient serialises its calls with one mutex held for the whole round trip. When the
// peer's name has no owner, the proxy is replaced by a fresh one and the call fails with
// "Target service does not exist, proxy renewed"; it is not repeated, the next call uses the
// new proxy. Every other exception passes through unchanged.
#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "orvamesh/dbus/gdbus_proxy_wrapper.h"
#include "orvamesh/export.h"
#include "orvamesh/utils/mutex.h"

namespace ORVA::MESH::SDK::Dbus {

namespace Detail {

using ProxyMaker = std::function<std::shared_ptr<ProxyCore>(SignalHandlerTable)>;

class ORVA_EXPORT ClientCore {
 public:
  explicit ClientCore(ProxyMaker makeProxy);
  bool Invoke(ProxyCall call, GQuark domain, int32_t& code);

 private:
  void Reconnect() noexcept;

  ProxyMaker makeProxy_;
  Mutex mutex_;
  std::shared_ptr<ProxyCore> proxy_;
};

class ORVA_EXPORT SignalReceiverCore {
 public:
  explicit SignalReceiverCore(ProxyMaker makeProxy);
  ~SignalReceiverCore();
  SignalReceiverCore(const SignalReceiverCore&) = delete;
  SignalReceiverCore& operator=(const SignalReceiverCore&) = delete;

  void StartReceiving(SignalHandlerTable signals);
  void StopReceiving();

 private:
  static gboolean QuitLoop(gpointer loop);

  ProxyMaker makeProxy_;
  Mutex mutex_;
  GMainLoop* loop_ = nullptr;           // guarded by mutex_
  bool stopRequested_ = false;          // guarded by mutex_
  std::shared_ptr<ProxyCore> proxy_;    // touched only by the receiving thread
};

template <typename Proxy>
ProxyMaker MakeProxyMaker(std::string busName, std::string objectPath, GBusType busType,
                          typename GDBusProxyBusWrapper<Proxy>::ProxyFactory factory) {
  return [=](SignalHandlerTable signals) -> std::shared_ptr<ProxyCore> {
    return std::make_shared<GDBusProxyBusWrapper<Proxy>>(busName, objectPath, busType,
                                                         G_DBUS_PROXY_FLAGS_NONE, factory,
                                                         std::move(signals));
  };
}

}  // namespace Detail

template <typename Proxy>
class GDBusClient {
 public:
  using ProxyFactory = typename GDBusProxyBusWrapper<Proxy>::ProxyFactory;

  // Creates the first proxy at once (throws when it cannot).
  GDBusClient(const std::string& busName, const std::string& objectPath, GBusType busType,
              ProxyFactory factory)
      : core_(Detail::MakeProxyMaker<Proxy>(busName, objectPath, busType, factory)) {}
  virtual ~GDBusClient() = default;
  GDBusClient(const GDBusClient&) = delete;
  GDBusClient& operator=(const GDBusClient&) = delete;

  // `call` is (Proxy*, GCancellable*, GError**) -> gboolean.
  template <typename Callable>
  bool InvokeMethod(Callable&& call, GQuark domain, int32_t& code) {
    return core_.Invoke(Detail::MakeProxyCall<Proxy>(call), domain, code);
  }

 private:
  Detail::ClientCore core_;
};

template <typename Proxy>
class GDBusSignalReceiver {
 public:
  using ProxyFactory = typename GDBusProxyBusWrapper<Proxy>::ProxyFactory;

  GDBusSignalReceiver(const std::string& busName, const std::string& objectPath, GBusType busType,
                      ProxyFactory factory)
      : core_(Detail::MakeProxyMaker<Proxy>(busName, objectPath, busType, factory)) {}
  virtual ~GDBusSignalReceiver() = default;

  // Blocks the calling thread in a main loop on the default context until StopReceiving().
  // A StopReceiving() that comes first makes the next StartReceiving() return at once.
  void StartReceiving(SignalHandlerTable signals) { core_.StartReceiving(std::move(signals)); }
  void StopReceiving() { core_.StopReceiving(); }

 private:
  Detail::SignalReceiverCore core_;
};

}  // namespace ORVA::MESH::SDK::Dbus
