#pragma once
// The field types of the wired scan packets. On the wire each field is one msgpack ext object
// whose ext type byte is the field's value here.
namespace ORVA::MESH::SDK::ScanWired {

enum class WiredScanFieldType : signed char {
  UNIQUE = 0,          // response: the RE's unique identity string
  SERIAL = 1,          // response: serial number
  OS_NAME = 2,         // response
  OS_BUILD_NUM = 3,    // response: unsigned 32-bit
  OS_UPDATE_NUM = 4,   // response: unsigned 8-bit
  OS_VERSION = 5,      // response
  MAC_ADDRESS = 6,     // response: 6 bytes
  IPV6_ADDRESS = 7,    // response: 16 bytes
  ACCESS_PORT = 8,     // response: unsigned 16-bit
  PUBLIC_KEY = 9,      // probe only: the CAP's 32-byte public key
  UPTIME = 10,         // response: unsigned 64-bit, seconds
};

}  // namespace ORVA::MESH::SDK::ScanWired
