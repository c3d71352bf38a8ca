#pragma once
// Values carried in D-Bus byte arrays ("ay"): a value is written with a headerless Boost
// binary archive (no signature, no library version; the bytes start with the value's data in
// the processor's native order) and travels as the bytes of one "ay" argument. Both ends must
// use the same record definitions and Boost version: nothing on the wire says which.
//
// ObjectToGVariant and GVariantToObject produce and read the byte array in one step rather
// than byte by byte; the builder and unwrapper classes give the same bytes for callers that
// assemble values themselves.
#include <gio/gio.h>

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/map.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/utility.hpp>
#include <boost/serialization/vector.hpp>
#include <cstdint>
#include <memory>
#include <streambuf>
#include <string>
#include <string_view>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Dbus {

// Owns at most one GVariant reference.
class ORVA_EXPORT GVariantWrapper {
 public:
  GVariantWrapper() noexcept = default;
  // Adopts the reference (a floating one is sunk). A null pointer is refused.
  explicit GVariantWrapper(GVariant* variant);
  ~GVariantWrapper();
  GVariantWrapper(GVariantWrapper&& other) noexcept;
  GVariantWrapper& operator=(GVariantWrapper&& other) noexcept;
  GVariantWrapper(const GVariantWrapper&) = delete;
  GVariantWrapper& operator=(const GVariantWrapper&) = delete;

  // The address of the inner pointer, for a generated call to fill as its out-argument.
  // Only while empty.
  GVariant** LateInitWithRaw();
  // The value; throws while empty.
  GVariant* GetGVariant() const;
  bool IsSet() const noexcept { return variant_ != nullptr; }

 private:
  GVariant* variant_ = nullptr;
};

// Builds one value of a container type.
class ORVA_EXPORT GVariantBuilderWrapper {
 public:
  explicit GVariantBuilderWrapper(const std::string& typeString);
  virtual ~GVariantBuilderWrapper();
  GVariantBuilderWrapper(const GVariantBuilderWrapper&) = delete;
  GVariantBuilderWrapper& operator=(const GVariantBuilderWrapper&) = delete;

  // Finishes the value; the builder is empty again afterwards.
  GVariantWrapper GenGVariant();

 protected:
  virtual GVariant* GenGVariantImpl();
  GVariantBuilder* Builder() const noexcept { return builder_; }

 private:
  GVariantBuilder* builder_ = nullptr;
};

class ORVA_EXPORT GVariantAYBuilderWrapper : public GVariantBuilderWrapper {
 public:
  GVariantAYBuilderWrapper();
  void Add(uint8_t byte);
};

// Reads the bytes of an "ay" value.
class ORVA_EXPORT GVariantAYUnwrapper {
 public:
  explicit GVariantAYUnwrapper(const GVariantWrapper& wrapper);
  std::string Unwrap() const;
  // The bytes in place, valid while the wrapper lives.
  std::string_view View() const noexcept { return bytes_; }

 private:
  std::string_view bytes_;
};

// An "ay" value holding exactly `bytes`.
ORVA_EXPORT GVariantWrapper BytesToGVariant(std::string_view bytes);

namespace Detail {

constexpr unsigned kArchiveFlags = boost::archive::no_header;

// A growing byte buffer for the output archive: no stringstream, one copy into the variant.
class ORVA_EXPORT ByteSink : public std::streambuf {
 public:
  const std::string& Bytes() const noexcept { return bytes_; }

 protected:
  std::streamsize xsputn(const char* data, std::streamsize count) override;
  int_type overflow(int_type ch) override;

 private:
  std::string bytes_;
};

// Reads the archive straight out of the variant's memory.
class ORVA_EXPORT ByteSource : public std::streambuf {
 public:
  explicit ByteSource(std::string_view bytes);
  // Takes the next `count` bytes in place (fewer at the end of the buffer) and moves past them.
  std::string_view Take(std::size_t count) noexcept;

 protected:
  std::streamsize xsgetn(char* data, std::streamsize count) override;
};

}  // namespace Detail

template <typename T>
GVariantWrapper ObjectToGVariant(const T& value) {
  Detail::ByteSink sink;
  {
    boost::archive::binary_oarchive archive(sink, Detail::kArchiveFlags);
    archive << value;
  }
  return BytesToGVariant(sink.Bytes());
}

// Throws the archive's own exception when the bytes do not decode into a T.
template <typename T>
T GVariantToObject(const GVariantWrapper& wrapper) {
  GVariantAYUnwrapper bytes(wrapper);
  Detail::ByteSource source(bytes.View());
  boost::archive::binary_iarchive archive(source, Detail::kArchiveFlags);
  T value{};
  archive >> value;
  return value;
}

}  // namespace ORVA::MESH::SDK::Dbus
