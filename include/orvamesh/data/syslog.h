#pragma once
// The mesh's log forwarding: the job manager's services "syslog-mesh-server" (on the node that
// collects the logs) and "syslog-mesh-client" (on the others), and the settings they read from
// "/etc/orvasyslog/mesh.conf" below the system root, one key="value" per line:
//   server_addr       the collector's address (a link-local IPv6 address with "%<ifindex>")
//   server_addr_type  "4" or "6"
//   client_serials    the client nodes' serial numbers, separated by single spaces
//   <serial>          that node's name
// Failures are logged and thrown as std::runtime_error, except that stopping a service only
// logs. Writes made before a failure stay in the file. Only the address write is guarded by
// the cross-process lock "/tmp/lock/mesh_syslog.conf"; callers writing the serial list from
// several threads serialise themselves.
#include <map>
#include <string>

#include "orvamesh/export.h"
#include "orvamesh/platform/ip_address.h"

namespace ORVA::MESH::SDK::Data {

class ORVA_EXPORT Syslog {
 public:
  static void StartServer();
  static void StartClient();
  static void StopServer();
  static void StopClient();
  static void RestartServer();
  static void RestartClient();

  // `ifname` names the link of a link-local IPv6 collector address.
  static void SaveServerIP(const orva::net::utils::IPAddress& address, const std::string& ifname);
  // Replaces the whole serial list (serials that left the mesh disappear).
  static void SaveClientSerialsAndNames(const std::map<std::string, std::string>& serialsAndNames);
  static void ClearClientSerialsAndNames();
};

}  // namespace ORVA::MESH::SDK::Data
