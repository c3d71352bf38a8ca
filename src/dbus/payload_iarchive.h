#pragma once
// The library's own reader of "ay" payloads. It reads exactly the bytes of a headerless
// binary_iarchive, but takes primitives and strings straight out of the payload's memory
// instead of through one virtual stream call per value, and fills strings in one step. A node
// list of a few hundred records decodes in a good deal less time this way. Not installed:
// programs that decode payloads themselves use GVariantToObject, which reads the same bytes.
#include <boost/archive/archive_exception.hpp>
#include <boost/archive/binary_iarchive_impl.hpp>
#include <boost/archive/detail/register_archive.hpp>
#include <cstring>
#include <string>
#include <type_traits>

#include "dbus/payload_reader.h"
#include "orvamesh/dbus/mesh_gdbus_serialize.h"

namespace ORVA::MESH::SDK::Dbus::Detail {

class PayloadIArchive
    : public boost::archive::binary_iarchive_impl<PayloadIArchive, char, std::char_traits<char>> {
  using Base = boost::archive::binary_iarchive_impl<PayloadIArchive, char, std::char_traits<char>>;
  friend class boost::archive::detail::interface_iarchive<PayloadIArchive>;
  friend class boost::archive::basic_binary_iarchive<PayloadIArchive>;
  friend class boost::archive::basic_binary_iprimitive<PayloadIArchive, char, std::char_traits<char>>;
  friend class boost::archive::load_access;

 public:
  explicit PayloadIArchive(ByteSource& source) : Base(source, kArchiveFlags), source_(source) {
    init(kArchiveFlags);
  }

 protected:
  // Everything the base reads (arrays, class information) still goes through the same
  // ByteSource, so both kinds of read stay at one position.
  using Base::load;
  using Base::load_override;

  // Every element of a container takes at least one byte, so a count beyond the bytes left is
  // a lie; refused before the container reserves room for it, so a hostile reply cannot make
  // the client allocate gigabytes.
  void load_override(boost::serialization::collection_size_type& count) {
    Base::load_override(count);
    if (static_cast<std::size_t>(count) > static_cast<std::size_t>(source_.in_avail())) {
      boost::serialization::throw_exception(
          boost::archive::archive_exception(boost::archive::archive_exception::input_stream_error));
    }
  }
  template <typename T>
  void load(T& value) {
    if constexpr (std::is_arithmetic_v<T> || std::is_enum_v<T>) {
      const std::string_view bytes = Take(sizeof(T));
      std::memcpy(&value, bytes.data(), sizeof(T));
    } else {
      Base::load(value);  // the archive's own bookkeeping types
    }
  }
  // A bool byte other than 0 or 1 is a damaged payload; reading it into a bool would be
  // undefined behaviour.
  void load(bool& value) {
    const std::string_view byte = Take(1);
    if (byte[0] != 0 && byte[0] != 1) {
      boost::serialization::throw_exception(
          boost::archive::archive_exception(boost::archive::archive_exception::input_stream_error));
    }
    value = byte[0] == 1;
  }
  void load(std::string& text) {
    std::size_t length = 0;
    load(length);
    text.assign(Take(length));
  }

 private:
  std::string_view Take(std::size_t count) {
    const std::string_view bytes = source_.Take(count);
    if (bytes.size() != count) {
      boost::serialization::throw_exception(
          boost::archive::archive_exception(boost::archive::archive_exception::input_stream_error));
    }
    return bytes;
  }

  ByteSource& source_;
};

// GVariantToObject through the direct reader where it can, else through PayloadIArchive.
template <typename T>
T DecodePayload(const GVariantWrapper& wrapper) {
  GVariantAYUnwrapper bytes(wrapper);
  if constexpr (DirectlyReadable<T>::value) {
    try {
      T value{};
      PayloadReader(bytes.View()).Read(value);
      return value;
    } catch (const PayloadReader::GiveUp&) {
      // the archive reads it again and has the last word
    }
  }
  ByteSource source(bytes.View());
  PayloadIArchive archive(source);
  T value{};
  archive >> value;
  return value;
}

}  // namespace ORVA::MESH::SDK::Dbus::Detail

BOOST_SERIALIZATION_REGISTER_ARCHIVE(ORVA::MESH::SDK::Dbus::Detail::PayloadIArchive)
BOOST_SERIALIZATION_USE_ARRAY_OPTIMIZATION(ORVA::MESH::SDK::Dbus::Detail::PayloadIArchive)
