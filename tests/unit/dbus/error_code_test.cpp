#include <gtest/gtest.h>

#include <boost/numeric/conversion/converter_policies.hpp>
#include <string>

#include "orvamesh/client/error_code.h"
#include "orvamesh/dbus/gdbus_common.h"
#include "orvamesh/dbus/mesh_gdbus_error_code.h"
#include "orvamesh/base/exception.h"

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

template <typename Thrown, typename Call>
std::string WhatOf(Call call) {
  try {
    call();
  } catch (const Thrown& e) {
    return e.what();
  }
  return "(nothing thrown)";
}

// The line of a location is the throw site's, so compare around it.
void ExpectWhat(const std::string& what, const std::string& place, const std::string& message) {
  EXPECT_EQ(what.rfind(place + ":", 0), 0u) << what;
  EXPECT_NE(what.find(": " + message), std::string::npos) << what;
  EXPECT_TRUE(what.size() >= message.size() && what.compare(what.size() - message.size(), message.size(), message) == 0)
      << what;
}

TEST(ErrorCodeTables, EveryBusCodeCastsBothWaysAndCarriesItsNames) {
  for (const Row& row : kRows) {
    const auto bus = static_cast<MESH_GDBUS_ERROR_CODE>(row.busNumber);
    EXPECT_STREQ(Dbus::ToSemanticString(bus), row.busName);
    EXPECT_EQ(Dbus::ToNumericalString(bus), std::to_string(row.busNumber));
    EXPECT_EQ(Dbus::ToClientErrorCode(bus), row.client) << row.busName;
    EXPECT_EQ(Dbus::FromClientErrorCode(row.client), bus) << row.clientName;
    EXPECT_STREQ(Client::ErrorCodeToSemanticString(row.client), row.clientName);
    EXPECT_EQ(Dbus::MarshalToNumerical(bus), row.busNumber);
    EXPECT_EQ(Dbus::UnmarshalFromNumerical(row.busNumber), bus);
    EXPECT_EQ(Dbus::MeshGDBusCommon::UnmarshalErrorCodeFromGInt(row.busNumber), bus);
    EXPECT_EQ(Dbus::MeshGDBusCommon::MarshalErrorCodeToGInt(bus), static_cast<int32_t>(row.busNumber));
  }
  EXPECT_EQ(Dbus::GetMeshGDBusErrorCodeMap().size(), std::size(kRows));
}

TEST(ErrorCodeTables, UnknownErrorHasANameButCanNeverBeSent) {
  EXPECT_STREQ(Client::ErrorCodeToSemanticString(ERROR_CODE::UNKNOWN_ERROR), "UNKNOWN_ERROR");
  ExpectWhat(WhatOf<Exception::InvalidEnumException>([] { Dbus::FromClientErrorCode(ERROR_CODE::UNKNOWN_ERROR); }),
             "dbus/mesh_gdbus_error_code:FromClientErrorCode",
             "Invalid ERROR_CODE enum passed, raw value: 1, forgot to add the entry in the cast map?");
}

TEST(ErrorCodeTables, NumericalStringsCoverEveryRawValue) {
  EXPECT_EQ(Client::ErrorCodeToNumericalString(static_cast<ERROR_CODE>(65535)), "65535");
  EXPECT_EQ(Dbus::ToNumericalString(static_cast<MESH_GDBUS_ERROR_CODE>(65535)), "65535");
}

// Outbound unknown values are programming errors, inbound ones are data errors, and the bus
// side's names are for log lines, so they never throw.
TEST(ErrorCodeTables, UnknownValuesFailByDirection) {
  const auto bad = static_cast<MESH_GDBUS_ERROR_CODE>(12);
  EXPECT_STREQ(Dbus::ToSemanticString(bad), "UndefinedEnum");
  ExpectWhat(WhatOf<Exception::InvalidEnumException>(
                 [] { Client::ErrorCodeToSemanticString(static_cast<ERROR_CODE>(12)); }),
             "client/error_code:ErrorCodeToSemanticString", "Invalid error code passed, raw value: 12");
  ExpectWhat(WhatOf<Exception::InvalidEnumException>([&] { Dbus::MarshalToNumerical(bad); }),
             "dbus/mesh_gdbus_error_code:MarshalToNumerical",
             "Invalid MESH_GDBUS_ERROR_CODE enum passed, raw value: 12");
  ExpectWhat(WhatOf<Exception::InvalidEnumException>([&] { Dbus::ToClientErrorCode(bad); }),
             "dbus/mesh_gdbus_error_code:ToClientErrorCode",
             "Invalid MESH_GDBUS_ERROR_CODE enum passed, raw value: 12, forgot to add the entry in the cast map?");
  ExpectWhat(WhatOf<Exception::MalformedEnumException>([] { Dbus::UnmarshalFromNumerical(11); }),
             "dbus/mesh_gdbus_error_code:UnmarshalFromNumerical",
             "Invalid numerical value passed for unmarshalling, raw value: 11");
  EXPECT_THROW(Dbus::MeshGDBusCommon::UnmarshalErrorCodeFromGInt(11), Exception::MalformedEnumException);
}

