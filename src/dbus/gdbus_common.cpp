#include "orvamesh/dbus/gdbus_common.h"

#include <boost/numeric/conversion/cast.hpp>

#include "orvamesh/base/exception.h"
#include "orvamesh/utils/mutex.h"

namespace ORVA::MESH::SDK::Dbus {

ErrorEntryContainer::ErrorEntryContainer(const ErrorEntryContainer& other) : names_(other.names_) {
  Relink();
}

ErrorEntryContainer& ErrorEntryContainer::operator=(const ErrorEntryContainer& other) {
  if (this != &other) {
    names_ = other.names_;
    Relink();
  }
  return *this;
}

ErrorEntryContainer::ErrorEntryContainer(ErrorEntryContainer&& other) noexcept
    : names_(std::move(other.names_)) {
  Relink();
  other.entries_.clear();
}

ErrorEntryContainer& ErrorEntryContainer::operator=(ErrorEntryContainer&& other) noexcept {
  if (this != &other) {
    names_ = std::move(other.names_);
    Relink();
    other.names_.clear();
    other.entries_.clear();
  }
  return *this;
}

void ErrorEntryContainer::InsertEntry(int code, const std::string& name) {
  if (!g_dbus_is_name(name.c_str())) {
    ORVA_THROW(Exception::LogicException, "Error name [" + name + "] is not a valid dbus error name");
  }
  names_.emplace_back(code, name);
  Relink();
}

void ErrorEntryContainer::Relink() {
  entries_.clear();
  entries_.reserve(names_.size());
  for (const auto& [code, name] : names_) entries_.push_back(GDBusErrorEntry{code, name.c_str()});
}

namespace {
Mutex& QuarkMutex() {
  static Mutex mutex;
  return mutex;
}
}  // namespace

GQuark GDBusCommon::InitGDBusQuark(const std::string& domain, const ErrorEntryContainer& entries) {
  GQuark quark = 0;
  const bool locked = Mutex::CallWithLock(QuarkMutex(), [&] {
    quark = g_quark_try_string(domain.c_str());
    if (quark != 0) return;
    quark = g_quark_from_string(domain.c_str());
    for (const auto& entry : entries.GetErrorEntryConstReference()) {
      if (!g_dbus_error_register_error(quark, entry.error_code, entry.dbus_error_name)) {
        ORVA_THROW_IN(Exception::RuntimeException, "register_error_domain",
                      std::string("Fail to register error entry [") + entry.dbus_error_name +
                          "] for domain [" + domain + "]");
      }
    }
  });
  if (!locked) ORVA_THROW(Exception::RuntimeException, "Fail to lock the error domain registry");
  return quark;
}

int32_t MeshGDBusCommon::MarshalErrorCodeToGInt(MESH_GDBUS_ERROR_CODE code) {
  return static_cast<int32_t>(MarshalToNumerical(code));
}

MESH_GDBUS_ERROR_CODE MeshGDBusCommon::UnmarshalErrorCodeFromGInt(int32_t code) {
  return UnmarshalFromNumerical(boost::numeric_cast<uint16_t>(code));
}

ErrorEntryContainer MeshGDBusCommon::ErrorCodeToErrorEntry() {
  ErrorEntryContainer container;
  for (const auto& [code, name] : GetMeshGDBusErrorCodeMap()) {
    container.InsertEntry(static_cast<int>(code), std::string(kMeshErrorNamePrefix) + name);
  }
  return container;
}

}  // namespace ORVA::MESH::SDK::Dbus
