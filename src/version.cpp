#include "orvamesh/version.h"

namespace ORVA::MESH::SDK {

const char* LibraryVersion() noexcept { return ORVAMESH_VERSION_STRING; }

}  // namespace ORVA::MESH::SDK
