#pragma once
// Mac is the SDK's MAC address value and the mesh's address arithmetic on it: text
// conversions, OUI handling, the fixed translations that derive a device's guest, backhaul
// and backhaul-station addresses from its address in one of the maker's OUI ranges, offsets,
// random locally administered prefixes and the MAC behind an IPv6 link-local address.
//
// Failures are reported the router way: -1 (0 on success) and one syslog line at LOG_ERR.
// Only ToEtherAddr throws. Output arguments are unspecified after a failure.
//
// Text form: "%02x:%02x:%02x:%02x:%02x:%02x", always lower case. StrToMac is strict: six
// octets of exactly two hexadecimal digits (either case) separated by ":", so "a:bb:cc:dd:
// ee:fff" or "+1:+2:..." are refused even where a scanf-style parse would take them. The
// constructor from text takes the forms of orva::net::utils::MacAddress (also "-" separators
// and twelve bare digits); text that is no address gives an invalid value carrying that text
// (shown in the error lines). Construction never throws.
//
// Mac is ordered (valid addresses by their octets), equality-comparable, streamable and
// Boost-serializable. The archive holds the text form as one std::string, so an invalid value
// survives a round trip unchanged.
#include <net/ethernet.h>

#include <boost/serialization/array_wrapper.hpp>
#include <boost/serialization/level.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/tracking.hpp>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/platform/ip_address.h"
#include "orvamesh/platform/mac_address.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT Mac {
 public:
  // Length of the text form.
  static constexpr unsigned char MAC_ADDR_LENGTH = 17;

  // 00:00:00:00:00:00
  Mac();
  explicit Mac(const std::string& text);
  explicit Mac(const ether_addr& address);
  explicit Mac(const orva::net::utils::MacAddress& address);

  bool IsValid() const noexcept { return address_.IsValid(); }
  // The text form (for an invalid value, the text it was made from).
  std::string ToString() const { return address_.ToString(); }
  const orva::net::utils::MacAddress& GetMacAddress() const noexcept { return address_; }

  // True exactly when the OUI is one of the backhaul prefixes.
  bool IsOrvaBackhaulPrefix() const;
  // The six octets. Throws Exception::RuntimeException "Not a formalized MAC" for an invalid
  // value.
  ether_addr ToEtherAddr() const;

  // --- raw values ---------------------------------------------------------------------
  // Text form of six octets (`bytes` must point at six); -1 only for a null pointer.
  static int MacToStr(const unsigned char* bytes, std::string& out);
  static int MacToStr(const ether_addr& address, std::string& out);
  // Exactly 17 characters, else -1; then six colon-separated two-digit octets, else -1.
  static int StrToMac(const std::string& text, unsigned char* bytes);
  static int StrToMac(const std::string& text, ether_addr& address);

  // --- parts of the text form -----------------------------------------------------------
  // The device part, the 8 characters from position 9 ("01:02:03").
  static int ExcludeOUI(const Mac& mac, std::string& out);
  // The OUI, the first 8 characters ("00:24:e7").
  static int ExtractOUI(const Mac& mac, std::string& out);
  // The 12 hexadecimal digits without colons.
  static int ExcludeColon(const Mac& mac, std::string& out);

  // --- derived addresses ----------------------------------------------------------------
  // Replaces the OUI by its image in `mapping` (OUI text -> OUI text), keeping the device
  // part; an OUI the mapping lacks, or an image that is no OUI text, is refused.
  static int ConvertPrefixByMapping(const Mac& in, const std::map<std::string, std::string>& mapping,
                                    Mac& out);
  static int ConvertToOrvaGuestPrefix(const Mac& in, Mac& out);
  static int ConvertToOrvaBackhaulPrefix(const Mac& in, Mac& out);
  static int ConvertToOrvaBackhaulSTAPrefix(const Mac& in, Mac& out);

  // The address `operand` further on as a 48-bit number (negative goes back). Leaving the
  // 48-bit range at either end is an error, never a wrap-around.
  static int CalculateMac(const Mac& in, int operand, Mac& out);

  // `length` characters of a random MAC text (":" at every third position), with the locally
  // administered bit of the first octet set once the second digit is reached. The group bit
  // is left as drawn. Reseeds rand() on every call. A length above 17 is refused.
  static int GenRandomLocalPrefixMac(unsigned char length, std::string& out);
  // `in` with its OUI replaced by a random locally administered one.
  static int ConvertToRandomOUIPrefix(const Mac& in, Mac& out);

  // The MAC behind a link-local IPv6 address built by modified EUI-64: bytes 8 (with the
  // universal/local bit flipped), 9, 10, 13, 14 and 15. Bytes 11 and 12 are not checked.
  static int GetFromIPv6LinkLocalAddress(const orva::net::utils::IPAddress& address, Mac& out);

  // --- the maker's prefix tables (read-only, keys and values are OUI texts) ---------------
  static const std::map<std::string, std::string>& GetOrvaGuestPrefixMapping();
  static const std::map<std::string, std::string>& GetOrvaBackhaulPrefixMapping();
  static const std::map<std::string, std::string>& GetOrvaBackhaulSTAPrefixMapping();
  // {"16:24:e7", "9a:3a:5b"}, in that order.
  static const std::vector<std::string>& GetOrvaBackhaulPrefixList();

  // A valid address is archived as its six octets; an invalid one as the text it was made
  // from, so that it survives a round trip. Node lists carry hundreds of these, so the valid
  // case is kept free of text formatting and parsing.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int /*version*/) {
    bool valid = true;
    orva::net::utils::MacAddress::Bytes octets{};
    std::string text;
    if constexpr (Archive::is_saving::value) {
      valid = address_.IsValid();
      if (valid) octets = address_.GetBytes(); else text = address_.ToString();
    }
    archive & valid;
    if (valid) {
      archive & boost::serialization::make_array(octets.data(), octets.size());
    } else {
      archive & text;
    }
    if constexpr (Archive::is_loading::value) {
      address_ = valid ? orva::net::utils::MacAddress(octets) : orva::net::utils::MacAddress(text);
    }
  }

  friend bool operator==(const Mac& a, const Mac& b) noexcept { return a.address_ == b.address_; }
  friend bool operator!=(const Mac& a, const Mac& b) noexcept { return !(a.address_ == b.address_); }
  friend bool operator<(const Mac& a, const Mac& b) noexcept { return a.address_ < b.address_; }

 private:
  orva::net::utils::MacAddress address_;
};

ORVA_EXPORT std::ostream& operator<<(std::ostream& out, const Mac& mac);

}  // namespace ORVA::MESH::SDK

namespace ORVA::MESH::SDK::Detail {
using MacMapEntry = std::map<Mac, Mac>::value_type;
}  // namespace ORVA::MESH::SDK::Detail

// Plain values: no class version or object tracking in archives. The entry of a Mac-to-Mac
// map (the topology payload) is declared here, beside Mac, so that every program that can
// archive one sees the same archive format.
BOOST_CLASS_IMPLEMENTATION(::ORVA::MESH::SDK::Mac, boost::serialization::object_serializable)
BOOST_CLASS_TRACKING(::ORVA::MESH::SDK::Mac, boost::serialization::track_never)
BOOST_CLASS_IMPLEMENTATION(::ORVA::MESH::SDK::Detail::MacMapEntry, boost::serialization::object_serializable)
BOOST_CLASS_TRACKING(::ORVA::MESH::SDK::Detail::MacMapEntry, boost::serialization::track_never)
