#include "orvamesh/scan_wired/scan_responder_init_data.h"

namespace ORVA::MESH::SDK::ScanWired {

ScanResponderInitData ScanResponderInitData::FromNodeIdentity(const Utils::NodeIdentity& node,
                                                              unsigned short accessPort) {
  ScanResponderInitData data;
  data.unique = node.modelUnique;
  data.serial = node.serial;
  data.os_name = node.osName;
  data.os_version = node.osVersion;
  data.os_build_num = node.osBuildNumber;
  data.os_update_num = node.osUpdateNumber;
  data.access_port = accessPort;
  return data;
}

}  // namespace ORVA::MESH::SDK::ScanWired
