#pragma once
// Every fixed path the library touches (programs under /usr and /sbin, files under /etc,
// /proc, /sys and /var/run) is looked up below one system root, "/" on a router. A daemon
// author points it at a fixture tree to run the helpers off the router. The first use takes
// the value of the environment variable ORVAMESH_SYSTEM_ROOT when it is set.
#include <string>
#include <string_view>

#include "orvamesh/export.h"

namespace orva::platform {

class ORVA_EXPORT SystemRoot {
 public:
  // The current root, without a trailing slash unless it is "/".
  static std::string Get();
  // Changes the root for the whole process; an empty string means "/". Set it before the
  // library runs any helper: paths already handed out are not rewritten.
  static void Set(const std::string& root);
  // The path of an absolute system path below the root: "/etc/x" under "/srv/fx" is
  // "/srv/fx/etc/x". A relative path is returned unchanged.
  static std::string Path(std::string_view absolutePath);
};

}  // namespace orva::platform
