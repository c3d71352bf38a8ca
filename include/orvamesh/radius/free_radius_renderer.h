#pragma once
// Turns a RADIUS configuration into the files of a FreeRADIUS 3 configuration directory:
//   "clients.conf"           the access points allowed to ask (client sections),
//   "proxy.conf"             home servers, home server pools and realms,
//   "sites-enabled/orvamesh" the listen sections and the request policy of the mesh's server
//                            (realm split with the "suffix" module, local users from "files",
//                            PAP; realms with a pool are proxied).
// The rest of the directory (radiusd.conf, the modules) is the installation's.
//
// Every value is written in single quotes. FreeRADIUS expands "${...}" inside double quotes
// only, and inside single quotes takes a backslash literally except before "'", so escaping
// "'" is all a value needs; the validator refuses the few texts that cannot be spelled this way.
#include <sys/types.h>

#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/radius/radius_config.h"

namespace ORVA::MESH::SDK::Radius {

struct ORVA_EXPORT RenderedFile {
  std::string relativePath;  // below the configuration directory
  std::string content;
};

class ORVA_EXPORT FreeRadiusRenderer {
 public:
  static constexpr mode_t kFileMode = 0640;  // secrets inside: no world access
  static constexpr char kVirtualServer[] = "orvamesh";

  // The three files. Throws InvalidArgumentException (ConfigValidator::Check) first when the
  // configuration is not valid.
  static std::vector<RenderedFile> Render(const RadiusConfig& config);
  // Writes them below `confDir` (creating "sites-enabled" when missing), each replaced
  // atomically with mode 0640. Throws RuntimeException naming the file on failure.
  static void Write(const std::vector<RenderedFile>& files, const std::string& confDir);
  // `value` as a single-quoted FreeRADIUS string.
  static std::string Quote(const std::string& value);
};

}  // namespace ORVA::MESH::SDK::Radius
