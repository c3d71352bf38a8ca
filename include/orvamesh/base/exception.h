#pragma once
// The library's exception family. Every exception carries the place it was thrown from, and
// what() reads "file:function:line: message". Throw them with ORVA_THROW so that the place is
// taken from the throw site and never typed by hand.
#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "orvamesh/export.h"
#include "orvamesh/base/source_path.h"

namespace ORVA::MESH::SDK::Exception {

class ORVA_EXPORT ExceptionLocation {
 public:
  ExceptionLocation(std::string file, std::string function, int32_t line);

  const std::string& GetFile() const noexcept { return file_; }
  const std::string& GetFunction() const noexcept { return function_; }
  int32_t GetLine() const noexcept { return line_; }
  // "file:function:line"
  std::string ToString() const;

 private:
  std::string file_;
  std::string function_;
  int32_t line_;
};

class ORVA_EXPORT RuntimeException : public std::runtime_error {
 public:
  RuntimeException(const ExceptionLocation& location, const std::string& message);
};

class ORVA_EXPORT LogicException : public std::logic_error {
 public:
  LogicException(const ExceptionLocation& location, const std::string& message);
};

#define ORVA_DECLARE_EXCEPTION(Name, Base)                                    \
  class ORVA_EXPORT Name : public Base {                                      \
   public:                                                                    \
    Name(const ::ORVA::MESH::SDK::Exception::ExceptionLocation& location, const std::string& message); \
  }

ORVA_DECLARE_EXCEPTION(InvalidArgumentException, LogicException);
ORVA_DECLARE_EXCEPTION(InvalidEnumException, LogicException);
ORVA_DECLARE_EXCEPTION(MalformedPacketException, RuntimeException);
ORVA_DECLARE_EXCEPTION(MalformedEnumException, RuntimeException);
ORVA_DECLARE_EXCEPTION(IpAddressNotExistException, RuntimeException);
ORVA_DECLARE_EXCEPTION(WebapiException, RuntimeException);
ORVA_DECLARE_EXCEPTION(MeshClientException, RuntimeException);

}  // namespace ORVA::MESH::SDK::Exception

namespace ORVA::MESH::SDK::Dbus {
// The D-Bus peer name is not owned by anybody on the bus.
ORVA_DECLARE_EXCEPTION(GDBusServiceUnknownError, ::ORVA::MESH::SDK::Exception::RuntimeException);
}  // namespace ORVA::MESH::SDK::Dbus

namespace ORVA::MESH::SDK::Model {
// A router model that the model table does not know.
ORVA_DECLARE_EXCEPTION(ModelNotRecognizedException, ::ORVA::MESH::SDK::Exception::RuntimeException);
}  // namespace ORVA::MESH::SDK::Model

#undef ORVA_DECLARE_EXCEPTION

namespace ORVA::MESH::SDK::Exception {
// "<message>, errno: [<error>]": the one spelling of a failed C call in messages and log lines.
ORVA_EXPORT std::string WithErrno(const std::string& message, int error);
}  // namespace ORVA::MESH::SDK::Exception

// The location of the current line, in the current function.
#define ORVA_LOCATION()                                                          \
  ::ORVA::MESH::SDK::Exception::ExceptionLocation(std::string(ORVA_SOURCE_FILE), \
                                                  __func__, __LINE__)
// The same with a function name of the caller's choosing (lambdas, helpers that report for
// their caller).
#define ORVA_LOCATION_IN(function)                                               \
  ::ORVA::MESH::SDK::Exception::ExceptionLocation(std::string(ORVA_SOURCE_FILE), \
                                                  (function), __LINE__)

#define ORVA_THROW(Type, message) throw Type(ORVA_LOCATION(), (message))
#define ORVA_THROW_IN(Type, function, message) throw Type(ORVA_LOCATION_IN(function), (message))

// Throws Type with "<message>, errno: [<errno>]" when cond holds. errno is read before the
// message is built, so nothing the message calls can overwrite it.
#define ORVA_THROW_ERRNO_IF(cond, Type, message)                                      \
  do {                                                                                \
    if (cond) {                                                                       \
      const int orvaSavedErrno = errno;                                               \
      ORVA_THROW(Type, ::ORVA::MESH::SDK::Exception::WithErrno((message), orvaSavedErrno)); \
    }                                                                                 \
  } while (false)
