#include "orvamesh/platform/system_root.h"

#include <cstdlib>
#include <mutex>

namespace orva::platform {
namespace {

std::string Normalise(std::string root) {
  while (root.size() > 1 && root.back() == '/') root.pop_back();
  return root.empty() ? std::string("/") : root;
}

struct State {
  std::mutex mutex;
  std::string root;
  State() {
    const char* env = std::getenv("ORVAMESH_SYSTEM_ROOT");
    root = Normalise(env != nullptr ? env : "/");
  }
};

State& GetState() {
  static State state;
  return state;
}

}  // namespace

std::string SystemRoot::Get() {
  State& s = GetState();
  std::lock_guard<std::mutex> lock(s.mutex);
  return s.root;
}

void SystemRoot::Set(const std::string& root) {
  State& s = GetState();
  std::lock_guard<std::mutex> lock(s.mutex);
  s.root = Normalise(root);
}

std::string SystemRoot::Path(std::string_view absolutePath) {
  if (absolutePath.empty() || absolutePath.front() != '/') return std::string(absolutePath);
  std::string root = Get();
  if (root == "/") return std::string(absolutePath);
  return root + std::string(absolutePath);
}

}  // namespace orva::platform
