#pragma once
// Applies a RADIUS configuration to the CAP's FreeRADIUS: validates it, writes the rendered
// files into the server's configuration directory (radius/free_radius_renderer.h) and brings
// the running server in line.
//
// FreeRADIUS 3 re-reads its modules on SIGHUP but keeps the clients, home servers, realms and
// listen sockets it started with, so a changed configuration means a restart through the
// system's job manager ("/sbin/stop" then "/sbin/start" with the job "freeradius"); an
// unchanged one only gets the SIGHUP (the modules' own data, such as the local users file, may
// have moved on). A server that is not running is started.
//
// Paths: the configuration directory "/etc/freeradius/3.0" and the pid file
// "/var/run/freeradius/freeradius.pid", both below the system root unless given explicitly.
#include <string>

#include "orvamesh/export.h"
#include "orvamesh/radius/radius_config.h"
#include "orvamesh/utils/mutex.h"

namespace ORVA::MESH::SDK::Radius {

class ORVA_EXPORT RadiusService {
 public:
  static constexpr char kConfDir[] = "/etc/freeradius/3.0";
  static constexpr char kPidFile[] = "/var/run/freeradius/freeradius.pid";
  static constexpr char kJob[] = "freeradius";

  enum class ACTION { NONE, RELOADED, RESTARTED, STARTED };

  RadiusService();
  // Paths used as given.
  RadiusService(std::string confDir, std::string pidFile);
  RadiusService(const RadiusService&) = delete;
  RadiusService& operator=(const RadiusService&) = delete;

  // Validates (InvalidArgumentException, nothing written), writes the files (RuntimeException on
  // failure) and reloads, restarts or starts the server (RuntimeException when that fails).
  ACTION Apply(const RadiusConfig& config);

  bool IsRunning() const;
  // 0 on success, -1 with one error line in the log.
  int Reload();  // SIGHUP through the pid file
  int Start();   // "/sbin/start freeradius"
  int Stop();    // "/sbin/stop freeradius"

  const std::string& ConfDir() const { return confDir_; }
  const std::string& PidFile() const { return pidFile_; }

 private:
  ACTION ApplyImpl(const RadiusConfig& config);
  int RunJob(const char* jobManager);

  const std::string confDir_;
  const std::string pidFile_;
  Mutex mutex_;
};

ORVA_EXPORT std::string ToString(RadiusService::ACTION action);

}  // namespace ORVA::MESH::SDK::Radius
