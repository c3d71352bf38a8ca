#pragma once
// Editors for the router's plain configuration files, one "key=value" per line with optional
// "[SECTION]" headers (hyd.conf, lbd.conf, switchvlan.conf, the mesh syslog file, the
// per-interface wpa_supplicant.conf). Every edit rewrites the file through a temporary file
// and a rename, so a reader never sees half a file, and leaves every other line as it was:
// comments, blank lines, other keys and other sections.
//
// Reading: leading blanks before a key are ignored (wpa_supplicant nests its keys in blocks),
// a value in double quotes is returned without them, and the first line with the key wins.
// Keys before the first section header are "top-level"; a section's keys run to the next
// header. Paths are used as given (callers map fixed paths below the system root first).
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace orva::platform {

enum class ValueQuoting { kPlain, kQuoted };  // key=value or key="value"

// Copies the value of a top-level key into buffer (NUL-terminated) and returns its length.
// 0 when the file or the key does not exist (or the value is empty); -1 when the file exists
// but cannot be read, or the value does not fit into `size` bytes with its terminator.
int FileGetKeyValue(const std::string& path, const std::string& key, char* buffer, std::size_t size);
// Replaces the first top-level line of the key, or adds one after the last top-level line;
// creates the file when missing (not its directory). 0 or -1.
int FileSetKeyValue(const std::string& path, const std::string& key, const std::string& value,
                    ValueQuoting quoting);
// Removes every top-level line of the key; 0 also when there was none, -1 when the file
// cannot be read or written. A missing file has nothing to remove: 0.
int FileRemoveKey(const std::string& path, const std::string& key);

// The same inside "[section]".
int FileGetSectionValue(const std::string& path, const std::string& section, const std::string& key,
                        char* buffer, std::size_t size);
// Replaces the key in the section, or adds it after the section's last key, or adds the
// section at the end of the file. 0 or -1.
int FileSetSectionValue(const std::string& path, const std::string& section, const std::string& key,
                        const std::string& value, ValueQuoting quoting = ValueQuoting::kPlain);
// The section's keys and values in file order: 0, or -1 when the file cannot be read or has
// no such section.
int FileGetSection(const std::string& path, const std::string& section,
                   std::vector<std::pair<std::string, std::string>>& out);
// The top-level keys and values in file order: 0, or -1 when the file cannot be read. A
// reader that needs several keys reads the file once this way, and sees them all as they
// stood at one moment.
int FileGetTopLevel(const std::string& path, std::vector<std::pair<std::string, std::string>>& out);
// The names of the file's sections in file order: 0, or -1 when the file cannot be read.
int FileListSections(const std::string& path, std::vector<std::string>& out);

}  // namespace orva::platform
