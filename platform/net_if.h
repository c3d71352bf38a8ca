#pragma once
// Interface facts the driver helpers need from the router OS: bringing a link up and the
// member ports of a Linux bridge.
#include <string>
#include <vector>

namespace orva::platform {

// Whether the kernel could have an interface of this name: 1..15 bytes, not "." or "..", no
// "/", ":", blank or control character. Helpers that put a name into a path or an argument
// vector check it first, so "../x" can never reach a file name.
bool IsInterfaceName(const std::string& name);

// Sets IFF_UP on the interface (in the caller's network namespace): 0, or -1 when the
// interface does not exist or the flag cannot be set.
int NetIfUp(const std::string& ifname);

// The member interfaces of `bridge`, read from the bridge's "brif" directory under the system
// root's /sys/class/net, sorted by name: 0, or -1 when the directory cannot be read.
int ListBridgeMembers(const std::string& bridge, std::vector<std::string>& members);

// The directory listed above.
std::string BridgeMemberDir(const std::string& bridge);

}  // namespace orva::platform
