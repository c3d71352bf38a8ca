#include "orvamesh/utils/utilization_sampler.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>

#include "orvamesh/base/log.h"
#include "orvamesh/platform/system_root.h"
#include "orvamesh/utils/utils.h"

namespace ORVA::MESH::SDK::Utils {

UtilizationSampler::UtilizationSampler(std::chrono::milliseconds firstWindow) : firstWindow_(firstWindow) {}

// The first line of /proc/stat: user nice system idle iowait irq softirq steal guest guest_nice.
// Guest time is already inside user and nice, so it is not added twice; idle and iowait are
// the CPU's waiting time, everything else is work.
bool UtilizationSampler::ReadCpu(CpuTicks& ticks) {
  const std::string path = orva::platform::SystemRoot::Path("/proc/stat");
  std::ifstream file(path);
  std::string label;
  unsigned long long v[8] = {};
  if (!(file >> label) || label != "cpu" ||
      !(file >> v[0] >> v[1] >> v[2] >> v[3] >> v[4] >> v[5] >> v[6] >> v[7])) {
    ORVA_LOG_ERR("Fail to read the CPU times from [%s]", path.c_str());
    return false;
  }
  ticks.total = v[0] + v[1] + v[2] + v[3] + v[4] + v[5] + v[6] + v[7];
  ticks.busy = ticks.total - v[3] - v[4];
  return true;
}

bool UtilizationSampler::ReadMemory(SystemLoad& load) {
  const std::string path = orva::platform::SystemRoot::Path("/proc/meminfo");
  FILE* file = std::fopen(path.c_str(), "re");
  if (file == nullptr) {
    ORVA_LOG_ERR("Fail to open [%s]", path.c_str());
    return false;
  }
  bool total = false;
  bool available = false;
  char line[128];
  unsigned long long value = 0;
  while (std::fgets(line, sizeof line, file) != nullptr && !(total && available)) {
    if (std::sscanf(line, "MemTotal: %llu kB", &value) == 1) {
      load.memoryTotalKiB = value;
      total = true;
    } else if (std::sscanf(line, "MemAvailable: %llu kB", &value) == 1) {
      load.memoryAvailableKiB = value;
      available = true;
    }
  }
  std::fclose(file);
  if (!total || !available) ORVA_LOG_ERR("No MemTotal or MemAvailable in [%s]", path.c_str());
  return total && available;
}

int UtilizationSampler::Sample(SystemLoad& load) {
  CpuTicks now;
  if (!havePrevious_) {
    if (!ReadCpu(previous_)) return -1;
    havePrevious_ = true;
    std::this_thread::sleep_for(firstWindow_);
  }
  SystemLoad read;
  unsigned long uptime = 0;
  if (!ReadCpu(now) || !ReadMemory(read) || GetSystemUptime(uptime) != 0) return -1;
  const uint64_t total = now.total - previous_.total;
  const uint64_t busy = now.busy >= previous_.busy ? now.busy - previous_.busy : 0;
  // Between two reads less than a tick apart nothing has been counted: report no load rather
  // than divide by zero.
  read.cpuPercent = total == 0 ? 0 : static_cast<uint8_t>(std::min<uint64_t>(100, (busy * 100 + total / 2) / total));
  read.uptimeSeconds = static_cast<uint32_t>(uptime);
  previous_ = now;
  load = read;
  return 0;
}

}  // namespace ORVA::MESH::SDK::Utils
