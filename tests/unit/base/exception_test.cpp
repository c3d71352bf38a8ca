#include "orvamesh/base/exception.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "orvamesh/base/source_path.h"

namespace {

using namespace ORVA::MESH::SDK;
using Exception::ExceptionLocation;

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

// Each member must be catchable through every base the family promises.
template <typename Thrown, typename... Bases>
void ExpectCatchableAs() {
  auto caughtAs = [](auto* base) {
    using Base = std::remove_pointer_t<decltype(base)>;
    try {
      throw Thrown(ExceptionLocation("f", "g", 1), "m");
    } catch (const Base&) {
      return true;
    } catch (...) {
      return false;
    }
  };
  const bool results[] = {caughtAs(static_cast<Bases*>(nullptr))...};
  for (bool caught : results) EXPECT_TRUE(caught) << typeid(Thrown).name();
}

TEST(Exception, EveryMemberIsCaughtByItsBases) {
  using namespace Exception;
  ExpectCatchableAs<RuntimeException, std::runtime_error, std::exception>();
  ExpectCatchableAs<LogicException, std::logic_error, std::exception>();
  ExpectCatchableAs<InvalidArgumentException, LogicException, std::logic_error>();
  ExpectCatchableAs<InvalidEnumException, LogicException, std::logic_error>();
  ExpectCatchableAs<MalformedPacketException, RuntimeException, std::runtime_error>();
  ExpectCatchableAs<MalformedEnumException, RuntimeException, std::runtime_error>();
  ExpectCatchableAs<IpAddressNotExistException, RuntimeException, std::runtime_error>();
  ExpectCatchableAs<WebapiException, RuntimeException, std::runtime_error>();
  ExpectCatchableAs<MeshClientException, RuntimeException, std::runtime_error>();
  ExpectCatchableAs<Dbus::GDBusServiceUnknownError, RuntimeException, std::runtime_error>();
  ExpectCatchableAs<Model::ModelNotRecognizedException, RuntimeException, std::runtime_error>();
}

TEST(Exception, LogicAndRuntimeBranchesStayApart) {
  auto raise = [] { throw Exception::InvalidEnumException(ExceptionLocation("f", "g", 1), "m"); };
  bool caughtAsRuntime = false;
  try {
    raise();
  } catch (const std::runtime_error&) {
    caughtAsRuntime = true;
  } catch (const std::logic_error&) {
  }
  EXPECT_FALSE(caughtAsRuntime);
}

void ThrowingFunction() { ORVA_THROW(Exception::RuntimeException, "boom"); }

TEST(ThrowMacro, TakesFileFunctionAndLineFromTheThrowSite) {
  const int line = __LINE__ - 3;
  try {
    ThrowingFunction();
    FAIL() << "no exception";
  } catch (const Exception::RuntimeException& e) {
    EXPECT_EQ(std::string(e.what()), "tests/unit/base/exception_test:ThrowingFunction:" + std::to_string(line) + ": boom");
  }
}

TEST(ThrowMacro, AcceptsAnExplicitFunctionName) {
  try {
    ORVA_THROW_IN(Exception::LogicException, "register_error_domain", "x");
  } catch (const Exception::LogicException& e) {
    EXPECT_NE(std::string(e.what()).find(":register_error_domain:"), std::string::npos);
  }
}

struct SourcePathCase {
  const char* file;
  const char* expected;
};

class SourcePathTest : public ::testing::TestWithParam<SourcePathCase> {};

TEST_P(SourcePathTest, ShortensToTheModulePathWithoutExtension) {
  EXPECT_EQ(Detail::SourcePath(GetParam().file), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, SourcePathTest,
    ::testing::Values(
        SourcePathCase{"utils/mutex.cpp", "utils/mutex"},
        SourcePathCase{"/usr/include/orvamesh/serialization/serializer.h", "serialization/serializer"},
        SourcePathCase{"../include/orvamesh/scan_wired/msgpack_serializer.h", "scan_wired/msgpack_serializer"},
        SourcePathCase{"/home/dev/src/liborvamesh/src/dbus/gdbus_client.cpp", "dbus/gdbus_client"},
        SourcePathCase{"/opt/include/orvamesh/mac.h", "mac"},
        SourcePathCase{"mac.cpp", "mac"},
        SourcePathCase{"platform/dir.v2/file", "platform/dir.v2/file"}),
    [](const auto& info) { return "Case" + std::to_string(info.index); });

// The header path must survive into a user's program, where no prefix map shortened __FILE__.
static_assert(Detail::SourcePath("/x/include/orvamesh/utils/mutex.h") == "utils/mutex");

}  // namespace
