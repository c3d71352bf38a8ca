// Every public header must be reachable through the umbrella header, and each must compile on
// its own (the umbrella includes them in an order that would hide a missing include).
#include "orvamesh/orvamesh.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

namespace {

TEST(UmbrellaHeader, IncludesEveryPublicHeader) {
  namespace fs = std::filesystem;
  const fs::path root = fs::path(ORVAMESH_SOURCE_DIR) / "include";
  std::ifstream umbrella(root / "orvamesh" / "orvamesh.h");
  std::stringstream text;
  text << umbrella.rdbuf();
  std::set<std::string> missing;
  for (const auto& entry : fs::recursive_directory_iterator(root / "orvamesh")) {
    if (entry.path().extension() != ".h") continue;
    std::string relative = fs::relative(entry.path(), root).string();
    if (relative == "orvamesh/orvamesh.h") continue;
    if (text.str().find("\n#include \"" + relative + "\"\n") == std::string::npos) missing.insert(relative);
  }
  EXPECT_TRUE(missing.empty()) << "not in orvamesh.h: " << ::testing::PrintToString(missing);
}

}  // namespace
