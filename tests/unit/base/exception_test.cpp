#include "orvamesh/base/exception.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "orvamesh/base/source_path.h"
#include "support/thrown_text.h"

namespace {

using namespace ORVA::MESH::SDK;
using Exception::ExceptionLocation;
using orva::test::ThrownText;

TEST(ExceptionLocation, JoinsFileFunctionAndLineWithColons) {
  EXPECT_EQ(ExceptionLocation("dbus/gdbus_client", "InvokeMethod", 74).ToString(),
            "dbus/gdbus_client:InvokeMethod:74");
  EXPECT_EQ(ExceptionLocation("a", "f", -3).ToString(), "a:f:-3");
}

TEST(Exception, WhatReadsLocationThenMessage) {
  Exception::InvalidEnumException e(ExceptionLocation("dbus/mesh_gdbus_error_code", "MarshalToNumerical", 73),
                                    "Invalid MESH_GDBUS_ERROR_CODE enum passed, raw value: 12");
  EXPECT_STREQ(e.what(),
               "dbus/mesh_gdbus_error_code:MarshalToNumerical:73: "
               "Invalid MESH_GDBUS_ERROR_CODE enum passed, raw value: 12");
}

// Each member must be catchable through every base the family promises (a public, unambiguous
// base), and the logic branch never through the runtime one.
template <typename Thrown, typename... Bases>
constexpr bool kCaughtAs = (std::is_convertible_v<const Thrown*, const Bases*> && ...);
namespace E = Exception;
static_assert(kCaughtAs<E::RuntimeException, std::runtime_error, std::exception>);
static_assert(kCaughtAs<E::LogicException, std::logic_error, std::exception>);
static_assert(kCaughtAs<E::InvalidArgumentException, E::LogicException, std::logic_error>);
static_assert(kCaughtAs<E::InvalidEnumException, E::LogicException, std::logic_error>);
static_assert(kCaughtAs<E::MalformedPacketException, E::RuntimeException, std::runtime_error>);
static_assert(kCaughtAs<E::MalformedEnumException, E::RuntimeException, std::runtime_error>);
static_assert(kCaughtAs<E::IpAddressNotExistException, E::RuntimeException, std::runtime_error>);
static_assert(kCaughtAs<E::WebapiException, E::RuntimeException, std::runtime_error>);
static_assert(kCaughtAs<E::MeshClientException, E::RuntimeException, std::runtime_error>);
static_assert(kCaughtAs<Dbus::GDBusServiceUnknownError, E::RuntimeException, std::runtime_error>);
static_assert(kCaughtAs<Model::ModelNotRecognizedException, E::RuntimeException, std::runtime_error>);
static_assert(!kCaughtAs<E::InvalidEnumException, std::runtime_error>);

void ThrowingFunction() { ORVA_THROW(Exception::RuntimeException, "boom"); }

TEST(ThrowMacro, TakesFileFunctionAndLineFromTheThrowSite) {
  const int line = __LINE__ - 3;
  EXPECT_EQ(ThrownText<Exception::RuntimeException>(ThrowingFunction),
            "tests/unit/base/exception_test:ThrowingFunction:" + std::to_string(line) + ": boom");
  const auto named = [] { ORVA_THROW_IN(Exception::LogicException, "register_error_domain", "x"); };
  EXPECT_NE(ThrownText<Exception::LogicException>(named).find(":register_error_domain:"), std::string::npos);
}

// Shortens to the module path without extension.
TEST(SourcePath, KeepsTheModulePathWithoutExtension) {
  const std::pair<const char*, const char*> cases[] = {
      {"utils/mutex.cpp", "utils/mutex"},
      {"/usr/include/orvamesh/serialization/serializer.h", "serialization/serializer"},
      {"../include/orvamesh/scan_wired/msgpack_serializer.h", "scan_wired/msgpack_serializer"},
      {"/home/dev/src/liborvamesh/src/dbus/gdbus_client.cpp", "dbus/gdbus_client"},
      {"/opt/include/orvamesh/mac.h", "mac"},
      {"mac.cpp", "mac"},
      {"platform/dir.v2/file", "platform/dir.v2/file"},
  };
  for (const auto& [file, expected] : cases) EXPECT_EQ(Detail::SourcePath(file), expected) << file;
}

// The header path must survive into a user's program, where no prefix map shortened __FILE__.
static_assert(Detail::SourcePath("/x/include/orvamesh/utils/mutex.h") == "utils/mutex");

}  // namespace
