#pragma once
// How busy this node is, read from /proc below the system root: CPU use between two samples,
// memory total and available, and uptime. The sampler keeps its previous CPU sample, so a daemon
// that answers "GetDataSystemUtilization" every few seconds never sleeps in the call: each call
// reports the CPU use since the one before. Only the first call of a fresh sampler waits, for
// the window given to the constructor.
//
// One sampler per caller; it is not safe to share one between threads without a lock.
#include <chrono>
#include <cstdint>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Utils {

struct ORVA_EXPORT SystemLoad {
  uint8_t cpuPercent = 0;          // 0..100, all cores together
  uint64_t memoryTotalKiB = 0;     // MemTotal
  uint64_t memoryAvailableKiB = 0; // MemAvailable: what a new program can get without swapping
  uint32_t uptimeSeconds = 0;
};

class ORVA_EXPORT UtilizationSampler {
 public:
  explicit UtilizationSampler(std::chrono::milliseconds firstWindow = std::chrono::milliseconds(100));

  // 0 on success; -1 with one log line when /proc cannot be read (load then untouched).
  int Sample(SystemLoad& load);

 private:
  struct CpuTicks {
    uint64_t busy = 0;
    uint64_t total = 0;
  };
  static bool ReadCpu(CpuTicks& ticks);
  static bool ReadMemory(SystemLoad& load);

  std::chrono::milliseconds firstWindow_;
  CpuTicks previous_;
  bool havePrevious_ = false;
};

}  // namespace ORVA::MESH::SDK::Utils
