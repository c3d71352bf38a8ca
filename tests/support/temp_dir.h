#pragma once
// A fresh directory under $TMPDIR (or /tmp), removed with everything in it on destruction.
#include <string>

namespace orva::test {

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& Path() const { return path_; }
  std::string Join(const std::string& relative) const;
  // Writes a file (creating parent directories) and returns its path.
  std::string WriteFile(const std::string& relative, const std::string& content, int mode = 0644) const;
  // Reads a whole file; throws std::runtime_error when it cannot.
  static std::string ReadFile(const std::string& path);

 private:
  std::string path_;
};

}  // namespace orva::test
