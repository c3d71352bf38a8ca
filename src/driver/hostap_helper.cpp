#include "orvamesh/driver/hostap_helper.h"

#include <csignal>
#include <regex>

#include "driver/client_command.h"
#include "orvamesh/platform/system_root.h"
#include "orvamesh/base/log.h"
#include "platform/pid_file.h"
#include "platform/process_runner.h"

namespace ORVA::MESH::SDK::Driver {
namespace {

constexpr char kClient[] = "/usr/bin/hostapd_cli";
constexpr char kPeerTag[] = "Peer Address";

std::string ScriptKey(std::string script) {
  for (char& c : script) {
    if (c == '/') c = '_';
  }
  return script;
}

}  // namespace

HostapHelper::HostapHelper(const std::string& ifname) : ifname_(ifname) {}

bool HostapHelper::IsHostapdReady() {
  return Mutex::ResultWithLock(mutex_, false, [&] { return IsHostapdReadyImpl(); });
}

std::string HostapHelper::GetVAPName() const { return ifname_; }

int HostapHelper::SendCommand(const std::string& cmd, const std::vector<std::string>& args, std::string& result,
                              bool daemon) {
  return Mutex::ResultWithLock(mutex_, -1, [&] { return SendCommandImpl(cmd, args, result, daemon); });
}

int HostapHelper::StartActionScript(const std::string& script, std::string& result) {
  return Mutex::ResultWithLock(mutex_, -1, [&] { return StartActionScriptImpl(script, result); });
}

int HostapHelper::StopActionScript(const std::string& script) {
  return Mutex::ResultWithLock(mutex_, -1, [&] { return StopActionScriptImpl(script); });
}

int HostapHelper::GetLastWPSPeerAddress(Mac& peer) {
  return Mutex::ResultWithLock(mutex_, -1, [&] { return GetLastWPSPeerAddressImpl(peer); });
}

bool HostapHelper::IsHostapdReadyImpl() {
  // Every operation asks this first, so a name that could escape a pid-file path stops here.
  if (!Detail::UsableInterfaceName(ifname_)) return false;
  // Standard output only, as for every other command: a client that can say nothing but an
  // error on standard error has no hostapd to talk to.
  orva::platform::ProgramOutput output = orva::platform::ProgramOutput::Open({kClient, "-i", ifname_, "interface"});
  if (!output) return false;
  char buffer[1024];
  bool anyLine = false;
  while (output.GetLine(buffer, sizeof buffer) != nullptr) {
    const std::string line = buffer;
    if (line.find("Could not connect to interface") != std::string::npos ||
        line.find("Failed to connect to") != std::string::npos) {
      return false;
    }
    anyLine = true;
  }
  return anyLine;
}

int HostapHelper::SendCommandImpl(const std::string& cmd, const std::vector<std::string>& args, std::string& result,
                                  bool daemon) {
  if (!IsHostapdReadyImpl()) return kNotReady;
  return Detail::RunClient(kClient, ifname_, cmd, args, result, daemon, {kExecFailed, kCommandFailed});
}

std::string HostapHelper::DefaultPidFile(const std::string& key) const {
  return orva::platform::SystemRoot::Path("/var/run/" + ifname_ + "_" + key);
}

int HostapHelper::StartActionScriptImpl(const std::string& script, std::string& result) {
  if (!IsHostapdReadyImpl()) {
    ORVA_LOG_ERR("Hostapd is not ready");
    return kNotReady;
  }
  const std::string key = ScriptKey(script);
  std::string pidFile;
  auto found = scripts_.find(key);
  if (found != scripts_.end()) {
    pidFile = found->second;
  } else {
    pidFile = DefaultPidFile(key);
  }
  // A listener started by an earlier run of the daemon is found by the same fixed name.
  if (orva::platform::FileExist(pidFile)) {
    if (orva::platform::ProcAliveByPidFile(pidFile)) return kAlreadyRunning;
    if (orva::platform::SysRemove(pidFile) != 0) {
      ORVA_LOG_ERR("Failed to remove pid file [%s].", pidFile.c_str());
      return kStalePidFile;
    }
  }
  scripts_.emplace(key, pidFile);
  return SendCommandImpl("", {"-P" + pidFile, "-a" + script}, result, true);
}

int HostapHelper::StopActionScriptImpl(const std::string& script) {
  if (!IsHostapdReadyImpl()) return kNotReady;
  const std::string key = ScriptKey(script);
  auto found = scripts_.find(key);
  const std::string pidFile = found != scripts_.end() ? found->second : DefaultPidFile(key);
  if (orva::platform::FileExist(pidFile) && orva::platform::ProcAliveByPidFile(pidFile) &&
      orva::platform::ProcSignalByPidFile(pidFile, SIGTERM) < 0) {
    return kSignalFailed;
  }
  if (found != scripts_.end()) scripts_.erase(found);
  return 0;
}

int HostapHelper::GetLastWPSPeerAddressImpl(Mac& peer) {
  if (!IsHostapdReadyImpl()) return kNotReady;
  std::string result;
  int rc = SendCommandImpl("wps_get_status", {}, result, false);
  if (rc < 0) {
    ORVA_LOG_ERR("Failed to get last wps status from hostapd, result=%s", result.c_str());
    return -1;
  }
  static const std::regex kPeer("\\b(Peer Address): (.*)");
  std::smatch match;
  std::string tag;
  std::string value;
  if (std::regex_search(result, match, kPeer)) {
    tag = match[1].str();
    value = match[2].str();
    ORVA_LOG_DEBUG("tag: %s, value: %s", tag.c_str(), value.c_str());
  }
  if (tag != kPeerTag) {
    ORVA_LOG_ERR("there's no \"%s\" field, maybe not wps success?", kPeerTag);
    return -1;
  }
  while (!value.empty() && (value.back() == '\r' || value.back() == ' ')) value.pop_back();
  ether_addr address;
  if (Mac::StrToMac(value, address) != 0) {
    ORVA_LOG_ERR("Invalid peer address [%s] in wps status", value.c_str());
    return -1;
  }
  peer = Mac(address);
  return 0;
}

}  // namespace ORVA::MESH::SDK::Driver
