#pragma once
// System utilities shared by the subsystems: randomness, interface facts, threads and local
// web-API calls. Functions return 0 on success and a negative value on failure (with one log
// line), unless they say otherwise.
#include <pthread.h>

#include <string>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Utils {

// --- randomness -------------------------------------------------------------------------

// Seeds the process-wide rand() generator from the kernel's random source (getrandom without
// blocking, falling back to /dev/urandom below the system root while the kernel pool is not
// ready or the call is missing). Returns 0, or -1 with one log line when no source answers;
// rand() is then left as it was.
ORVA_EXPORT int GenRandomSeed();

// --- interfaces and system facts ---------------------------------------------------------

// The hardware address of the named interface as lower-case text ("00:24:e7:01:02:03").
// Asked of the kernel (SIOCGIFHWADDR) rather than read from /sys, because /sys shows the
// interfaces of the namespace it was mounted in, not those of the calling thread.
// Returns 0 on success; -1 (one error line) for an unknown name or an interface without a
// 6-byte Ethernet address.
ORVA_EXPORT int GetIfMAC(const std::string& interfaceName, std::string& mac);

// Seconds since boot (whole seconds, rounded down), read from /proc/uptime below the system
// root. Returns 0 on success, -1 (one error line) when the file is missing or unreadable.
ORVA_EXPORT int GetSystemUptime(unsigned long& seconds);

// --- threads and web API ------------------------------------------------------------------

}  // namespace ORVA::MESH::SDK::Utils

namespace Json {
class Value;
}  // namespace Json

namespace ORVA::MESH::SDK::Utils {

// `host` qualified with the zone of `ifname` when it is an IPv6 link-local address (see
// orva::net::utils::IPAddress), else unchanged. -1 for an empty or unknown interface name.
ORVA_EXPORT int AddIPv6LinkLocalZoneIndex(const std::string& host, std::string& out,
                                          const std::string& ifname);

// Starts a thread running body(arg) with a stack of `stackSize` bytes (0: the default) and
// every signal blocked; detached when asked. 0 on success, else the pthread error number.
ORVA_EXPORT int CreatePThread(pthread_t* tid, void* (*body)(void*), void* arg, bool detached,
                              size_t stackSize);

// Runs one call of the local web API as the user "admin" (orva::platform::ApiRunner). -1 when
// the call could not be made or the answer is ill-formed; otherwise 0 with `success` saying
// whether the answer reports success. `answer` gets the answer document.
ORVA_EXPORT int ExecWebAPI(Json::Value& answer, bool& success, const std::string& api,
                           int version, const std::string& method, const Json::Value& params);

}  // namespace ORVA::MESH::SDK::Utils
