#include "support/temp_dir.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace orva::test {

TempDir::TempDir() {
  const char* base = std::getenv("TMPDIR");
  path_ = std::string(base != nullptr ? base : "/tmp") + "/orvamesh-test-XXXXXX";
  if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("mkdtemp failed for " + path_);
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::Join(const std::string& relative) const {
  return relative.empty() ? path_ : path_ + (relative.front() == '/' ? "" : "/") + relative;
}

std::string TempDir::WriteFile(const std::string& relative, const std::string& content, int mode) const {
  const std::string path = Join(relative);
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!(out << content)) throw std::runtime_error("cannot write " + path);
  ::chmod(path.c_str(), static_cast<mode_t>(mode));
  return path;
}

std::string TempDir::ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace orva::test
