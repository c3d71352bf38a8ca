#pragma once
// The utilization record a node reports about itself ("GetDataSystemUtilization"), filled from
// the local sampler. "memoryFreeKiB" carries the memory available to new programs
// (MemAvailable), which is what a management program means by free memory on Linux.
#include "orvamesh/client/mesh_records.h"
#include "orvamesh/utils/utilization_sampler.h"

namespace ORVA::MESH::SDK::Client {

inline SystemUtilization ToSystemUtilization(const Utils::SystemLoad& load) {
  SystemUtilization out;
  out.cpuPercent = load.cpuPercent;
  out.memoryTotalKiB = load.memoryTotalKiB;
  out.memoryFreeKiB = load.memoryAvailableKiB;
  out.uptimeSeconds = load.uptimeSeconds;
  return out;
}

}  // namespace ORVA::MESH::SDK::Client