TEST(ErrorCodeTables, BusIntegersOutsideSixteenBitsFailTheNarrowing) {
  using Common = Dbus::MeshGDBusCommon;
  EXPECT_THROW(Common::UnmarshalErrorCodeFromGInt(-1), boost::numeric::negative_overflow);
  EXPECT_THROW(Common::UnmarshalErrorCodeFromGInt(65536), boost::numeric::positive_overflow);
  EXPECT_THROW(Common::MarshalErrorCodeToGInt(static_cast<MESH_GDBUS_ERROR_CODE>(11)),
               Exception::InvalidEnumException);
}

TEST(ErrorEntryContainer, ListsTheMeshNamesInAscendingCodeOrder) {
  const auto entries = Dbus::MeshGDBusCommon::ErrorCodeToErrorEntry();
  ASSERT_EQ(entries.GetErrorEntrySize(), std::size(kRows));
  for (std::size_t i = 0; i < std::size(kRows); ++i) {
    EXPECT_EQ(entries.GetErrorEntryPointer()[i].error_code, kRows[i].busNumber);
    EXPECT_EQ(std::string(entries.GetErrorEntryPointer()[i].dbus_error_name),
              std::string("ORVA.QRX.MESH.") + kRows[i].busName);
  }
}

TEST(ErrorEntryContainer, KeepsItsNamesValidThroughCopiesMovesAndGrowth) {
  Dbus::ErrorEntryContainer original;
  for (int i = 0; i < 40; ++i) original.InsertEntry(i, "a.long.enough.name.to.leave.small.buffers.N" + std::to_string(i));
  Dbus::ErrorEntryContainer copy = original;
  Dbus::ErrorEntryContainer moved = std::move(original);
  for (const auto* container : {&copy, &moved}) {
    ASSERT_EQ(container->GetErrorEntrySize(), 40u);
    EXPECT_STREQ(container->GetErrorEntryConstReference()[39].dbus_error_name,
                 "a.long.enough.name.to.leave.small.buffers.N39");
    EXPECT_EQ(container->GetErrorEntryConstReference()[39].error_code, 39);
  }
}

TEST(ErrorEntryContainer, RefusesNamesThatAreNotDBusNames) {
  Dbus::ErrorEntryContainer container;
  for (const char* bad : {"", "NoDots", "ORVA..Empty", "ORVA.QRX.1Digit", "ORVA.QRX.MESH.Bad Char"}) {
    ExpectWhat(WhatOf<Exception::LogicException>([&] { container.InsertEntry(1, bad); }),
               "dbus/gdbus_common:InsertEntry",
               std::string("Error name [") + bad + "] is not a valid dbus error name");
  }
  EXPECT_EQ(container.GetErrorEntrySize(), 0u);
}

TEST(InitGDBusQuark, RegistersADomainOnceAndReusesItAfterwards) {
  Dbus::ErrorEntryContainer entries;
  entries.InsertEntry(1, "com.example.UnitTest.First");
  const GQuark quark = Dbus::GDBusCommon::InitGDBusQuark("orva-unit-once", entries);
  ASSERT_NE(quark, 0u);
  // A second registration would add this name; reusing the quark must not.
  Dbus::ErrorEntryContainer more;
  more.InsertEntry(2, "com.example.UnitTest.Second");
  EXPECT_EQ(Dbus::GDBusCommon::InitGDBusQuark("orva-unit-once", more), quark);

  GError* first = g_error_new_literal(quark, 1, "m");
  gchar* name = g_dbus_error_encode_gerror(first);
  EXPECT_STREQ(name, "com.example.UnitTest.First");
  g_free(name);
  g_error_free(first);
  GError* second = g_error_new_literal(quark, 2, "m");
  name = g_dbus_error_encode_gerror(second);
  EXPECT_STRNE(name, "com.example.UnitTest.Second");
  g_free(name);
  g_error_free(second);
}

TEST(InitGDBusQuark, AFailedRegistrationIsReportedOnceAndKeepsWhatWasRegistered) {
  Dbus::ErrorEntryContainer taken;
  taken.InsertEntry(5, "com.example.UnitTest.Taken");
  Dbus::GDBusCommon::InitGDBusQuark("orva-unit-owner", taken);

  Dbus::ErrorEntryContainer entries;
  entries.InsertEntry(1, "com.example.UnitTest.Fresh");
  entries.InsertEntry(2, "com.example.UnitTest.Taken");  // GIO refuses a name twice
  entries.InsertEntry(3, "com.example.UnitTest.Never");
  ExpectWhat(WhatOf<Exception::RuntimeException>(
                 [&] { Dbus::GDBusCommon::InitGDBusQuark("orva-unit-partial", entries); }),
             "dbus/gdbus_common:register_error_domain",
             "Fail to register error entry [com.example.UnitTest.Taken] for domain [orva-unit-partial]");
  const GQuark quark = Dbus::GDBusCommon::InitGDBusQuark("orva-unit-partial", entries);
  EXPECT_EQ(quark, g_quark_try_string("orva-unit-partial"));

  GError* fresh = g_error_new_literal(quark, 1, "m");
  gchar* name = g_dbus_error_encode_gerror(fresh);
  EXPECT_STREQ(name, "com.example.UnitTest.Fresh");
  g_free(name);
  g_error_free(fresh);
  GError* never = g_error_new_literal(quark, 3, "m");
  name = g_dbus_error_encode_gerror(never);
  EXPECT_STRNE(name, "com.example.UnitTest.Never");
  g_free(name);
  g_error_free(never);
}

}  // namespace
