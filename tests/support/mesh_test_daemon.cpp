#include "support/mesh_test_daemon.h"

#include <future>
#include <stdexcept>

#include "orvamesh/dbus/gdbus_common.h"
#include "orvamesh/dbus/mesh_gdbus_client.h"
#include "orvamesh/dbus/mesh_gdbus_error_code.h"
#include "support/wait_until.h"

namespace orva::test {

namespace {
using namespace ORVA::MESH::SDK;

GQuark MeshDomain() {
  return Dbus::GDBusCommon::InitGDBusQuark(Dbus::kMeshObjectPath,
                                           Dbus::MeshGDBusCommon::ErrorCodeToErrorEntry());
}

std::runtime_error Failure(const std::string& what, GError* error) {
  std::string text = what + ": " + (error != nullptr ? error->message : "unknown error");
  if (error != nullptr) g_error_free(error);
  return std::runtime_error(text);
}

// Asked on a connection of its own: the program's shared system-bus connection is the code
// under test and keeps whatever settings the library gave it.
GDBusConnection* Connect(GError** error) {
  gchar* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, error);
  if (address == nullptr) return nullptr;
  GDBusConnection* connection = g_dbus_connection_new_for_address_sync(
      address,
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, error);
  g_free(address);
  if (connection != nullptr) g_dbus_connection_set_exit_on_close(connection, FALSE);
  return connection;
}

bool NameHasOwner(GDBusConnection* connection) {
  GVariant* reply = g_dbus_connection_call_sync(
      connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
      g_variant_new("(s)", Dbus::kMeshBusName), G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE, -1,
      nullptr, nullptr);
  if (reply == nullptr) return false;
  gboolean owned = FALSE;
  g_variant_get(reply, "(b)", &owned);
  g_variant_unref(reply);
  return owned != FALSE;
}
}  // namespace

MeshTestDaemon::MeshTestDaemon() {
  MeshDomain();
  context_ = g_main_context_new();
  loop_ = g_main_loop_new(context_, FALSE);
  thread_ = std::thread([this] {
    g_main_context_push_thread_default(context_);
    g_main_loop_run(loop_);
    g_main_context_pop_thread_default(context_);
  });
  Join();
}

MeshTestDaemon::~MeshTestDaemon() {
  try {
    if (Joined()) Leave();
  } catch (...) {
  }
  g_main_context_invoke(
      context_, [](gpointer loop) -> gboolean { g_main_loop_quit(static_cast<GMainLoop*>(loop)); return G_SOURCE_REMOVE; },
      loop_);
  thread_.join();
  g_main_loop_unref(loop_);
  g_main_context_unref(context_);
  for (auto& [name, value] : replies_) g_variant_unref(value);
  for (auto& [name, value] : arguments_) g_variant_unref(value);
}

// The task keeps what `fn` throws for the caller.
void MeshTestDaemon::RunInThread(void (*fn)(MeshTestDaemon*)) {
  std::packaged_task<void()> task([this, fn] { fn(this); });
  auto future = task.get_future();
  g_main_context_invoke(
      context_,
      [](gpointer data) -> gboolean {
        (*static_cast<std::packaged_task<void()>*>(data))();
        return G_SOURCE_REMOVE;
      },
      &task);
  future.get();
}

// Once RequestName has answered, the name is owned: Join needs no waiting.
void MeshTestDaemon::Join() { RunInThread(&MeshTestDaemon::JoinInThread); }

void MeshTestDaemon::Leave() {
  RunInThread(&MeshTestDaemon::LeaveInThread);
  GError* error = nullptr;
  GDBusConnection* observer = Connect(&error);
  if (observer == nullptr) {
    g_error_free(error);
    return;  // no bus left to ask: nobody owns anything there
  }
  const bool gone = WaitUntil([&] { return !NameHasOwner(observer); });
  g_object_unref(observer);
  if (!gone) throw std::runtime_error("the test daemon's name did not leave the bus");
}

