#include "orvamesh/dbus/gdbus_proxy_wrapper.h"

#include <memory>

#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"

namespace ORVA::MESH::SDK::Dbus::Detail {

namespace {
struct ErrorFree {
  void operator()(GError* error) const noexcept { g_error_free(error); }
};
using ErrorPtr = std::unique_ptr<GError, ErrorFree>;

struct CharFree {
  void operator()(gchar* text) const noexcept { g_free(text); }
};

std::string Describe(const GError* error) {
  return "[" + std::to_string(error->code) + "][" + (error->message ? error->message : "") + "]";
}
// Takes the error either way; throws with its message when no proxy was made.
void ThrowIfNoProxy(const GDBusProxy* proxy, GError* raw) {
  ErrorPtr error(raw);
  if (proxy == nullptr) {
    ORVA_THROW_IN(Exception::RuntimeException, "GDBusProxyBusWrapper",
                  std::string("Fail to create gdbus proxy object: [") +
                      (error && error->message ? error->message : "") + "]");
  }
}

}  // namespace

ProxyCore::ProxyCore(GBusType busType, const std::function<GDBusProxy*(GError**)>& create,
                     SignalHandlerTable signals)
    : busType_(busType), signals_(std::move(signals)) {
  GError* raw = nullptr;
  // The generated constructor uses the bus's shared connection. GIO ends the whole process
  // when a shared connection closes unless told otherwise, and a lost bus must cost the
  // caller a failed call, not its process.
  GDBusConnection* connection = g_bus_get_sync(busType, nullptr, &raw);
  if (connection != nullptr) {
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    proxy_ = create(&raw);
    g_object_unref(connection);
  }
  ThrowIfNoProxy(proxy_, raw);
  if (!signals_.empty()) {
    signalHandlerId_ = g_signal_connect(proxy_, "g-signal", G_CALLBACK(&ProxyCore::OnSignal), this);
  }
}

ProxyCore::ProxyCore(Adopt, GDBusProxy* proxy, GBusType busType) : proxy_(proxy), busType_(busType) {}

bool ProxyCore::ConnectionClosed() const noexcept {
  GDBusConnection* connection = g_dbus_proxy_get_connection(proxy_);
  return connection == nullptr || g_dbus_connection_is_closed(connection);
}

std::shared_ptr<ProxyCore> ProxyCore::Reconnected() const {
  GError* raw = nullptr;
  std::unique_ptr<gchar, CharFree> address(g_dbus_address_get_for_bus_sync(busType_, nullptr, &raw));
  GDBusConnection* connection = nullptr;
  if (address) {
    connection = g_dbus_connection_new_for_address_sync(
        address.get(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &raw);
  }
  GDBusProxy* proxy = nullptr;
  if (connection != nullptr) {
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    proxy = static_cast<GDBusProxy*>(g_initable_new(
        G_OBJECT_TYPE(proxy_), nullptr, &raw, "g-flags", g_dbus_proxy_get_flags(proxy_), "g-name",
        g_dbus_proxy_get_name(proxy_), "g-connection", connection, "g-object-path",
        g_dbus_proxy_get_object_path(proxy_), "g-interface-name", g_dbus_proxy_get_interface_name(proxy_),
        nullptr));
    g_object_unref(connection);  // the proxy keeps it
  }
  ThrowIfNoProxy(proxy, raw);
  return std::shared_ptr<ProxyCore>(new ProxyCore(Adopt{}, proxy, busType_));
}

ProxyCore::~ProxyCore() {
  if (signalHandlerId_ != 0) g_signal_handler_disconnect(proxy_, signalHandlerId_);
  g_object_unref(proxy_);
}

void ProxyCore::OnSignal(GDBusProxy*, const gchar*, const gchar* signal, GVariant*, gpointer self) {
  auto* core = static_cast<ProxyCore*>(self);
  auto it = core->signals_.find(signal);
  if (it == core->signals_.end() || !it->second) return;
  // Nothing may unwind into GLib's C frames.
  try {
    it->second();
  } catch (const std::exception& e) {
    ORVA_LOG_ERR("Handler of signal [%s] failed: %s", signal, e.what());
  } catch (...) {
    ORVA_LOG_ERR("Handler of signal [%s] failed with an unknown exception", signal);
  }
}

bool ProxyCore::Invoke(ProxyCall call, GQuark domain, int32_t& code) {
  GError* raw = nullptr;
  if (call.invoke(call.callable, proxy_, nullptr, &raw)) {
    if (raw != nullptr) g_error_free(raw);
    return true;
  }
  ErrorPtr error(raw);
  if (!error) {
    ORVA_THROW_IN(Exception::RuntimeException, "InvokeMethod",
                  "Method invocation failed but no GError returned");
  }
  if (!g_dbus_error_is_remote_error(error.get())) {
    ORVA_THROW_IN(Exception::RuntimeException, "InvokeMethod",
                  "Local dbus error received: " + Describe(error.get()));
  }
  std::unique_ptr<gchar, CharFree> remoteName(g_dbus_error_get_remote_error(error.get()));
  const std::string name = remoteName ? remoteName.get() : "fail to extract dbus error name";
  if (!g_dbus_error_strip_remote_error(error.get())) {
    ORVA_THROW_IN(Exception::RuntimeException, "InvokeMethod",
                  "Fail to strip remote GError: " + Describe(error.get()) + ", " + name);
  }
  if (error->domain != G_DBUS_ERROR) {
    if (error->domain == domain) {
      code = error->code;
      return false;
    }
    ORVA_THROW_IN(Exception::RuntimeException, "InvokeMethod",
                  "Unmatched domain error received: " + Describe(error.get()));
  }
  if (error->code == G_DBUS_ERROR_SERVICE_UNKNOWN) {
    ORVA_THROW_IN(GDBusServiceUnknownError, "InvokeMethod",
                  "Target service not found: " + Describe(error.get()));
  }
  ORVA_THROW_IN(Exception::RuntimeException, "InvokeMethod",
                "DBus bus-related-domain error received: " + Describe(error.get()));
}

}  // namespace ORVA::MESH::SDK::Dbus::Detail
