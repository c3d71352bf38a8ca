#pragma once
// Who this node is: its operating system release and its model and serial number, as the
// router's build writes them into one identity file. The wired-scan responder, the simulator
// and the tools take their defaults from here instead of asking the user.
//
// The file is "/etc/orvamesh/identity" below the system root, one key="value" per line:
//   OS_NAME="OrvaOS"  OS_VERSION="5.2.1"  OS_BUILD="20261101"  OS_UPDATE="3"
//   MODEL_UNIQUE="velanto_ipq806x_hr1000"  SERIAL="HR1A1234567"
// Every key is required and the model unique must be one of the model table's. Nothing is guessed: a missing file, a missing key, a number out of
// range or a value with control characters fails the whole read.
#include <cstdint>
#include <string>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Utils {

struct ORVA_EXPORT NodeIdentity {
  std::string osName;
  std::string osVersion;
  uint32_t osBuildNumber = 0;
  uint8_t osUpdateNumber = 0;
  std::string modelUnique;
  std::string serial;
};

// The path of the identity file below the current system root.
ORVA_EXPORT std::string IdentityFilePath();

// Reads the identity file. 0 on success; -1 with one log line naming the file and the key
// otherwise, `identity` then untouched.
ORVA_EXPORT int GetNodeIdentity(NodeIdentity& identity);
// The same for an identity file elsewhere (another node's, copied for inspection).
ORVA_EXPORT int ReadNodeIdentity(const std::string& path, NodeIdentity& identity);

}  // namespace ORVA::MESH::SDK::Utils
