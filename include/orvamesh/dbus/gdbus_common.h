#pragma once
// Registration of a D-Bus error domain: the table of (code, D-Bus error name) pairs that GIO
// uses to turn a GError into a named D-Bus error on the daemon's side and back into
// (domain, code) on the client's side.
#include <gio/gio.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "orvamesh/dbus/mesh_gdbus_error_code.h"
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Dbus {

// An ordered list of GIO error entries whose names the container owns.
class ORVA_EXPORT ErrorEntryContainer {
 public:
  ErrorEntryContainer() = default;
  ErrorEntryContainer(const ErrorEntryContainer& other);
  ErrorEntryContainer& operator=(const ErrorEntryContainer& other);
  ErrorEntryContainer(ErrorEntryContainer&& other) noexcept;
  ErrorEntryContainer& operator=(ErrorEntryContainer&& other) noexcept;
  ~ErrorEntryContainer() = default;

  // Appends an entry; the name must be a valid D-Bus name (LogicException otherwise).
  void InsertEntry(int code, const std::string& name);
  const GDBusErrorEntry* GetErrorEntryPointer() const noexcept { return entries_.data(); }
  const std::vector<GDBusErrorEntry>& GetErrorEntryConstReference() const noexcept { return entries_; }
  std::size_t GetErrorEntrySize() const noexcept { return entries_.size(); }

 private:
  // The entries point into names_, so they are rebuilt whenever names_ may have moved.
  void Relink();

  std::vector<std::pair<int, std::string>> names_;
  std::vector<GDBusErrorEntry> entries_;
};

class ORVA_EXPORT GDBusCommon {
 public:
  // Registers `domain` with the entries once per process and returns its quark. A later call
  // with the same domain returns the existing quark and registers nothing, also after a
  // registration that failed half-way (the failure is reported only once, by exception).
  static GQuark InitGDBusQuark(const std::string& domain, const ErrorEntryContainer& entries);
};

class ORVA_EXPORT MeshGDBusCommon {
 public:
  static int32_t MarshalErrorCodeToGInt(MESH_GDBUS_ERROR_CODE code);
  // Narrows with boost::numeric_cast first (negative_overflow / positive_overflow), then
  // checks the value against the table (MalformedEnumException).
  static MESH_GDBUS_ERROR_CODE UnmarshalErrorCodeFromGInt(int32_t code);
  // One entry per known code, in ascending number, named "ORVA.QRX.MESH.<semantic string>".
  static ErrorEntryContainer ErrorCodeToErrorEntry();
};

// The D-Bus error name prefix of every mesh refusal.
inline constexpr const char* kMeshErrorNamePrefix = "ORVA.QRX.MESH.";

}  // namespace ORVA::MESH::SDK::Dbus
