#pragma once
// Seam over the kernel's random source, so tests can make getrandom fail (a kernel without it,
// a pool not yet initialised) and reach the fallback and error paths. Not installed.
#include <sys/random.h>
#include <sys/types.h>

#include <cstddef>

#include "platform/seam.h"

namespace ORVA::MESH::SDK::Seam {

struct RandomCalls {
  ssize_t (*getrandom)(void*, size_t, unsigned int);
};

// The calls in force; the real ones unless a test overrode them.
RandomCalls& Random() noexcept;

using ScopedRandomOverride = ::orva::platform::ScopedOverride<RandomCalls, &Random>;

}  // namespace ORVA::MESH::SDK::Seam

namespace orva::platform {

// Seeds std::rand from the kernel (getrandom without blocking), falling back to /dev/urandom
// below the system root. False, with one log line, when neither answers.
bool SeedRandom();

}  // namespace orva::platform
