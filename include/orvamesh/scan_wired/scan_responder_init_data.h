#pragma once
// What the mesh daemon tells an RE's scan responder about the node: the identity fields of the
// answer that the library does not look up itself. The link-local address, the MAC address
// and the uptime are taken from the system.
#include <string>

#include "orvamesh/export.h"
#include "orvamesh/utils/identity.h"

namespace ORVA::MESH::SDK::ScanWired {

struct ORVA_EXPORT ScanResponderInitData {
  std::string unique;          // the node's model unique string
  std::string serial;          // serial number
  std::string os_name;
  std::string os_version;
  unsigned int os_build_num = 0;
  unsigned char os_update_num = 0;
  unsigned short access_port = 0;  // the port on which the CAP reaches this RE afterwards

  // This node's answer, from its identity file (Utils::GetNodeIdentity).
  static ScanResponderInitData FromNodeIdentity(const Utils::NodeIdentity& node, unsigned short accessPort = 0);
};

}  // namespace ORVA::MESH::SDK::ScanWired