void MeshTestDaemon::JoinInThread(MeshTestDaemon* self) {
  GError* error = nullptr;
  GDBusConnection* connection = Connect(&error);
  if (connection == nullptr) throw Failure("test daemon cannot connect", error);
  // The generated interface description checks every call's arguments before Handle sees it;
  // calls are served on this thread, whose context is the default one here.
  static const GDBusInterfaceVTable kVTable = {&MeshTestDaemon::Handle, nullptr, nullptr, {}};
  self->registration_ = g_dbus_connection_register_object(connection, Dbus::kMeshObjectPath,
                                                          orva_mesh_interface_info(), &kVTable, self, nullptr, &error);
  if (self->registration_ == 0) {
    g_object_unref(connection);
    throw Failure("test daemon cannot export", error);
  }
  GVariant* reply = g_dbus_connection_call_sync(
      connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
      "RequestName", g_variant_new("(su)", Dbus::kMeshBusName, 4u /* do not queue */),
      G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
  guint32 result = 0;
  if (reply != nullptr) {
    g_variant_get(reply, "(u)", &result);
    g_variant_unref(reply);
  }
  if (result != 1 /* primary owner */) {
    g_object_unref(connection);  // and with it the registration
    throw Failure("test daemon cannot own its name", error);
  }
  self->connection_.store(connection);
}

void MeshTestDaemon::LeaveInThread(MeshTestDaemon* self) {
  GDBusConnection* connection = self->connection_.exchange(nullptr);
  if (connection == nullptr) return;
  g_dbus_connection_close_sync(connection, nullptr, nullptr);
  g_object_unref(connection);
}

void MeshTestDaemon::SetReply(const std::string& method, GVariant* reply) {
  g_variant_ref_sink(reply);
  std::lock_guard<std::mutex> lock(mutex_);
  auto& slot = replies_[method];
  if (slot != nullptr) g_variant_unref(slot);
  slot = reply;
}

Dbus::GVariantWrapper MeshTestDaemon::LastByteArgument(const std::string& method) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = arguments_.find(method);
  if (it == arguments_.end()) return Dbus::GVariantWrapper();
  return Dbus::GVariantWrapper(g_variant_get_child_value(it->second, 0));
}

int MeshTestDaemon::Calls(const std::string& method) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = calls_.find(method);
  return it == calls_.end() ? 0 : it->second;
}

void MeshTestDaemon::SetMode(Mode mode) {
  std::lock_guard<std::mutex> lock(mutex_);
  mode_ = mode;
}

void MeshTestDaemon::RefuseWith(Client::ERROR_CODE code) {
  std::lock_guard<std::mutex> lock(mutex_);
  mode_ = Mode::kRefuse;
  refusal_ = code;
}

void MeshTestDaemon::EmitDummySignal() {
  RunInThread([](MeshTestDaemon* self) {
    g_dbus_connection_emit_signal(self->connection_.load(), nullptr, Dbus::kMeshObjectPath,
                                  orva_mesh_interface_info()->name, "DummySignal", nullptr, nullptr);
  });
}

void MeshTestDaemon::Handle(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* name,
                            GVariant* parameters, GDBusMethodInvocation* invocation, gpointer data) {
  auto* self = static_cast<MeshTestDaemon*>(data);
  const std::string method = name;
  Mode mode;
  Client::ERROR_CODE refusal;
  GVariant* reply = nullptr;
  {
    std::lock_guard<std::mutex> lock(self->mutex_);
    ++self->calls_[method];
    auto& slot = self->arguments_[method];
    if (slot != nullptr) g_variant_unref(slot);
    slot = g_variant_ref(parameters);
    mode = self->mode_;
    refusal = self->refusal_;
    auto it = self->replies_.find(method);
    if (it != self->replies_.end()) reply = g_variant_ref(it->second);
  }
  const GDBusMethodInfo* info = g_dbus_method_invocation_get_method_info(invocation);
  const bool bytesOut = info->out_args != nullptr && info->out_args[0] != nullptr &&
                        g_strcmp0(info->out_args[0]->signature, "ay") == 0;
  if (mode == Mode::kRefuse) {
    g_dbus_method_invocation_return_error_literal(
        invocation, MeshDomain(),
        Dbus::MeshGDBusCommon::MarshalErrorCodeToGInt(Dbus::FromClientErrorCode(refusal)),
        "refused by the test daemon");
  } else if (mode == Mode::kForeignError) {
    g_dbus_method_invocation_return_error_literal(invocation, g_quark_from_static_string("orva-test-foreign-error"),
                                                  7, "an error nobody registered");
  } else if (mode == Mode::kGarbage && bytesOut) {
    static const guchar kGarbage[] = {0x01, 0x02, 0x03};
    g_dbus_method_invocation_return_value(
        invocation, g_variant_new("(@ay)", g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, kGarbage,
                                                                      sizeof(kGarbage), 1)));
  } else {
    // Without a set reply, the empty one: right for the methods without output only.
    g_dbus_method_invocation_return_value(invocation, reply);
  }
  if (reply != nullptr) g_variant_unref(reply);
}

}  // namespace orva::test
