#include "orvamesh/dbus/mesh_gdbus_client.h"

#include <tuple>

#include "orvamesh/dbus/gdbus_common.h"
#include "orvamesh/dbus/mesh_gdbus_error_code.h"
#include "dbus/payload_iarchive.h"

namespace ORVA::MESH::SDK::Dbus {

using namespace Client;
using ERROR_CODE = Client::ERROR_CODE;

namespace {

ERROR_CODE RefusalToClientCode(int32_t code) {
  return ToClientErrorCode(MeshGDBusCommon::UnmarshalErrorCodeFromGInt(code));
}

Result<std::string> TakeString(ERROR_CODE code, gchar* text) {
  Result<std::string> result{code, std::string()};
  if (text != nullptr) {
    if (code == ERROR_CODE::NONE) result.second = text;
    g_free(text);
  }
  return result;
}

template <typename T>
Result<T> Decoded(ERROR_CODE code, const GVariantWrapper& out) {
  // A refusal leaves the payload unset, also one whose error name maps to NONE.
  if (code != ERROR_CODE::NONE || !out.IsSet()) return {code, T{}};
  return {code, Detail::DecodePayload<T>(out)};
}

// How an operation's parameter travels: node ids, flags and names as themselves, the topology
// changes as their styled JSON text, records as archives in a byte array.
guint32 ToWire(NodeId nodeId) { return nodeId; }
gboolean ToWire(bool enabled) { return enabled ? TRUE : FALSE; }
const char* ToWire(const std::string& text) { return text.c_str(); }
GVariantWrapper ToWire(const Json::Value& change) { return BytesToGVariant(change.toStyledString()); }
template <typename T>
GVariantWrapper ToWire(const T& record) {
  return ObjectToGVariant(record);
}

template <typename T>
T Raw(T value) {
  return value;
}
GVariant* Raw(const GVariantWrapper& wrapper) { return wrapper.GetGVariant(); }

// Where the answer of an operation lands, by the operation's return type: nowhere, a string,
// a flag, or a payload to decode. Each hands the proxy call its out-arguments as a tuple.
template <typename Return>
struct Answer;

template <>
struct Answer<ERROR_CODE> {
  std::tuple<> Slots() { return {}; }
  ERROR_CODE Take(ERROR_CODE code) { return code; }
};

template <>
struct Answer<Result<std::string>> {
  gchar* text = nullptr;
  std::tuple<gchar**> Slots() { return {&text}; }
  Result<std::string> Take(ERROR_CODE code) { return TakeString(code, text); }
};

template <>
struct Answer<Result<bool>> {
  gboolean value = FALSE;
  std::tuple<gboolean*> Slots() { return {&value}; }
  Result<bool> Take(ERROR_CODE code) { return {code, code == ERROR_CODE::NONE && value != FALSE}; }
};

template <typename T>
struct Answer<Result<T>> {
  GVariantWrapper payload;
  std::tuple<GVariant**> Slots() { return {payload.LateInitWithRaw()}; }
  Result<T> Take(ERROR_CODE code) { return Decoded<T>(code, payload); }
};

}  // namespace

MeshGDBusClient::MeshGDBusClient(const std::string& busName, const std::string& objectPath)
    : GDBusClient<OrvaMesh>(busName, objectPath, G_BUS_TYPE_SYSTEM, &orva_mesh_proxy_new_for_bus_sync),
      quark_(GDBusCommon::InitGDBusQuark(objectPath, MeshGDBusCommon::ErrorCodeToErrorEntry())) {}

template <typename Callable>
ERROR_CODE MeshGDBusClient::Call(Callable&& call) {
  int32_t code = 0;
  if (InvokeMethod(call, quark_, code)) return ERROR_CODE::NONE;
  return RefusalToClientCode(code);
}

// The operation's call with the generated proxy function `proxyCall`, as a callable of the
// operation's arguments.
template <typename Return, typename ProxyCall>
auto MeshGDBusClient::Method(ProxyCall proxyCall) {
  return [this, proxyCall](const auto&... in) {
    const auto wire = std::make_tuple(ToWire(in)...);
    Answer<Return> answer;
    const ERROR_CODE code = this->Call([&](OrvaMesh* proxy, GCancellable* cancellable, GError** error) {
      return std::apply(
          [&](const auto&... args) {
            return std::apply([&](auto... slots) { return proxyCall(proxy, Raw(args)..., slots..., cancellable, error); },
                              answer.Slots());
          },
          wire);
    });
    return answer.Take(code);
  };
}

#define ORVA_DEFINE_METHOD(Return, Operation, Parameters, Arguments, DBusMethod, proxy_call) \
  Return MeshGDBusClient::DBusMethod Parameters {                                          \
    return Method<Return>(&orva_mesh_call_##proxy_call##_sync) Arguments;                  \
  }
ORVA_MESH_DBUS_METHODS(ORVA_DEFINE_METHOD)
#undef ORVA_DEFINE_METHOD

MeshGDBusSignalReceiver::MeshGDBusSignalReceiver(const std::string& busName, const std::string& objectPath)
    : GDBusSignalReceiver<OrvaMesh>(busName, objectPath, G_BUS_TYPE_SYSTEM,
                                    &orva_mesh_proxy_new_for_bus_sync) {}

void MeshGDBusSignalReceiver::SetDummyHandler(std::function<void()> handler) {
  dummyHandler_ = std::move(handler);
}

void MeshGDBusSignalReceiver::StartReceiving() {
  GDBusSignalReceiver<OrvaMesh>::StartReceiving({{"DummySignal", [this] {
                                                    if (dummyHandler_) dummyHandler_();
                                                  }}});
}

void MeshGDBusSignalReceiver::StopReceiving() { GDBusSignalReceiver<OrvaMesh>::StopReceiving(); }

}  // namespace ORVA::MESH::SDK::Dbus
