#include "orvamesh/client/mesh_client.h"

#include <exception>

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Client {

namespace {
constexpr const char* kUnhandled = "Unhandled exception, underlying exception wrapped in std::nested_exception";
constexpr const char* kUnrecognized =
    "Unrecognized exception, underlying exception wrapped in std::nested_exception";

// Called inside a catch block: the exception being handled becomes the nested one.
[[noreturn]] void WrapCurrent(const Exception::ExceptionLocation& location, const char* message) {
  std::throw_with_nested(Exception::MeshClientException(location, message));
}
}  // namespace

// The location names the public operation (__func__), never the transport below it.
#define ORVA_GUARDED(call)                          \
  try {                                             \
    return call;                                    \
  } catch (const std::exception&) {                 \
    WrapCurrent(ORVA_LOCATION(), kUnhandled);       \
  } catch (...) {                                   \
    WrapCurrent(ORVA_LOCATION(), kUnrecognized);    \
  }

MeshClient::~MeshClient() = default;

#define ORVA_DEFINE_OPERATION(Return, Operation, Parameters, Arguments, ...) \
  Return MeshClient::Operation Parameters { ORVA_GUARDED(Operation##Impl Arguments); }
ORVA_MESH_CLIENT_OPERATIONS(ORVA_DEFINE_OPERATION, ORVA_DEFINE_OPERATION)
#undef ORVA_DEFINE_OPERATION

#undef ORVA_GUARDED

}  // namespace ORVA::MESH::SDK::Client
