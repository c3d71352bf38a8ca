#pragma once
// Turns __FILE__ into the short path that exceptions and log lines carry: relative to src/
// for library sources, relative to include/orvamesh/ for headers, without the extension.
// Inside the library's own build, -fmacro-prefix-map already shortened __FILE__; in a user's
// build a header template sees its installed path, which SourcePath() shortens the same way.
#include <string_view>

namespace ORVA::MESH::SDK::Detail {

constexpr std::string_view SourcePath(std::string_view path) noexcept {
  constexpr std::string_view kHeaderRoot = "include/orvamesh/";
  constexpr std::string_view kSourceRoot = "/src/";
  if (auto at = path.rfind(kHeaderRoot); at != std::string_view::npos) {
    path.remove_prefix(at + kHeaderRoot.size());
  } else if (auto src = path.rfind(kSourceRoot); src != std::string_view::npos) {
    path.remove_prefix(src + kSourceRoot.size());
  }
  auto slash = path.rfind('/');
  auto dot = path.rfind('.');
  if (dot != std::string_view::npos && (slash == std::string_view::npos || dot > slash)) {
    path.remove_suffix(path.size() - dot);
  }
  return path;
}

}  // namespace ORVA::MESH::SDK::Detail

#define ORVA_SOURCE_FILE (::ORVA::MESH::SDK::Detail::SourcePath(__FILE__))
