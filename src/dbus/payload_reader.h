#pragma once
// A direct reader of the "ay" payloads that the client decodes most: maps and lists of records
// made of numbers, flags, enumerations, texts and addresses. It reads the very bytes of a
// headerless binary archive, but walks the record's fields itself instead of going through the
// archive's per-object registry (a class lookup, a preamble check and an address fix-up for
// every list inside every record), which is where most of the time of a long node list went.
//
// It only ever answers for the payloads it fully understands. Anything else (a class written
// with a version or tracking, a short or damaged payload) makes it give up, and the caller reads
// the payload again through the archive, whose answer or refusal is then the one that counts.
// So the two can never disagree on what a payload means.
#include <boost/serialization/array_wrapper.hpp>
#include <boost/serialization/level.hpp>
#include <boost/serialization/tracking.hpp>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "orvamesh/mac.h"

namespace ORVA::MESH::SDK::Dbus::Detail {

// What the direct reader reads itself; everything else goes to the archive as a whole.
template <typename T, typename = void>
struct DirectlyReadable : std::bool_constant<std::is_arithmetic_v<T> || std::is_enum_v<T>> {};
template <>
struct DirectlyReadable<std::string> : std::true_type {};
template <>
struct DirectlyReadable<Mac> : std::true_type {};
template <>
struct DirectlyReadable<std::vector<bool>> : std::false_type {};
template <typename T>
struct DirectlyReadable<std::vector<T>> : DirectlyReadable<T> {};
template <typename K, typename V>
struct DirectlyReadable<std::pair<K, V>>
    : std::bool_constant<DirectlyReadable<std::remove_const_t<K>>::value && DirectlyReadable<V>::value> {};
template <typename K, typename V>
struct DirectlyReadable<std::map<K, V>> : DirectlyReadable<std::pair<K, V>> {};

template <typename Tuple>
struct AllReadable;
template <typename... Fields>
struct AllReadable<std::tuple<Fields&...>> : std::conjunction<DirectlyReadable<Fields>...> {};
// A record: a type that lists its fields.
template <typename T>
struct DirectlyReadable<T, std::void_t<decltype(T::Fields(std::declval<T&>()))>>
    : AllReadable<decltype(T::Fields(std::declval<T&>()))> {};

class PayloadReader {
 public:
  // Thrown where the reader gives up; never leaves the decoder that uses it.
  struct GiveUp {};

  explicit PayloadReader(std::string_view bytes) noexcept : bytes_(bytes) {}

  // Enough of an archive's face for the classes that read themselves (Mac).
  using is_loading = std::true_type;
  using is_saving = std::false_type;
  template <typename T>
  PayloadReader& operator&(T& value) {
    Read(value);
    return *this;
  }
  template <typename T>
  PayloadReader& operator&(const boost::serialization::array_wrapper<T>& array) {
    static_assert(std::is_arithmetic_v<T>);
    const std::size_t size = array.count() * sizeof(T);
    std::memcpy(array.address(), Take(size).data(), size);
    return *this;
  }

  template <typename T>
  void Read(T& value) {
    if constexpr (std::is_same_v<T, bool>) {
      const char byte = Take(1)[0];
      if (byte != 0 && byte != 1) throw GiveUp{};
      value = byte == 1;
    } else if constexpr (std::is_enum_v<T>) {
      value = static_cast<T>(Number<int32_t>());  // the archive writes every enumeration as an int
    } else if constexpr (std::is_arithmetic_v<T>) {
      value = Number<T>();
    } else {
      Preamble<T>();
      ReadObject(value);
    }
  }

 private:
  template <typename T>
  T Number() {
    T value;
    std::memcpy(&value, Take(sizeof(T)).data(), sizeof(T));
    return value;
  }

  std::string_view Take(std::size_t count) {
    if (count > bytes_.size()) throw GiveUp{};
    const std::string_view taken = bytes_.substr(0, count);
    bytes_.remove_prefix(count);
    return taken;
  }

  // Every element (or character) takes at least one byte, so a count beyond what is left is a lie.
  std::size_t Count() {
    const auto count = Number<uint64_t>();
    if (count > bytes_.size()) throw GiveUp{};
    return static_cast<std::size_t>(count);
  }

  // A class with class information carries it at its first appearance in the payload: its
  // tracking and its version. Tracked or versioned objects are the archive's business.
  template <typename T>
  void Preamble() {
    using Level = boost::serialization::implementation_level<T>;
    if constexpr (Level::value >= boost::serialization::object_class_info) {
      static const char tag = 0;
      for (const void* seen : seen_) {
        if (seen == &tag) return;
      }
      seen_.push_back(&tag);
      if (Number<int8_t>() != 0 || Number<uint32_t>() != 0) throw GiveUp{};
    }
  }

  void ReadObject(std::string& text) { text.assign(Take(Count())); }

  void ReadObject(Mac& mac) { mac.serialize(*this, 0); }

  template <typename T>
  void ReadObject(std::vector<T>& list) {
    const std::size_t count = Count();
    if constexpr (!std::is_arithmetic_v<T>) Number<uint32_t>();  // item version; numbers travel as one array
    list.resize(count);
    for (T& item : list) Read(item);
  }

  // As the archive does, an entry whose key came before keeps its first value.
  template <typename K, typename V>
  void ReadObject(std::map<K, V>& map) {
    const std::size_t count = Count();
    Number<uint32_t>();  // item version
    if (count > 0) Preamble<std::pair<const K, V>>();
    for (std::size_t i = 0; i < count; ++i) {
      K key{};
      Read(key);
      const std::size_t before = map.size();
      auto entry = map.try_emplace(map.end(), std::move(key));
      if (map.size() != before) {
        Read(entry->second);
      } else {
        V ignored{};
        Read(ignored);
      }
    }
  }

  template <typename T>
  void ReadObject(T& record) {
    std::apply([this](auto&... field) { (this->Read(field), ...); }, T::Fields(record));
  }

  std::string_view bytes_;
  std::vector<const void*> seen_;
};

}  // namespace ORVA::MESH::SDK::Dbus::Detail
