#include "orvamesh/base/exception.h"

#include <string>
#include <utility>

namespace ORVA::MESH::SDK::Exception {

ExceptionLocation::ExceptionLocation(std::string file, std::string function, int32_t line)
    : file_(std::move(file)), function_(std::move(function)), line_(line) {}

std::string ExceptionLocation::ToString() const {
  return file_ + ":" + function_ + ":" + std::to_string(line_);
}

namespace {
std::string Compose(const ExceptionLocation& location, const std::string& message) {
  return location.ToString() + ": " + message;
}
}  // namespace

RuntimeException::RuntimeException(const ExceptionLocation& location, const std::string& message)
    : std::runtime_error(Compose(location, message)) {}

LogicException::LogicException(const ExceptionLocation& location, const std::string& message)
    : std::logic_error(Compose(location, message)) {}

#define ORVA_DEFINE_EXCEPTION(Name, Base) \
  Name::Name(const ExceptionLocation& location, const std::string& message) : Base(location, message) {}

ORVA_DEFINE_EXCEPTION(InvalidArgumentException, LogicException)
ORVA_DEFINE_EXCEPTION(InvalidEnumException, LogicException)
ORVA_DEFINE_EXCEPTION(MalformedPacketException, RuntimeException)
ORVA_DEFINE_EXCEPTION(MalformedEnumException, RuntimeException)
ORVA_DEFINE_EXCEPTION(IpAddressNotExistException, RuntimeException)
ORVA_DEFINE_EXCEPTION(WebapiException, RuntimeException)
ORVA_DEFINE_EXCEPTION(MeshClientException, RuntimeException)

}  // namespace ORVA::MESH::SDK::Exception

namespace ORVA::MESH::SDK::Dbus {
using Exception::ExceptionLocation;
using Exception::RuntimeException;
ORVA_DEFINE_EXCEPTION(GDBusServiceUnknownError, RuntimeException)
}  // namespace ORVA::MESH::SDK::Dbus

namespace ORVA::MESH::SDK::Model {
using Exception::ExceptionLocation;
using Exception::RuntimeException;
ORVA_DEFINE_EXCEPTION(ModelNotRecognizedException, RuntimeException)
}  // namespace ORVA::MESH::SDK::Model

namespace ORVA::MESH::SDK::Exception {
std::string WithErrno(const std::string& message, int error) {
  return message + ", errno: [" + std::to_string(error) + "]";
}
}  // namespace ORVA::MESH::SDK::Exception
