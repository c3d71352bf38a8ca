#pragma once
// System utilities shared by the subsystems: randomness, interface facts, threads and local
// web-API calls. Functions return 0 on success and a negative value on failure (with one log
// line), unless they say otherwise.
#include <pthread.h>

#include <string>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Utils {

// --- randomness -------------------------------------------------------------------------

// --- interfaces and system facts ---------------------------------------------------------

// --- threads and web API ------------------------------------------------------------------

}  // namespace ORVA::MESH::SDK::Utils
