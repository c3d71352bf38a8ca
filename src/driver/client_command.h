#pragma once
// The steps hostapd's and wpa_supplicant's helpers share when they run their command-line
// client: the argument vector, daemon mode, reading the whole reply and judging it.
#include <string>
#include <vector>

namespace ORVA::MESH::SDK::Driver::Detail {

struct ClientCodes {
  int execFailed;
  int commandFailed;
};

// Whether `ifname` could name an interface; logs when not. The helpers put the name into pid
// and configuration file paths and into argument vectors, so "../x" must stop here.
bool UsableInterfaceName(const std::string& ifname);

// client "-i" ifname cmd args... (plus "-B" in daemon mode). Daemon mode waits for the client
// and leaves `result` untouched; otherwise `result` receives the output and any "FAIL" in it
// is a failure.
int RunClient(const std::string& client, const std::string& ifname, const std::string& cmd,
              const std::vector<std::string>& args, std::string& result, bool daemon, ClientCodes codes);

}  // namespace ORVA::MESH::SDK::Driver::Detail
