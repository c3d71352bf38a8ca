#include "orvamesh/radius/radius_service.h"

#include <csignal>
#include <fstream>
#include <sstream>

#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "orvamesh/platform/system_root.h"
#include "orvamesh/radius/free_radius_renderer.h"
#include "platform/pid_file.h"
#include "platform/process_runner.h"

namespace ORVA::MESH::SDK::Radius {
namespace {

bool SameContent(const std::string& path, const std::string& content) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream current;
  current << in.rdbuf();
  return current.str() == content;
}

bool Unchanged(const std::vector<RenderedFile>& files, const std::string& confDir) {
  for (const RenderedFile& file : files) {
    if (!SameContent(confDir + "/" + file.relativePath, file.content)) return false;
  }
  return true;
}

}  // namespace

RadiusService::RadiusService()
    : RadiusService(orva::platform::SystemRoot::Path(kConfDir), orva::platform::SystemRoot::Path(kPidFile)) {}

RadiusService::RadiusService(std::string confDir, std::string pidFile)
    : confDir_(std::move(confDir)), pidFile_(std::move(pidFile)) {}

RadiusService::ACTION RadiusService::Apply(const RadiusConfig& config) {
  ACTION action = ACTION::NONE;
  Mutex::CallWithLock(mutex_, [&] { action = ApplyImpl(config); });
  return action;
}

RadiusService::ACTION RadiusService::ApplyImpl(const RadiusConfig& config) {
  const std::vector<RenderedFile> files = FreeRadiusRenderer::Render(config);
  const bool unchanged = Unchanged(files, confDir_);
  if (!unchanged) FreeRadiusRenderer::Write(files, confDir_);
  ACTION action = ACTION::STARTED;
  int rc = 0;
  if (!IsRunning()) {
    rc = Start();
  } else if (unchanged) {
    action = ACTION::RELOADED;
    rc = Reload();
  } else {
    action = ACTION::RESTARTED;
    rc = Stop();
    if (rc == 0) rc = Start();
  }
  if (rc != 0) ORVA_THROW(Exception::RuntimeException, "Failed to bring the RADIUS server in line with [" + confDir_ + "]");
  ORVA_LOG_INFO("RADIUS configuration applied: %s", ToString(action).c_str());
  return action;
}

bool RadiusService::IsRunning() const { return orva::platform::ProcAliveByPidFile(pidFile_); }

int RadiusService::Reload() {
  if (orva::platform::ProcSignalByPidFile(pidFile_, SIGHUP) != 0) {
    ORVA_LOG_ERR("Failed to signal the RADIUS server through [%s]", pidFile_.c_str());
    return -1;
  }
  return 0;
}

int RadiusService::Start() { return RunJob("/sbin/start"); }

int RadiusService::Stop() { return RunJob("/sbin/stop"); }

int RadiusService::RunJob(const char* jobManager) {
  // The runner finds the job manager below the system root.
  if (orva::platform::ExecWait({jobManager, kJob}, orva::platform::kJobManagerFlags) != 0) {
    ORVA_LOG_ERR("Failed to %s %s", jobManager, kJob);
    return -1;
  }
  return 0;
}

std::string ToString(RadiusService::ACTION action) {
  switch (action) {
    case RadiusService::ACTION::NONE: return "none";
    case RadiusService::ACTION::RELOADED: return "reloaded";
    case RadiusService::ACTION::RESTARTED: return "restarted";
    case RadiusService::ACTION::STARTED: return "started";
  }
  return "none";
}

}  // namespace ORVA::MESH::SDK::Radius
