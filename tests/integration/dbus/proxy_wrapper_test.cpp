// How a failed call through the proxy holder becomes a code or an exception, and how the
// client above it renews its proxy. The calls are stand-ins that fail the way GIO would.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>

#include "orvamesh/dbus/gdbus_client.h"
#include "orvamesh/dbus/gdbus_common.h"
#include "orvamesh/dbus/mesh_dbus_codegen.h"
#include "orvamesh/dbus/mesh_gdbus_client.h"
#include "orvamesh/base/exception.h"
#include "support/private_bus.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Dbus;

using FakeCall = std::function<gboolean(GError**)>;

FakeCall Remote(const char* name, const char* message) {
  return [=](GError** error) {
    *error = g_dbus_error_new_for_dbus_error(name, message);
    return FALSE;
  };
}

class ProxyFailures : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_PRIVATE_BUS();
    orva::test::SharedPrivateBus();
    domain_ = GDBusCommon::InitGDBusQuark(kMeshObjectPath, MeshGDBusCommon::ErrorCodeToErrorEntry());
  }

  template <typename Holder>
  bool Invoke(Holder& holder, const FakeCall& fake, int32_t& code) {
    return holder.InvokeMethod(
        [&](OrvaMesh* proxy, GCancellable*, GError** error) {
          EXPECT_NE(proxy, nullptr);
          return fake(error);
        },
        domain_, code);
  }

  // The failure `fake` makes `holder` throw: its text, and whether it is the service-unknown error.
  template <typename Holder>
  std::pair<std::string, bool> Thrown(Holder& holder, const FakeCall& fake) {
    int32_t code = -1;
    try {
      Invoke(holder, fake, code);
      ADD_FAILURE() << "no exception";
    } catch (const Exception::RuntimeException& e) {
      EXPECT_EQ(code, -1) << "a failure sets no code";
      return {e.what(), dynamic_cast<const GDBusServiceUnknownError*>(&e) != nullptr};
    }
    return {};
  }

  GQuark domain_ = 0;
};

TEST_F(ProxyFailures, EachKindOfFailureHasItsOwnOutcome) {
  GDBusProxyBusWrapper<OrvaMesh> wrapper(kMeshBusName, kMeshObjectPath, G_BUS_TYPE_SYSTEM,
                                         G_DBUS_PROXY_FLAGS_NONE, &orva_mesh_proxy_new_for_bus_sync);
  // The kind of failure, the call that fails so, and what the thrown text ends with.
  const std::tuple<const char*, FakeCall, std::string> cases[] = {
      {"no error", [](GError**) { return FALSE; }, "Method invocation failed but no GError returned"},
      {"local", [](GError** e) {
         *e = g_error_new_literal(G_IO_ERROR, G_IO_ERROR_TIMED_OUT, "too late");
         return FALSE;
       }, "Local dbus error received: [24][too late]"},
      {"bus", Remote("org.freedesktop.DBus.Error.AccessDenied", "denied"),
       "DBus bus-related-domain error received: [9][denied]"},
      {"unknown service", Remote("org.freedesktop.DBus.Error.ServiceUnknown", "gone"),
       "Target service not found: [2][gone]"},
  };
  // A mesh error becoming its code, and an unregistered one the unmatched-domain exception, are
  // seen end to end by MeshClientOverBus.
  for (const auto& [kind, call, message] : cases) {
    SCOPED_TRACE(kind);
    const auto [what, serviceUnknown] = Thrown(wrapper, call);
    EXPECT_EQ(what.rfind("dbus/gdbus_proxy_wrapper:InvokeMethod:", 0), 0u) << what;
    EXPECT_NE(what.find(": " + message), std::string::npos) << what;
    EXPECT_EQ(serviceUnknown, std::string(kind) == "unknown service");
  }
  int32_t code = -1;
  EXPECT_TRUE(Invoke(wrapper, [](GError**) { return TRUE; }, code));
}

TEST_F(ProxyFailures, TheClientRenewsItsProxyOnlyForAnUnknownService) {
  GDBusClient<OrvaMesh> client(kMeshBusName, kMeshObjectPath, G_BUS_TYPE_SYSTEM, &orva_mesh_proxy_new_for_bus_sync);
  OrvaMesh* seen = nullptr;
  auto remember = [&](OrvaMesh* proxy, GCancellable*, GError**) {
    seen = proxy;
    return TRUE;
  };
  int32_t code = 0;
  ASSERT_TRUE(client.InvokeMethod(remember, domain_, code));
  OrvaMesh* first = seen;
  // Cleared when the first proxy is finalised, i.e. replaced.
  g_object_add_weak_pointer(G_OBJECT(first), reinterpret_cast<gpointer*>(&first));

  // Any other failure passes through unchanged and keeps the proxy.
  Thrown(client, Remote("org.freedesktop.DBus.Error.AccessDenied", "denied"));
  ASSERT_TRUE(client.InvokeMethod(remember, domain_, code));
  EXPECT_EQ(seen, first);
  EXPECT_NE(first, nullptr);

  const auto [what, serviceUnknown] = Thrown(client, Remote("org.freedesktop.DBus.Error.ServiceUnknown", "gone"));
  EXPECT_FALSE(serviceUnknown) << "the service-unknown error must not escape the client";
  EXPECT_EQ(what.rfind("dbus/gdbus_client:InvokeMethod:", 0), 0u) << what;
  EXPECT_NE(what.find(": Target service does not exist, proxy renewed"), std::string::npos) << what;
  EXPECT_EQ(first, nullptr);
  ASSERT_TRUE(client.InvokeMethod(remember, domain_, code));
  EXPECT_NE(seen, nullptr);
}

}  // namespace
