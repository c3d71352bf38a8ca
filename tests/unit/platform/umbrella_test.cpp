// Every public header must be reachable through the umbrella header, and each must compile on
// its own (the umbrella includes them in an order that would hide a missing include).
#include "orvamesh/orvamesh.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "support/temp_dir.h"

namespace {

TEST(UmbrellaHeader, IncludesEveryPublicHeader) {
  namespace fs = std::filesystem;
  const fs::path root = fs::path(ORVAMESH_SOURCE_DIR) / "include";
  const std::string text = orva::test::TempDir::ReadFile(root / "orvamesh" / "orvamesh.h");
  std::set<std::string> missing;
  for (const auto& entry : fs::recursive_directory_iterator(root / "orvamesh")) {
    const std::string relative = fs::relative(entry.path(), root).string();
    if (entry.path().extension() != ".h" || relative == "orvamesh/orvamesh.h") continue;
    if (text.find("\n#include \"" + relative + "\"\n") == std::string::npos) missing.insert(relative);
  }
  EXPECT_TRUE(missing.empty()) << "not in orvamesh.h: " << ::testing::PrintToString(missing);
}

}  // namespace
