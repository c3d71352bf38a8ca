#pragma once
// Replacing whole files so that a reader (a daemon reloading its configuration) sees either the
// old content or the new one, never a mix: each file is written beside its target under a
// unique temporary name, flushed to disk, given its mode and renamed into place.
#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

namespace orva::platform {

// Writes every (path, content) pair. All temporary files are complete before the first rename,
// so a failure while writing leaves every target as it was. Throws RuntimeException naming the
// path on failure (the content is never quoted: it may hold secrets).
void WriteFilesAtomically(const std::vector<std::pair<std::string, std::string>>& files, mode_t mode);

}  // namespace orva::platform
