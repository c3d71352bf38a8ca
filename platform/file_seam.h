#pragma once
// A seam over the file calls whose failures cannot be provoked for real (an flock that
// refuses to unlock). Tests swap entries with ScopedFileCallsOverride. Not installed.

#include "platform/seam.h"

namespace orva::platform {

struct FileCallTable {
  int (*flock)(int, int);
};

FileCallTable& FileCalls() noexcept;

using ScopedFileCallsOverride = ::orva::platform::ScopedOverride<FileCallTable, &FileCalls>;

}  // namespace orva::platform
