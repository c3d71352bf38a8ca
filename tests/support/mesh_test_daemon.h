#pragma once
// A stand-in for the mesh daemon, built on the library's generated interface description: it
// owns "com.velanto.mesh" on the bus DBUS_SYSTEM_BUS_ADDRESS names (see private_bus.h), exports
// the interface at "/com/velanto/mesh/v1" and serves it from a thread of its own, on a
// connection of its own, so clients in the same process really go through the bus.
//
// Every method answers with the reply the test set for it (SetReply), or with an empty reply
// when the method has no output. The daemon keeps the last arguments of each method
// (LastByteArgument) and can be told to refuse every call with a mesh error code, to fail with an
// error of a foreign domain, or to answer byte-array outputs with undecodable bytes.
#include <gio/gio.h>

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "orvamesh/client/error_code.h"
#include "orvamesh/dbus/mesh_dbus_codegen.h"
#include "orvamesh/dbus/mesh_gdbus_serialize.h"

namespace orva::test {

class MeshTestDaemon {
 public:
  enum class Mode { kAnswer, kRefuse, kForeignError, kGarbage };

  // Starts the thread and joins the bus (Join()).
  MeshTestDaemon();
  ~MeshTestDaemon();
  MeshTestDaemon(const MeshTestDaemon&) = delete;
  MeshTestDaemon& operator=(const MeshTestDaemon&) = delete;

  // Connects, exports the interface and owns the name; returns once the name is owned.
  void Join();
  // Closes the connection: the name and the daemon's unique name leave the bus.
  void Leave();
  bool Joined() const { return connection_.load() != nullptr; }

  // The reply tuple of `method`, e.g. g_variant_new("(s)", "x") or a "(@ay)" tuple.
  void SetReply(const std::string& method, GVariant* reply);
  // Convenience: a one-byte-array reply holding `value` as an archive.
  template <typename T>
  void SetArchiveReply(const std::string& method, const T& value) {
    auto bytes = ORVA::MESH::SDK::Dbus::ObjectToGVariant(value);
    SetReply(method, g_variant_new("(@ay)", bytes.GetGVariant()));
  }
  // The first argument of the last call, when it is a byte array.
  ORVA::MESH::SDK::Dbus::GVariantWrapper LastByteArgument(const std::string& method) const;
  int Calls(const std::string& method) const;

  void SetMode(Mode mode);
  void RefuseWith(ORVA::MESH::SDK::Client::ERROR_CODE code);

  // Emits "DummySignal" from the daemon's thread.
  void EmitDummySignal();

 private:
  static void Handle(GDBusConnection*, const gchar* sender, const gchar* path, const gchar* interface,
                     const gchar* method, GVariant* parameters, GDBusMethodInvocation* invocation, gpointer self);
  void RunInThread(void (*fn)(MeshTestDaemon*));
  static void JoinInThread(MeshTestDaemon* self);
  static void LeaveInThread(MeshTestDaemon* self);

  GMainContext* context_ = nullptr;
  GMainLoop* loop_ = nullptr;
  std::thread thread_;
  std::atomic<GDBusConnection*> connection_{nullptr};
  guint registration_ = 0;

  mutable std::mutex mutex_;
  std::map<std::string, GVariant*> replies_;
  std::map<std::string, GVariant*> arguments_;
  std::map<std::string, int> calls_;
  Mode mode_ = Mode::kAnswer;
  ORVA::MESH::SDK::Client::ERROR_CODE refusal_ = ORVA::MESH::SDK::Client::ERROR_CODE::NONE;
};

}  // namespace orva::test
