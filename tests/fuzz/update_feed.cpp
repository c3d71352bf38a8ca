// The update feed's XML reader: any document is refused with a FeedException or read, never a
// crash, a leak or another exception.
#include <cstddef>
#include <cstdint>
#include <string>

#include "orvamesh/upgrade/mesh_upgrade_exception.h"
#include "upgrade/feed_parser.h"
#include "quiet_log.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace ORVA::MESH::SDK;
  SilenceLibraryLog();
  try {
    Upgrade::ParseFeed(std::string(reinterpret_cast<const char*>(data), size));
  } catch (const Upgrade::FeedException&) {
  }
  return 0;
}
