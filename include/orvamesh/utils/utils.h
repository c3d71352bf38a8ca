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

// --- threads and web API ------------------------------------------------------------------

}  // namespace ORVA::MESH::SDK::Utils
