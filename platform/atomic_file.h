#pragma once
// Replaces a file so that a reader, or a router that loses power, sees either the old content
// or the new, never an empty or half-written file: write a temporary file beside it, fsync it,
// rename it over the old one, fsync the directory.
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace orva::platform {

// fsync of the directory that holds `path`, so a rename into it survives a power cut.
void SyncDirectoryOf(const std::string& path);

// 0, or -1 with errno set; the temporary file is gone either way.
int WriteFileAtomically(const std::string& path, const std::string& content, mode_t mode);

// Writes every (path, content) pair the same way, a replaced file keeping its owner and group.
// All temporary files are complete before the
// first rename, so a failure while writing leaves every target as it was. Throws
// RuntimeException naming the path on failure (the content is never quoted: it may hold
// secrets).
void WriteFilesAtomically(const std::vector<std::pair<std::string, std::string>>& files, mode_t mode);

}  // namespace orva::platform
