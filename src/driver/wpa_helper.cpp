#include "orvamesh/driver/wpa_helper.h"

#include <netinet/ether.h>

#include <algorithm>

#include <cstring>

#include "driver/client_command.h"
#include "orvamesh/driver/ioctl_helper.h"
#include "orvamesh/platform/system_root.h"
#include "orvamesh/base/log.h"
#include "platform/config_file.h"
#include "platform/pid_file.h"
#include "platform/process_runner.h"

namespace ORVA::MESH::SDK::Driver {
namespace {

constexpr char kClient[] = "/usr/sbin/wpa_cli";
constexpr char kJob[] = "wpa_cli";
constexpr char kStart[] = "/sbin/start";
constexpr char kStop[] = "/sbin/stop";

// What drivers report for a station that has no AP.
bool IsUnassociated(const unsigned char* bytes) {
  static const unsigned char kNone[][6] = {
      {0, 0, 0, 0, 0, 0}, {0xff, 0xff, 0xff, 0xff, 0xff, 0xff}, {0x44, 0x44, 0x44, 0x44, 0x44, 0x44}};
  for (const auto& none : kNone) {
    if (std::memcmp(bytes, none, 6) == 0) return true;
  }
  return false;
}

}  // namespace

WPAHelper::WPAHelper(const std::string& ifname)
    : ifname_(ifname),
      pidFile_(orva::platform::SystemRoot::Path("/var/run/wpa_supplicant.pid." + ifname)),
      confFile_(orva::platform::SystemRoot::Path("/usr/orva/etc/wpa_supplicant.conf." + ifname)) {}

bool WPAHelper::IsWPASupplicantReady() {
  // Every operation asks this first, so a name that could escape a file path stops here.
  if (!Detail::UsableInterfaceName(ifname_)) return false;
  pid_t pid = orva::platform::ReadPidFile(pidFile_);
  if (pid <= 0 || !orva::platform::ProcAlive(pid)) return false;
  orva::platform::ProgramOutput output = orva::platform::ProgramOutput::Open({kClient, "-i", ifname_, "ping"});
  if (!output) return false;
  char buffer[1024];
  while (output.GetLine(buffer, sizeof buffer) != nullptr) {
    if (std::strstr(buffer, "PONG") != nullptr) return true;
  }
  return false;
}

int WPAHelper::SendCommand(const std::string& cmd, const std::vector<std::string>& args, std::string& result,
                           bool daemon) {
  if (!IsWPASupplicantReady()) return kNotReady;
  // wpa_cli reads any word that starts with "-" as one of its own options, wherever it stands
  // ("-a" runs an action script as root): such a word never reaches it.
  const auto isOption = [](const std::string& word) { return !word.empty() && word[0] == '-'; };
  if (isOption(cmd) || std::any_of(args.begin(), args.end(), isOption)) {
    ORVA_LOG_ERR("Refusing a wpa_cli argument that starts with \"-\"");
    return kExecFailed;
  }
  return Detail::RunClient(kClient, ifname_, cmd, args, result, daemon, {kExecFailed, kCommandFailed});
}

int WPAHelper::ReadConfigKey(const char* key, std::string& out) {
  char buffer[64];
  if (orva::platform::FileGetKeyValue(confFile_, key, buffer, sizeof buffer) < 1) return -1;
  out = buffer;
  return 0;
}

int WPAHelper::GetCurrentSSID(std::string& ssid) {
  if (!IsWPASupplicantReady()) return kNotReady;
  if (ReadConfigKey("ssid", ssid) != 0) {
    ORVA_LOG_ERR("Failed to get current ssid of connected network");
    return -1;
  }
  return 0;
}

int WPAHelper::GetCurrentPassword(std::string& psk) {
  if (!IsWPASupplicantReady()) return kNotReady;
  if (ReadConfigKey("psk", psk) != 0) {
    ORVA_LOG_ERR("Failed to get current password of connected network");
    return -1;
  }
  return 0;
}

int WPAHelper::GetCurrentBSSID(Mac& bssid) {
  struct iwreq req;
  std::memset(&req, 0, sizeof req);
  if (IOCTLHelper::getIOCTLParam(ifname_, SIOCGIWAP, req) != 0) {
    ORVA_LOG_ERR("Failed to get current connected BSSID");
    return -1;
  }
  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(req.u.ap_addr.sa_data);
  if (IsUnassociated(bytes)) {
    ORVA_LOG_ERR("Failed to get current connected BSSID, maybe not connected yet?");
    return -1;
  }
  std::string text;
  if (Mac::MacToStr(bytes, text) != 0) {
    ORVA_LOG_ERR("Failed to convert bssid to string");
    return -1;
  }
  bssid = Mac(text);
  return 0;
}

int WPAHelper::UpdateVariable(const std::string& name, const std::string& value) {
  if (!IsWPASupplicantReady()) {
    ORVA_LOG_ERR("wpa_supplicant is not ready");
    return kNotReady;
  }
  std::string result;
  if (SendCommand("set", {name, value}, result, false) < 0) {
    ORVA_LOG_ERR("Failed to set %s to %s, result=%s", name.c_str(), value.c_str(), result.c_str());
    return -1;
  }
  return 0;
}

int WPAHelper::SetPreferedBSSID(const Mac bssid) {
  if (!IsWPASupplicantReady()) return kNotReady;
  const std::string text = bssid.ToString();
  std::string result;
  if (!bssid.IsValid()) {
    ORVA_LOG_ERR("Failed to set prefered bssid(%s) for sta [%s], result:%s", text.c_str(), ifname_.c_str(),
                 "invalid address");
    return kExecFailed;
  }
  if (SendCommand("bssid", {"0", text}, result, false) < 0) {
    ORVA_LOG_ERR("Failed to set prefered bssid(%s) for sta [%s], result:%s", text.c_str(), ifname_.c_str(),
                 result.c_str());
    return kExecFailed;
  }
  return 0;
}

int WPAHelper::RunJob(const char* jobManager, const std::string& script) {
  const std::string iface = "IFACE=" + ifname_;
  const std::string action = "ACTION=" + script;
  if (orva::platform::ExecWait({jobManager, kJob, iface, action}, orva::platform::kJobManagerFlags) < 0) {
    ORVA_LOG_ERR("Failed to %s %s with %s %s", jobManager, kJob, iface.c_str(), action.c_str());
    return -1;
  }
  return 0;
}

int WPAHelper::StartActionScript(const std::string& script) {
  if (!IsWPASupplicantReady()) {
    ORVA_LOG_ERR("wpa_supplicant is not ready");
    return kNotReady;
  }
  StopActionScript(script);
  return RunJob(kStart, script) == 0 ? 0 : kExecFailed;
}

int WPAHelper::StopActionScript(const std::string& script) {
  if (!Detail::UsableInterfaceName(ifname_)) return kExecFailed;
  RunJob(kStop, script);
  return 0;
}

}  // namespace ORVA::MESH::SDK::Driver
