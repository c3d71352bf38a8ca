#include "utils/random_seam.h"

namespace ORVA::MESH::SDK::Seam {

RandomCalls& Random() noexcept {
  static RandomCalls calls{::getrandom};
  return calls;
}

}  // namespace ORVA::MESH::SDK::Seam
