#pragma once
// Known packets for the wired scan tests, with their wire bytes written out by hand.
#include <arpa/inet.h>

#include <string>
#include <vector>

#include "orvamesh/scan_wired/probe_packet.h"
#include "orvamesh/scan_wired/response_packet.h"
#include "orvamesh/scan_wired/response_packet_serializer.h"
#include "support/thrown_text.h"

namespace orva::test {

using Bytes = std::vector<unsigned char>;

inline Bytes Concat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// An ext 8 object (C7, length, type, data): valid msgpack for any length below 256, whatever
// form a packer would have chosen.
inline Bytes Ext8(signed char type, const Bytes& data) {
  return Concat({{0xC7, static_cast<unsigned char>(data.size()), static_cast<unsigned char>(type)}, data});
}

inline Bytes Key(unsigned char first) {
  Bytes key(32);
  for (unsigned i = 0; i < key.size(); ++i) key[i] = static_cast<unsigned char>(first + i);
  return key;
}

inline ORVA::MESH::SDK::ScanWired::ResponsePacket KnownResponse(std::string unique = "re-0042") {
  in6_addr ipv6{};
  inet_pton(AF_INET6, "fe80::1", &ipv6);
  return ORVA::MESH::SDK::ScanWired::ResponsePacket("OrvaOS", unique, "", "5.2.0", 0x00012345, 7,
                                                    ether_addr{{0x02, 0x00, 0xAB, 0x0C, 0x0D, 0x0E}}, ipv6, 443,
                                                    0x0000000100000002ul);
}

// The field stream of KnownResponse(), field by field in ascending type order.
inline const std::vector<Bytes>& KnownResponseFields() {
  static const std::vector<Bytes> fields = {
      {0xC7, 0x07, 0x00, 'r', 'e', '-', '0', '0', '4', '2'},                  // 0 unique: ext 8
      {0xC7, 0x00, 0x01},                                                     // 1 serial "": ext 8
      {0xC7, 0x06, 0x02, 'O', 'r', 'v', 'a', 'O', 'S'},                       // 2 os_name: ext 8
      {0xD6, 0x03, 0x00, 0x01, 0x23, 0x45},                                   // 3 os_build_num: fixext 4
      {0xD4, 0x04, 0x07},                                                     // 4 os_update_num: fixext 1
      {0xC7, 0x05, 0x05, '5', '.', '2', '.', '0'},                            // 5 os_version: ext 8
      {0xC7, 0x06, 0x06, 0x02, 0x00, 0xAB, 0x0C, 0x0D, 0x0E},                 // 6 mac_address: ext 8
      {0xD8, 0x07, 0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x01},  // 7 ipv6_address: fixext 16
      {0xD5, 0x08, 0x01, 0xBB},                                               // 8 access_port: fixext 2
      {0xD7, 0x0A, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02},           // 10 uptime: fixext 8
  };
  return fields;
}

// The fields of KnownResponseFields() at `indexes`, in that order.
inline Bytes Fields(std::initializer_list<int> indexes) {
  Bytes stream;
  for (int i : indexes) stream = Concat({stream, KnownResponseFields().at(i)});
  return stream;
}

inline Bytes KnownResponseStream() { return Fields({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}); }

// A response's field stream: equal streams mean equal fields.
inline Bytes StreamOf(const ORVA::MESH::SDK::ScanWired::ResponsePacket& response) {
  return *ORVA::MESH::SDK::ScanWired::ResponsePacketSerializer().Serialize(response);
}

// Header(1, payload size) + payload, written by hand.
inline Bytes Framed(const Bytes& payload) {
  return Concat({{0xAB, 0xCD, 0xEF, 0xAB, 0x00, 0x01, static_cast<unsigned char>(payload.size() >> 8),
                  static_cast<unsigned char>(payload.size() & 0xFF)},
                 payload});
}

}  // namespace orva::test
