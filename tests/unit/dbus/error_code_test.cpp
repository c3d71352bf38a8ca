#include <gtest/gtest.h>

#include <boost/numeric/conversion/converter_policies.hpp>
#include <string>

#include "orvamesh/client/error_code.h"
#include "orvamesh/dbus/gdbus_common.h"
#include "orvamesh/dbus/mesh_gdbus_error_code.h"
#include "orvamesh/base/exception.h"
#include "support/thrown_text.h"

namespace {

using namespace ORVA::MESH::SDK;
using Client::ERROR_CODE;
using Dbus::MESH_GDBUS_ERROR_CODE;

struct Row {
  uint16_t busNumber;
  const char* busName;
  ERROR_CODE client;
  const char* clientName;
};

// The whole cast table, one row per bus code.
const Row kRows[] = {
    {0, "None", ERROR_CODE::NONE, "NONE"},
    {1, "InternalError", ERROR_CODE::SERVER_INTERNAL_ERROR, "SERVER_INTERNAL_ERROR"},
    {2, "SetupInProgress", ERROR_CODE::SETUP_IN_PROGRESS, "SETUP_IN_PROGRESS"},
    {3, "RemovalInProgress", ERROR_CODE::REMOVAL_IN_PROGRESS, "REMOVAL_IN_PROGRESS"},
    {4, "ScanningInProgress", ERROR_CODE::SCANNING_IN_PROGRESS, "SCANNING_IN_PROGRESS"},
    {5, "UpgradeInProgress", ERROR_CODE::UPGRADE_IN_PROGRESS, "UPGRADE_IN_PROGRESS"},
    {6, "CurrentlyUnavailable", ERROR_CODE::CURRENTLY_UNAVAILABLE, "CURRENTLY_UNAVAILABLE"},
    {7, "NodeNotExist", ERROR_CODE::NODE_NOT_EXIST, "NODE_NOT_EXIST"},
    {8, "NodeAlreadyExist", ERROR_CODE::NODE_ALREADY_EXIST, "NODE_ALREADY_EXIST"},
    {9, "SetupRejectPlatformIncompatible", ERROR_CODE::SETUP_REJECT_PLATFORM_INCOMPATIBLE,
     "SETUP_REJECT_PLATFORM_INCOMPATIBLE"},
    {10, "SetupRejectCAPNeedUpgrade", ERROR_CODE::SETUP_REJECT_CAP_NEED_UPGRADE, "SETUP_REJECT_CAP_NEED_UPGRADE"},
};

using orva::test::ThrownText;

// The line of a location is the throw site's, so compare around it.
void ExpectWhat(const std::string& what, const std::string& place, const std::string& message) {
  EXPECT_EQ(what.rfind(place + ":", 0), 0u) << what;
  EXPECT_TRUE(what.size() > message.size() + 2 && what.compare(what.size() - message.size() - 2, std::string::npos,
                                                                ": " + message) == 0)
      << what;
}

// The D-Bus error name GIO gives an error of `quark` with `code`.
std::string EncodedName(GQuark quark, int code) {
  GError* error = g_error_new_literal(quark, code, "m");
  gchar* name = g_dbus_error_encode_gerror(error);
  const std::string encoded = name;
  g_free(name);
  g_error_free(error);
  return encoded;
}

// Every row also names its registered error entry, and the entries run in ascending code order.
TEST(ErrorCodeTables, EveryBusCodeCastsBothWaysAndCarriesItsNames) {
  const auto entries = Dbus::MeshGDBusCommon::ErrorCodeToErrorEntry();
  ASSERT_EQ(entries.GetErrorEntrySize(), std::size(kRows));
  for (std::size_t i = 0; i < std::size(kRows); ++i) {
    const Row& row = kRows[i];
    const auto bus = static_cast<MESH_GDBUS_ERROR_CODE>(row.busNumber);
    EXPECT_STREQ(Dbus::ToSemanticString(bus), row.busName);
    EXPECT_EQ(Dbus::ToClientErrorCode(bus), row.client) << row.busName;
    EXPECT_EQ(Dbus::FromClientErrorCode(row.client), bus) << row.clientName;
    EXPECT_STREQ(Client::ErrorCodeToSemanticString(row.client), row.clientName);
    EXPECT_EQ(Dbus::MarshalToNumerical(bus), row.busNumber);
    EXPECT_EQ(Dbus::UnmarshalFromNumerical(row.busNumber), bus);
    EXPECT_EQ(entries.GetErrorEntryPointer()[i].error_code, row.busNumber);
    EXPECT_EQ(std::string("ORVA.QRX.MESH.") + row.busName, entries.GetErrorEntryPointer()[i].dbus_error_name);
  }
}

// Outbound unknown values are programming errors, inbound ones are data errors, and the bus
// side's names and all numerical strings are for log lines, so they never throw. UNKNOWN_ERROR
// has a name but can never be sent.
TEST(ErrorCodeTables, UnknownValuesFailByDirection) {
  EXPECT_STREQ(Client::ErrorCodeToSemanticString(ERROR_CODE::UNKNOWN_ERROR), "UNKNOWN_ERROR");
  ExpectWhat(ThrownText<Exception::InvalidEnumException>([] { Dbus::FromClientErrorCode(ERROR_CODE::UNKNOWN_ERROR); }),
             "dbus/mesh_gdbus_error_code:FromClientErrorCode",
             "Invalid ERROR_CODE enum passed, raw value: 1, forgot to add the entry in the cast map?");
  const auto bad = static_cast<MESH_GDBUS_ERROR_CODE>(12);
  EXPECT_STREQ(Dbus::ToSemanticString(bad), "UndefinedEnum");
  EXPECT_EQ(Client::ErrorCodeToNumericalString(static_cast<ERROR_CODE>(65535)), "65535");
  EXPECT_EQ(Dbus::ToNumericalString(static_cast<MESH_GDBUS_ERROR_CODE>(65535)), "65535");
  EXPECT_THROW(Client::ErrorCodeToSemanticString(static_cast<ERROR_CODE>(12)), Exception::InvalidEnumException);
  EXPECT_THROW(Dbus::MarshalToNumerical(bad), Exception::InvalidEnumException);
  EXPECT_THROW(Dbus::ToClientErrorCode(bad), Exception::InvalidEnumException);
  ExpectWhat(ThrownText<Exception::MalformedEnumException>([] { Dbus::UnmarshalFromNumerical(11); }),
             "dbus/mesh_gdbus_error_code:UnmarshalFromNumerical",
             "Invalid numerical value passed for unmarshalling, raw value: 11");
  // The bus's integers: an unknown code, and values outside sixteen bits that fail the narrowing.
  EXPECT_THROW(Dbus::MeshGDBusCommon::MarshalErrorCodeToGInt(bad), Exception::InvalidEnumException);
  EXPECT_THROW(Dbus::MeshGDBusCommon::UnmarshalErrorCodeFromGInt(11), Exception::MalformedEnumException);
  EXPECT_THROW(Dbus::MeshGDBusCommon::UnmarshalErrorCodeFromGInt(-1), boost::numeric::negative_overflow);
  EXPECT_THROW(Dbus::MeshGDBusCommon::UnmarshalErrorCodeFromGInt(65536), boost::numeric::positive_overflow);
}

TEST(ErrorEntryContainer, KeepsItsNamesValidThroughCopiesMovesAndGrowth) {
  Dbus::ErrorEntryContainer original;
  const std::string name = "a.long.enough.name.to.leave.small.buffers.N";
  for (int i = 0; i < 40; ++i) original.InsertEntry(i, name + std::to_string(i));
  Dbus::ErrorEntryContainer copy = original;
  Dbus::ErrorEntryContainer moved = std::move(original);
  for (const auto* container : {&copy, &moved}) {
    ASSERT_EQ(container->GetErrorEntrySize(), 40u);
    EXPECT_EQ(container->GetErrorEntryConstReference()[39].dbus_error_name, name + "39");
    EXPECT_EQ(container->GetErrorEntryConstReference()[39].error_code, 39);
  }
}

TEST(ErrorEntryContainer, RefusesNamesThatAreNotDBusNames) {
  Dbus::ErrorEntryContainer container;
  for (const char* bad : {"", "NoDots", "ORVA..Empty", "ORVA.QRX.1Digit", "ORVA.QRX.MESH.Bad Char"}) {
    ExpectWhat(ThrownText<Exception::LogicException>([&] { container.InsertEntry(1, bad); }),
               "dbus/gdbus_common:InsertEntry",
               std::string("Error name [") + bad + "] is not a valid dbus error name");
  }
  EXPECT_EQ(container.GetErrorEntrySize(), 0u);
}

// A domain is registered once: a later call reuses the quark and registers nothing more, even
// when the first registration failed part way (it is reported once and keeps what it got).
TEST(InitGDBusQuark, RegistersADomainOnceEvenWhenTheRegistrationFailedPartWay) {
  Dbus::ErrorEntryContainer first, second;
  first.InsertEntry(1, "com.example.UnitTest.First");
  first.InsertEntry(2, "com.example.UnitTest.First");  // GIO refuses a name twice
  first.InsertEntry(3, "com.example.UnitTest.Never");
  second.InsertEntry(4, "com.example.UnitTest.Second");
  ExpectWhat(ThrownText<Exception::RuntimeException>([&] { Dbus::GDBusCommon::InitGDBusQuark("orva-unit", first); }),
             "dbus/gdbus_common:register_error_domain",
             "Fail to register error entry [com.example.UnitTest.First] for domain [orva-unit]");
  const GQuark quark = Dbus::GDBusCommon::InitGDBusQuark("orva-unit", second);
  EXPECT_EQ(quark, g_quark_try_string("orva-unit"));
  EXPECT_EQ(EncodedName(quark, 1), "com.example.UnitTest.First");
  EXPECT_NE(EncodedName(quark, 3), "com.example.UnitTest.Never");
  EXPECT_NE(EncodedName(quark, 4), "com.example.UnitTest.Second");
}

}  // namespace
