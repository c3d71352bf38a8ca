#pragma once
// Checks that a RADIUS configuration makes sense before anything is written: a wrong secret,
// realm or pool locks every user out, so each problem is reported on its own, naming the
// offender ("Home server [corp1]: port [0] is out of range"). Messages never quote a secret.
//
// Text rules, for names and secrets alike: no control characters (a newline cannot be written
// into the server's files), no backslash at the end or before a "'" (the server's quoting has
// no way to spell those). Secrets are 1 to 128 characters, names 1 to 64.
#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/radius/radius_config.h"

namespace ORVA::MESH::SDK::Radius {

class ORVA_EXPORT ConfigValidator {
 public:
  static constexpr std::size_t kMaxSecretLength = 128;
  static constexpr std::size_t kMaxNameLength = 64;
  static constexpr uint32_t kMaxResponseWindow = 60;

  // Every problem, in configuration order; empty when the configuration is good.
  static std::vector<std::string> Problems(const RadiusConfig& config);
  // Throws InvalidArgumentException with every problem, joined by "; ".
  static void Check(const RadiusConfig& config);
};

}  // namespace ORVA::MESH::SDK::Radius
