// The update feed's XML reader: any document is refused with a FeedException or read, never a
// crash, a leak or another exception.
#include <cstddef>
#include <cstdint>
#include <string>

#include "orvamesh/base/log.h"
#include "orvamesh/upgrade/mesh_upgrade_exception.h"
#include "upgrade/feed_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace ORVA::MESH::SDK;
  static const bool quiet = [] {
    Log::SetSink([](int, const std::string&) {});
    return true;
  }();
  (void)quiet;
  try {
    Upgrade::ParseFeed(std::string(reinterpret_cast<const char*>(data), size));
  } catch (const Upgrade::FeedException&) {
  }
  return 0;
}
