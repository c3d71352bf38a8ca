#pragma once
// Owns one generated GDBus proxy and makes synchronous calls through it. A failed call either
// yields a code of the caller's error domain (a refusal by the peer) or throws: see
// Detail::ProxyCore::Invoke for the decision list.
//
// The templates only adapt the generated proxy type; the work is done out of line so each
// method of an interface costs one small trampoline.
#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Dbus {

// D-Bus signal name -> handler, run in the thread of the main loop that serves the proxy.
using SignalHandlerTable = std::map<std::string, std::function<void()>>;

namespace Detail {

// A borrowed callable of the form (proxy, cancellable, error) -> success.
struct ProxyCall {
  gboolean (*invoke)(void* callable, GDBusProxy* proxy, GCancellable* cancellable, GError** error);
  void* callable;
};

template <typename Proxy, typename Callable>
ProxyCall MakeProxyCall(Callable& callable) {
  return ProxyCall{[](void* c, GDBusProxy* proxy, GCancellable* cancellable, GError** error) -> gboolean {
                     return (*static_cast<Callable*>(c))(reinterpret_cast<Proxy*>(proxy), cancellable, error);
                   },
                   static_cast<void*>(&callable)};
}

class ORVA_EXPORT ProxyCore {
 public:
  // Creates the proxy with `create` on the bus's shared connection, or throws with the
  // GError's message when it cannot. Connects the signal handlers.
  ProxyCore(GBusType busType, const std::function<GDBusProxy*(GError**)>& create,
            SignalHandlerTable signals);
  virtual ~ProxyCore();
  ProxyCore(const ProxyCore&) = delete;
  ProxyCore& operator=(const ProxyCore&) = delete;

  GDBusProxy* RawProxy() const noexcept { return proxy_; }
  // True on success. False with `code` set when the peer refused with an error of `domain`.
  // Throws for every other failure.
  bool Invoke(ProxyCall call, GQuark domain, int32_t& code);

  // Whether the proxy's connection has closed (the bus went away).
  bool ConnectionClosed() const noexcept;
  // The same proxy (type, name, path, interface) on a new connection to the bus as the
  // environment names it now. GIO keeps handing out a closed shared connection for good, so a
  // bus that restarted is reached through a connection of our own. Throws when the bus is not
  // back yet.
  std::shared_ptr<ProxyCore> Reconnected() const;

 private:
  struct Adopt {};
  ProxyCore(Adopt, GDBusProxy* proxy, GBusType busType);

  static void OnSignal(GDBusProxy* proxy, const gchar* sender, const gchar* signal,
                       GVariant* parameters, gpointer self);

  GDBusProxy* proxy_ = nullptr;
  GBusType busType_;
  SignalHandlerTable signals_;
  gulong signalHandlerId_ = 0;
};

}  // namespace Detail

template <typename Proxy>
class GDBusProxyBusWrapper : public Detail::ProxyCore {
 public:
  using ProxyFactory = Proxy* (*)(GBusType, GDBusProxyFlags, const gchar*, const gchar*,
                                  GCancellable*, GError**);

  GDBusProxyBusWrapper(const std::string& busName, const std::string& objectPath, GBusType busType,
                       GDBusProxyFlags flags, ProxyFactory factory, SignalHandlerTable signals = {})
      : Detail::ProxyCore(
            busType,
            [&](GError** error) {
              return reinterpret_cast<GDBusProxy*>(
                  factory(busType, flags, busName.c_str(), objectPath.c_str(), nullptr, error));
            },
            std::move(signals)) {}

  Proxy* GetProxy() const noexcept { return reinterpret_cast<Proxy*>(RawProxy()); }

  template <typename Callable>
  bool InvokeMethod(Callable&& call, GQuark domain, int32_t& code) {
    return Invoke(Detail::MakeProxyCall<Proxy>(call), domain, code);
  }

};

}  // namespace ORVA::MESH::SDK::Dbus
