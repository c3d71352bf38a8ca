#include "orvamesh/utils/utils.h"

#include "orvamesh/utils/log.h"

namespace ORVA::MESH::SDK::Utils {

// --- randomness -------------------------------------------------------------------------



// --- interfaces and system facts ---------------------------------------------------------



// --- threads and web API ------------------------------------------------------------------



}  // namespace ORVA::MESH::SDK::Utils
