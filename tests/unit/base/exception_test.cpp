#include "orvamesh/base/exception.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "orvamesh/base/source_path.h"
#include "support/thrown_text.h"

namespace {

using namespace ORVA::MESH::SDK;
using orva::test::ThrownText;

// Each member must be catchable through every base the family promises (a public, unambiguous
// base), and the logic branch never through the runtime one.
template <typename Base, typename... Thrown>
constexpr bool kCaughtAs = (std::is_convertible_v<const Thrown*, const Base*> && ...);
namespace E = Exception;
static_assert(kCaughtAs<std::runtime_error, E::RuntimeException>);
static_assert(kCaughtAs<std::logic_error, E::LogicException>);
static_assert(kCaughtAs<E::LogicException, E::InvalidArgumentException, E::InvalidEnumException>);
static_assert(kCaughtAs<E::RuntimeException, E::MalformedPacketException, E::MalformedEnumException,
                        E::IpAddressNotExistException, E::WebapiException, E::MeshClientException,
                        Dbus::GDBusServiceUnknownError, Model::ModelNotRecognizedException>);
static_assert(!kCaughtAs<std::runtime_error, E::InvalidEnumException>);

void ThrowingFunction() { ORVA_THROW(Exception::RuntimeException, "boom"); }

TEST(ThrowMacro, WhatReadsModuleFunctionAndLineOfTheThrowSiteThenTheMessage) {
  const int line = __LINE__ - 3;
  EXPECT_EQ(ThrownText<Exception::RuntimeException>(ThrowingFunction),
            "tests/unit/base/exception_test:ThrowingFunction:" + std::to_string(line) + ": boom");
  const auto named = [] { ORVA_THROW_IN(Exception::LogicException, "register_error_domain", "x"); };
  EXPECT_NE(ThrownText<Exception::LogicException>(named).find(":register_error_domain:"), std::string::npos);
}

TEST(SourcePath, KeepsTheModulePathWithoutExtension) {
  const std::pair<const char*, const char*> cases[] = {
      {"utils/mutex.cpp", "utils/mutex"},
      {"/home/dev/src/liborvamesh/src/dbus/gdbus_client.cpp", "dbus/gdbus_client"},
      {"mac.cpp", "mac"},
      {"platform/dir.v2/file", "platform/dir.v2/file"},
  };
  for (const auto& [file, expected] : cases) EXPECT_EQ(Detail::SourcePath(file), expected) << file;
}

// The header path must survive into a user's program, where no prefix map shortened __FILE__.
static_assert(Detail::SourcePath("/x/include/orvamesh/utils/mutex.h") == "utils/mutex");

}  // namespace
