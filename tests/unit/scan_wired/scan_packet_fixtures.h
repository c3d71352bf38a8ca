#pragma once
// Known packets for the wired scan tests, with their wire bytes written out by hand.
#include <arpa/inet.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "orvamesh/scan_wired/probe_packet.h"
#include "orvamesh/scan_wired/response_packet.h"

#include <gtest/gtest.h>

namespace orva::test {

using Bytes = std::vector<unsigned char>;

inline Bytes Concat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// An ext 8 object: C7, length, type, data. Valid msgpack for any length below 256, whatever
// form a packer would have chosen.
inline Bytes Ext8(signed char type, const Bytes& data) {
  return Concat({{0xC7, static_cast<unsigned char>(data.size()), static_cast<unsigned char>(type)}, data});
}

inline Bytes Key(unsigned char first) {
  Bytes key(32);
  for (unsigned i = 0; i < key.size(); ++i) key[i] = static_cast<unsigned char>(first + i);
  return key;
}

inline ether_addr KnownMac() { return ether_addr{{0x02, 0x00, 0xAB, 0x0C, 0x0D, 0x0E}}; }

inline in6_addr KnownIpv6() {
  in6_addr address{};
  inet_pton(AF_INET6, "fe80::1", &address);
  return address;
}

inline ORVA::MESH::SDK::ScanWired::ResponsePacket KnownResponse() {
  return ORVA::MESH::SDK::ScanWired::ResponsePacket("OrvaOS", "re-0042", "", "5.2.0", 0x00012345, 7, KnownMac(),
                                                    KnownIpv6(), 443, 0x0000000100000002ul);
}

// The field stream of KnownResponse(), field by field in ascending type order.
inline const std::vector<Bytes>& KnownResponseFields() {
  static const std::vector<Bytes> fields = {
      {0xC7, 0x07, 0x00, 'r', 'e', '-', '0', '0', '4', '2'},             // 0 unique: ext 8
      {0xC7, 0x00, 0x01},                                                // 1 serial "": ext 8, no data
      {0xC7, 0x06, 0x02, 'O', 'r', 'v', 'a', 'O', 'S'},                  // 2 os_name: ext 8
      {0xD6, 0x03, 0x00, 0x01, 0x23, 0x45},                              // 3 os_build_num: fixext 4
      {0xD4, 0x04, 0x07},                                                // 4 os_update_num: fixext 1
      {0xC7, 0x05, 0x05, '5', '.', '2', '.', '0'},                       // 5 os_version: ext 8
      {0xC7, 0x06, 0x06, 0x02, 0x00, 0xAB, 0x0C, 0x0D, 0x0E},            // 6 mac_address: ext 8
      {0xD8, 0x07, 0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x01},  // 7 ipv6_address: fixext 16
      {0xD5, 0x08, 0x01, 0xBB},                                          // 8 access_port: fixext 2
      {0xD7, 0x0A, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02},      // 10 uptime: fixext 8
  };
  return fields;
}

inline Bytes KnownResponseStream() {
  Bytes stream;
  for (const auto& field : KnownResponseFields()) stream.insert(stream.end(), field.begin(), field.end());
  return stream;
}

// Header(1, payload size) + payload, written by hand.
inline Bytes Framed(const Bytes& payload) {
  return Concat({{0xAB, 0xCD, 0xEF, 0xAB, 0x00, 0x01, static_cast<unsigned char>(payload.size() >> 8),
                  static_cast<unsigned char>(payload.size() & 0xFF)},
                 payload});
}

// The exception text of `call`, or "" when it does not throw `E`.
template <typename E>
std::string ThrownText(const std::function<void()>& call) {
  try {
    call();
  } catch (const E& e) {
    return e.what();
  }
  return "";
}

}  // namespace orva::test

namespace orva::test {

// Field by field, so that a failure names the field.
inline void ExpectSameResponse(const ORVA::MESH::SDK::ScanWired::ResponsePacket& actual,
                               const ORVA::MESH::SDK::ScanWired::ResponsePacket& expected) {
  EXPECT_EQ(actual.GetUnique(), expected.GetUnique());
  EXPECT_EQ(actual.GetSerial(), expected.GetSerial());
  EXPECT_EQ(actual.GetOsName(), expected.GetOsName());
  EXPECT_EQ(actual.GetOsBuildNum(), expected.GetOsBuildNum());
  EXPECT_EQ(actual.GetOsUpdateNum(), expected.GetOsUpdateNum());
  EXPECT_EQ(actual.GetOsVersion(), expected.GetOsVersion());
  EXPECT_EQ(0, std::memcmp(&actual.GetMacAddress(), &expected.GetMacAddress(), sizeof(ether_addr)));
  EXPECT_EQ(0, std::memcmp(&actual.GetIpv6Address(), &expected.GetIpv6Address(), sizeof(in6_addr)));
  EXPECT_EQ(actual.GetAccessPort(), expected.GetAccessPort());
  EXPECT_EQ(actual.GetUptime(), expected.GetUptime());
}

}  // namespace orva::test
