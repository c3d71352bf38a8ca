#include "orvamesh/dbus/gdbus_client.h"

#include "orvamesh/base/log.h"

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Dbus::Detail {

ClientCore::ClientCore(ProxyMaker makeProxy)
    : makeProxy_(std::move(makeProxy)), proxy_(makeProxy_(SignalHandlerTable{})) {}

bool ClientCore::Invoke(ProxyCall call, GQuark domain, int32_t& code) {
  bool succeeded = false;
  const bool locked = Mutex::CallWithLock(mutex_, [&] {
    try {
      succeeded = proxy_->Invoke(call, domain, code);
    } catch (const GDBusServiceUnknownError&) {
      // A proxy that has lost its peer keeps addressing the old owner; a fresh one follows
      // the name to whoever owns it next.
      proxy_ = makeProxy_(SignalHandlerTable{});
      ORVA_THROW_IN(Exception::RuntimeException, "InvokeMethod",
                    "Target service does not exist, proxy renewed");
    } catch (const Exception::RuntimeException&) {
      // The bus itself went away (restarted): this call fails as it always did, and the next
      // one goes over a new connection, as a lost daemon costs exactly one failed call.
      if (proxy_->ConnectionClosed()) Reconnect();
      throw;
    }
  });
  if (!locked) ORVA_THROW_IN(Exception::RuntimeException, "InvokeMethod", "Fail to lock the client");
  return succeeded;
}

void ClientCore::Reconnect() noexcept {
  try {
    proxy_ = proxy_->Reconnected();
    // GIO releases a dropped proxy's subscriptions, and with them its connection and socket,
    // from idle callbacks on the default main context; a client thread that runs no loop
    // lets them run here (a no-op while a signal receiver owns the context).
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
  } catch (const std::exception& e) {
    // Not back yet: the next call tries again.
    ORVA_LOG_INFO("The bus is not back yet: %s", e.what());
  }
}

SignalReceiverCore::SignalReceiverCore(ProxyMaker makeProxy) : makeProxy_(std::move(makeProxy)) {}

SignalReceiverCore::~SignalReceiverCore() = default;

gboolean SignalReceiverCore::QuitLoop(gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_REMOVE;
}

void SignalReceiverCore::StartReceiving(SignalHandlerTable signals) {
  std::shared_ptr<ProxyCore> proxy = makeProxy_(std::move(signals));
  GMainLoop* loop = nullptr;
  bool stopped = false;
  Mutex::CallWithLock(mutex_, [&] {
    if (stopRequested_) {
      stopRequested_ = false;
      stopped = true;
      return;
    }
    loop_ = g_main_loop_new(nullptr, FALSE);
    if (loop_ != nullptr) loop = g_main_loop_ref(loop_);
  });
  if (stopped) return;
  if (loop == nullptr) ORVA_THROW(Exception::RuntimeException, "Fail to create main loop");
  proxy_ = std::move(proxy);
  g_main_loop_run(loop);
  Mutex::CallWithLock(mutex_, [&] {
    g_main_loop_unref(loop_);
    loop_ = nullptr;
  });
  g_main_loop_unref(loop);
  proxy_.reset();
}

void SignalReceiverCore::StopReceiving() {
  Mutex::CallWithLock(mutex_, [&] {
    if (loop_ == nullptr) {
      stopRequested_ = true;
      return;
    }
    // Quitting from inside the loop also works when the loop has not started running yet.
    GSource* source = g_idle_source_new();
    g_source_set_callback(source, &SignalReceiverCore::QuitLoop, g_main_loop_ref(loop_),
                          reinterpret_cast<GDestroyNotify>(&g_main_loop_unref));
    g_source_attach(source, g_main_loop_get_context(loop_));
    g_source_unref(source);
  });
}

}  // namespace ORVA::MESH::SDK::Dbus::Detail
