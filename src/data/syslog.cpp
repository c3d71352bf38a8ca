#include "orvamesh/data/syslog.h"

#include <filesystem>
#include <string_view>
#include <stdexcept>
#include <vector>

#include "orvamesh/data/file_lock_wrapper.h"
#include "orvamesh/platform/system_root.h"
#include "orvamesh/base/log.h"
#include "platform/config_file.h"
#include "platform/process_runner.h"

namespace ORVA::MESH::SDK::Data {
namespace {

constexpr char kServerJob[] = "syslog-mesh-server";
constexpr char kClientJob[] = "syslog-mesh-client";
constexpr char kServerAddr[] = "server_addr";
constexpr char kServerAddrType[] = "server_addr_type";
constexpr char kClientSerials[] = "client_serials";

std::string ConfPath() { return orva::platform::SystemRoot::Path("/etc/orvasyslog/mesh.conf"); }
std::string LockPath() { return orva::platform::SystemRoot::Path("/tmp/lock/mesh_syslog.conf"); }

int Job(const char* jobManager, const char* job) {
  return orva::platform::ExecWait({jobManager, job}, orva::platform::kJobManagerFlags);
}

[[noreturn]] void Fail(const std::string& message) { throw std::runtime_error(message); }

int Set(const std::string& key, const std::string& value) {
  return orva::platform::FileSetKeyValue(ConfPath(), key, value, orva::platform::ValueQuoting::kQuoted);
}

// A serial is also a key of the file: it must not collide with the file's own keys or break
// the space-separated list.
// Kept on one line, never read as a comment or the end of a quote, and never expanded by a
// shell that sources the file.
bool IsPlainValue(const std::string& text) {
  constexpr std::string_view kUnsafe("\0\r\n#\"'`$\\", 9);
  return text.find_first_of(kUnsafe) == std::string::npos;
}

bool IsUsableSerial(const std::string& serial) {
  return !serial.empty() && serial.find_first_of(" \t=") == std::string::npos && IsPlainValue(serial) &&
         serial != kServerAddr && serial != kServerAddrType && serial != kClientSerials;
}

// The list is read back into a buffer of this size, terminator included.
constexpr size_t kSerialListBuffer = 1024;

}  // namespace

void Syslog::StartServer() {
  if (Job("/sbin/start", kServerJob) < 0) {
    ORVA_LOG_ERR("Failed to start syslog server for mesh.");
    Fail("Failed to start syslog server for mesh.");
  }
}

void Syslog::StartClient() {
  if (Job("/sbin/start", kClientJob) < 0) {
    ORVA_LOG_ERR("Failed to start syslog client for mesh.");
    Fail("Failed to start syslog client for mesh.");
  }
}

void Syslog::StopServer() {
  if (Job("/sbin/stop", kServerJob) < 0) ORVA_LOG_ERR("Failed to stop syslog server for mesh.");
}

void Syslog::StopClient() {
  if (Job("/sbin/stop", kClientJob) < 0) ORVA_LOG_ERR("Failed to stop syslog client for mesh.");
}

void Syslog::RestartServer() {
  if (Job("/sbin/restart", kServerJob) < 0) {
    ORVA_LOG_ERR("Failed to restart syslog server for mesh.");
    Fail("Failed to restart syslog server for mesh.");
  }
}

void Syslog::RestartClient() {
  if (Job("/sbin/restart", kClientJob) < 0) {
    ORVA_LOG_ERR("Failed to restart syslog client for mesh.");
    Fail("Failed to restart syslog client for mesh.");
  }
}

void Syslog::SaveServerIP(const orva::net::utils::IPAddress& address, const std::string& ifname) {
  if (address.IsEmpty()) {
    ORVA_LOG_ERR("Invalid IP address");
    Fail("Invalid IP address");
  }
  // /tmp is emptied at boot; the lock's directory may not be there yet.
  const std::string lockPath = LockPath();
  std::error_code ignored;  // a directory that cannot be made shows up as a lock failure
  std::filesystem::create_directories(std::filesystem::path(lockPath).parent_path(), ignored);
  FileLockWrapper lock(lockPath);
  std::string text = address.ToString();
  if (address.IsIPv6() && address.IsLinkLocal()) text = address.AppendIPv6LinkLocalIndex(ifname);
  if (Set(kServerAddr, text) != 0) {
    ORVA_LOG_ERR("Failed to save syslog server address.");
    Fail("Failed to save syslog server address.");
  }
  if (Set(kServerAddrType, address.IsIPv6() ? "6" : "4") != 0) {
    ORVA_LOG_ERR("Failed to save syslog server address type.");
    Fail("Failed to save syslog server address type.");
  }
}

void Syslog::SaveClientSerialsAndNames(const std::map<std::string, std::string>& serialsAndNames) {
  // Everything is checked before the file changes: a list that could not be read back would
  // make every later save and clear fail until someone repaired the file by hand.
  std::string serials;
  for (const auto& [serial, name] : serialsAndNames) {
    if (!IsUsableSerial(serial) || !IsPlainValue(name)) {
      ORVA_LOG_ERR("Failed to save mapping of serial and node name.");
      Fail("Failed to save mapping of serial and node name.");
    }
    if (!serials.empty()) serials += ' ';
    serials += serial;
  }
  if (serials.size() >= kSerialListBuffer) {
    ORVA_LOG_ERR("Failed to save serials.");
    Fail("Failed to save serials.");
  }
  ClearClientSerialsAndNames();
  for (const auto& [serial, name] : serialsAndNames) {
    if (Set(serial, name) != 0) {
      ORVA_LOG_ERR("Failed to save mapping of serial and node name.");
      Fail("Failed to save mapping of serial and node name.");
    }
  }
  if (Set(kClientSerials, serials) != 0) {
    ORVA_LOG_ERR("Failed to save serials.");
    Fail("Failed to save serials.");
  }
}

void Syslog::ClearClientSerialsAndNames() {
  const std::string path = ConfPath();
  char buffer[kSerialListBuffer];
  if (orva::platform::FileGetKeyValue(path, kClientSerials, buffer, sizeof buffer) < 0) {
    ORVA_LOG_ERR("Failed to get serials.");
    Fail("Failed to get serials.");
  }
  std::vector<std::string> keys;
  std::string serial;
  for (const char* c = buffer;; ++c) {
    if (*c == ' ' || *c == '\0') {
      if (!serial.empty()) keys.push_back(serial);
      serial.clear();
      if (*c == '\0') break;
    } else {
      serial += *c;
    }
  }
  keys.emplace_back(kClientSerials);
  for (const std::string& key : keys) {
    if (orva::platform::FileRemoveKey(path, key) != 0) {
      ORVA_LOG_ERR("Failed to remove key: %s", key.c_str());
      Fail("Failed to remove key: " + key);
    }
  }
}

}  // namespace ORVA::MESH::SDK::Data
