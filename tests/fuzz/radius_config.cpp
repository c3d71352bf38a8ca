// Whatever text arrives as the RADIUS configuration must be refused with InvalidArgumentException
// or read into values that survive a JSON round trip; a configuration the validator passes must
// render, and every rendered value must stay inside its quotes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "orvamesh/base/exception.h"
#include "orvamesh/radius/config_validator.h"
#include "orvamesh/radius/free_radius_renderer.h"
#include "orvamesh/radius/radius_config.h"
#include "quiet_log.h"

namespace {

using namespace ORVA::MESH::SDK;

// Outside quotes a rendered file holds only the renderer's own words: no newline may sit inside
// a quoted value, and every quote opened is closed on its line.
void CheckQuotesBalance(const std::string& text) {
  bool inside = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inside && c == '\\' && i + 1 < text.size() && text[i + 1] == '\'') {
      ++i;
    } else if (c == '\'') {
      inside = !inside;
    } else if (c == '\n' && inside) {
      std::abort();
    }
  }
  if (inside) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  SilenceLibraryLog();
  Radius::RadiusConfig config;
  try {
    config = Radius::RadiusConfig::FromJsonText(std::string(reinterpret_cast<const char*>(data), size));
  } catch (const Exception::InvalidArgumentException&) {
    return 0;
  }
  if (Radius::RadiusConfig::FromJson(config.ToJson()) != config) std::abort();
  if (!Radius::ConfigValidator::Problems(config).empty()) return 0;
  for (const Radius::RenderedFile& file : Radius::FreeRadiusRenderer::Render(config)) {
    // The header comment carries an apostrophe of its own.
    CheckQuotesBalance(file.content.substr(file.content.find('\n') + 1));
  }
  return 0;
}
