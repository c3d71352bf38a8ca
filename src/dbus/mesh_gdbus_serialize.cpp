#include "orvamesh/dbus/mesh_gdbus_serialize.h"

#include <cstring>

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::Dbus {

GVariantWrapper::GVariantWrapper(GVariant* variant) {
  if (variant == nullptr) {
    ORVA_THROW(Exception::InvalidArgumentException, "Null pointer passed as argument");
  }
  variant_ = g_variant_is_floating(variant) ? g_variant_ref_sink(variant) : variant;
}

GVariantWrapper::~GVariantWrapper() {
  if (variant_ != nullptr) g_variant_unref(variant_);
}

GVariantWrapper::GVariantWrapper(GVariantWrapper&& other) noexcept : variant_(other.variant_) {
  other.variant_ = nullptr;
}

GVariantWrapper& GVariantWrapper::operator=(GVariantWrapper&& other) noexcept {
  if (this != &other) {
    if (variant_ != nullptr) g_variant_unref(variant_);
    variant_ = other.variant_;
    other.variant_ = nullptr;
  }
  return *this;
}

GVariant** GVariantWrapper::LateInitWithRaw() {
  if (variant_ != nullptr) ORVA_THROW(Exception::RuntimeException, "Variant has already been init");
  return &variant_;
}

GVariant* GVariantWrapper::GetGVariant() const {
  if (variant_ == nullptr) ORVA_THROW(Exception::RuntimeException, "Variant has not been set yet");
  return variant_;
}

GVariantBuilderWrapper::GVariantBuilderWrapper(const std::string& typeString) {
  // GLib only warns (and returns garbage) for a bad or non-container type, so check first.
  if (!g_variant_type_string_is_valid(typeString.c_str()) ||
      !g_variant_type_is_container(reinterpret_cast<const GVariantType*>(typeString.c_str()))) {
    ORVA_THROW(Exception::InvalidArgumentException,
               "Fail to generate builder using type string [" + typeString + "]");
  }
  builder_ = g_variant_builder_new(reinterpret_cast<const GVariantType*>(typeString.c_str()));
}

GVariantBuilderWrapper::~GVariantBuilderWrapper() { g_variant_builder_unref(builder_); }

GVariantWrapper GVariantBuilderWrapper::GenGVariant() { return GVariantWrapper(GenGVariantImpl()); }

GVariant* GVariantBuilderWrapper::GenGVariantImpl() { return g_variant_builder_end(builder_); }

GVariantAYBuilderWrapper::GVariantAYBuilderWrapper() : GVariantBuilderWrapper("ay") {}

void GVariantAYBuilderWrapper::Add(uint8_t byte) { g_variant_builder_add(Builder(), "y", byte); }

GVariantAYUnwrapper::GVariantAYUnwrapper(const GVariantWrapper& wrapper) {
  GVariant* variant = wrapper.GetGVariant();
  if (!g_variant_is_of_type(variant, G_VARIANT_TYPE_BYTESTRING)) {
    ORVA_THROW(Exception::InvalidArgumentException, "Fail to generate unwrapper using type string [ay]");
  }
  gsize size = 0;
  const void* data = g_variant_get_fixed_array(variant, &size, sizeof(guchar));
  bytes_ = std::string_view(static_cast<const char*>(data), size);
}

std::string GVariantAYUnwrapper::Unwrap() const { return std::string(bytes_); }

GVariantWrapper BytesToGVariant(std::string_view bytes) {
  return GVariantWrapper(g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1));
}

namespace Detail {

std::streamsize ByteSink::xsputn(const char* data, std::streamsize count) {
  bytes_.append(data, static_cast<std::size_t>(count));
  return count;
}

ByteSink::int_type ByteSink::overflow(int_type ch) {
  if (!traits_type::eq_int_type(ch, traits_type::eof())) bytes_.push_back(traits_type::to_char_type(ch));
  return traits_type::not_eof(ch);
}

ByteSource::ByteSource(std::string_view bytes) {
  char* begin = const_cast<char*>(bytes.data());
  setg(begin, begin, begin + bytes.size());
}

std::string_view ByteSource::Take(std::size_t count) noexcept {
  const std::size_t available = static_cast<std::size_t>(egptr() - gptr());
  const std::size_t n = count < available ? count : available;
  std::string_view taken(gptr(), n);
  gbump(static_cast<int>(n));
  return taken;
}

std::streamsize ByteSource::xsgetn(char* data, std::streamsize count) {
  const std::streamsize available = egptr() - gptr();
  const std::streamsize n = count < available ? count : available;
  if (n > 0) {
    std::memcpy(data, gptr(), static_cast<std::size_t>(n));
    gbump(static_cast<int>(n));
  }
  return n;
}

}  // namespace Detail
}  // namespace ORVA::MESH::SDK::Dbus
