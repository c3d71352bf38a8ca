#include "platform/config_file.h"

#include "platform/atomic_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "platform/text.h"

namespace orva::platform {
namespace {

struct Line {
  std::string text;
  std::string section;  // empty for the top level
  bool header = false;
};

enum class Load { kOk, kMissing, kUnreadable };


// "[NAME]" -> NAME; false for any other line.
bool ParseHeader(const std::string& text, std::string& name) {
  std::string t = TrimBlanks(text);
  if (t.size() < 2 || t.front() != '[' || t.back() != ']') return false;
  name = TrimBlanks(t.substr(1, t.size() - 2));
  return true;
}

// "key=value" -> key, unquoted value; false for comments and lines without "=".
bool ParseEntry(const std::string& text, std::string& key, std::string& value) {
  std::string t = TrimBlanks(text);
  if (t.empty() || t[0] == '#' || t[0] == ';') return false;
  std::string::size_type eq = t.find('=');
  if (eq == std::string::npos || eq == 0) return false;
  key = TrimBlanks(t.substr(0, eq));
  value = TrimBlanks(t.substr(eq + 1));
  if (value.size() >= 2 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
  return true;
}

Load ReadLines(const std::string& path, std::vector<Line>& lines) {
  lines.clear();
  struct stat st;
  if (::stat(path.c_str(), &st) == -1) return errno == ENOENT ? Load::kMissing : Load::kUnreadable;
  if (!S_ISREG(st.st_mode)) return Load::kUnreadable;
  std::ifstream in(path);
  if (!in) return Load::kUnreadable;
  std::string text;
  std::string section;
  while (std::getline(in, text)) {
    Line line;
    std::string name;
    if (ParseHeader(text, name)) {
      section = name;
      line.header = true;
    }
    line.text = text;
    line.section = section;
    lines.push_back(std::move(line));
  }
  if (in.bad()) return Load::kUnreadable;
  return Load::kOk;
}

int WriteLines(const std::string& path, const std::vector<Line>& lines) {
  // A unique temporary file beside the target, so concurrent writers never share one.
  std::string tmp = path + ".XXXXXX";
  int fd = ::mkstemp(&tmp[0]);
  if (fd == -1) return -1;
  FILE* out = ::fdopen(fd, "w");
  if (out == nullptr) {
    ::close(fd);
    ::unlink(tmp.c_str());
    return -1;
  }
  bool ok = true;
  for (const Line& line : lines) {
    if (std::fputs(line.text.c_str(), out) == EOF || std::fputc('\n', out) == EOF) ok = false;
  }
  // On disk before the rename: a router that loses power must find the old file or the new,
  // never an empty one.
  if (std::fflush(out) != 0 || ::fsync(fd) != 0) ok = false;
  // Keep the mode of the file being replaced; a new file gets the usual 0644.
  struct stat st;
  mode_t mode = ::stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0644;
  if (::fchmod(fd, mode) != 0) ok = false;
  if (std::fclose(out) != 0) ok = false;
  if (!ok || std::rename(tmp.c_str(), path.c_str()) != 0) {
    ::unlink(tmp.c_str());
    return -1;
  }
  SyncDirectoryOf(path);
  return 0;
}

std::string Format(const std::string& key, const std::string& value, ValueQuoting quoting) {
  return quoting == ValueQuoting::kQuoted ? key + "=\"" + value + "\"" : key + "=" + value;
}

int GetValue(const std::string& path, const std::string& section, const std::string& key, char* buffer,
             std::size_t size) {
  if (buffer == nullptr || size == 0) return -1;
  buffer[0] = '\0';
  std::vector<Line> lines;
  Load load = ReadLines(path, lines);
  if (load == Load::kUnreadable) return -1;
  for (const Line& line : lines) {
    std::string k, v;
    if (line.header || line.section != section || !ParseEntry(line.text, k, v) || k != key) continue;
    if (v.size() + 1 > size) return -1;
    std::memcpy(buffer, v.c_str(), v.size() + 1);
    return static_cast<int>(v.size());
  }
  return 0;
}

int SetValue(const std::string& path, const std::string& section, const std::string& key,
             const std::string& value, ValueQuoting quoting) {
  if (key.empty() || key.find_first_of("=\n") != std::string::npos || value.find('\n') != std::string::npos) {
    return -1;
  }
  std::vector<Line> lines;
  if (ReadLines(path, lines) == Load::kUnreadable) return -1;
  const std::string text = Format(key, value, quoting);
  // Where a new line goes: after the last non-blank line that belongs to the section.
  long insertAfter = -1;
  bool sectionSeen = section.empty();
  for (std::size_t i = 0; i < lines.size(); ++i) {
    Line& line = lines[i];
    if (line.section != section) continue;
    sectionSeen = true;
    std::string k, v;
    if (!line.header && ParseEntry(line.text, k, v) && k == key) {
      line.text = text;
      return WriteLines(path, lines);
    }
    if (line.header || !TrimBlanks(line.text).empty()) insertAfter = static_cast<long>(i);
  }
  Line added;
  added.text = text;
  added.section = section;
  if (!sectionSeen) {
    if (!lines.empty() && !TrimBlanks(lines.back().text).empty()) lines.push_back(Line{"", lines.back().section, false});
    lines.push_back(Line{"[" + section + "]", section, true});
    lines.push_back(added);
  } else {
    lines.insert(lines.begin() + (insertAfter + 1), added);
  }
  return WriteLines(path, lines);
}

}  // namespace

int FileGetKeyValue(const std::string& path, const std::string& key, char* buffer, std::size_t size) {
  return GetValue(path, std::string(), key, buffer, size);
}

int FileSetKeyValue(const std::string& path, const std::string& key, const std::string& value,
                    ValueQuoting quoting) {
  return SetValue(path, std::string(), key, value, quoting);
}

int FileRemoveKey(const std::string& path, const std::string& key) {
  std::vector<Line> lines;
  Load load = ReadLines(path, lines);
  if (load == Load::kMissing) return 0;
  if (load == Load::kUnreadable) return -1;
  std::vector<Line> kept;
  kept.reserve(lines.size());
  bool removed = false;
  for (Line& line : lines) {
    std::string k, v;
    if (!line.header && line.section.empty() && ParseEntry(line.text, k, v) && k == key) {
      removed = true;
      continue;
    }
    kept.push_back(std::move(line));
  }
  return removed ? WriteLines(path, kept) : 0;
}

int FileGetSectionValue(const std::string& path, const std::string& section, const std::string& key,
                        char* buffer, std::size_t size) {
  if (section.empty()) return -1;
  return GetValue(path, section, key, buffer, size);
}

int FileSetSectionValue(const std::string& path, const std::string& section, const std::string& key,
                        const std::string& value, ValueQuoting quoting) {
  if (section.empty() || section.find_first_of("[]\n") != std::string::npos) return -1;
  return SetValue(path, section, key, value, quoting);
}

namespace {

// The entries of one section ("" for the top level); false when the file cannot be read or
// the section does not exist.
bool CollectSection(const std::string& path, const std::string& section,
                    std::vector<std::pair<std::string, std::string>>& out) {
  out.clear();
  std::vector<Line> lines;
  if (ReadLines(path, lines) != Load::kOk) return false;
  bool found = section.empty();
  for (const Line& line : lines) {
    if (line.section != section) continue;
    found = true;
    std::string k, v;
    if (!line.header && ParseEntry(line.text, k, v)) out.emplace_back(k, v);
  }
  return found;
}

}  // namespace

int FileGetSection(const std::string& path, const std::string& section,
                   std::vector<std::pair<std::string, std::string>>& out) {
  if (section.empty()) {
    out.clear();
    return -1;
  }
  return CollectSection(path, section, out) ? 0 : -1;
}

int FileGetTopLevel(const std::string& path, std::vector<std::pair<std::string, std::string>>& out) {
  return CollectSection(path, std::string(), out) ? 0 : -1;
}

int FileListSections(const std::string& path, std::vector<std::string>& out) {
  out.clear();
  std::vector<Line> lines;
  if (ReadLines(path, lines) != Load::kOk) return -1;
  for (const Line& line : lines) {
    if (line.header) out.push_back(line.section);
  }
  return 0;
}

}  // namespace orva::platform
