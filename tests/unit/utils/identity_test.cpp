// The node's identity file: complete files are read whole, anything doubtful fails as a whole.
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvamesh/utils/identity.h"
#include "support/fixture_root.h"
#include "support/log_capture.h"

namespace {

using namespace ORVA::MESH::SDK;

const std::string kComplete =
    "# written by the build\nOS_NAME=\"OrvaOS\"\nOS_VERSION=\"5.2.1\"\nOS_BUILD=\"20261101\"\n"
    "OS_UPDATE=\"3\"\nMODEL_UNIQUE=\"velanto_ipq806x_hr1000\"\nSERIAL=\"HR1A1234567\"\n";

TEST(NodeIdentityFile, IsReadWholeOrFailsWholeLeavingTheOutputAloneOnAnyDoubt) {
  orva::test::FixtureRoot root;
  orva::test::LogCapture log;
  const auto write = [&](const std::string& content) { root.WriteFile("etc/orvamesh/identity", content); };
  auto replaced = [](const std::string& from, const std::string& to) {
    std::string text = kComplete;
    text.replace(text.find(from), from.size(), to);
    return text;
  };
  const std::vector<std::pair<const char*, std::string>> cases = {
      {"serial missing", replaced("SERIAL=\"HR1A1234567\"\n", "")},
      {"build not a number", replaced("\"20261101\"", "\"2026a\"")},
      {"build negative", replaced("\"20261101\"", "\"-1\"")},
      {"update beyond 8 bits", replaced("OS_UPDATE=\"3\"", "OS_UPDATE=\"256\"")},
      {"unknown model", replaced("velanto_ipq806x_hr1000", "velanto_x_hr9999")},
      {"quote inside a value", replaced("\"OrvaOS\"", "\"Orva\"OS\"")},
      {"tab inside a value", replaced("\"5.2.1\"", "\"5.2\t1\"")},
  };
  Utils::NodeIdentity identity;
  write(kComplete);  // every field is shown by the node tool's integration test
  ASSERT_EQ(Utils::GetNodeIdentity(identity), 0);
  identity.serial = "untouched";
  for (const auto& [what, content] : cases) {
    write(content);
    EXPECT_EQ(Utils::GetNodeIdentity(identity), -1) << what;
    EXPECT_EQ(identity.serial, "untouched") << what;
  }
  std::filesystem::remove(root.Join("etc/orvamesh/identity"));
  root.WriteFile("etc/orvamesh/identity/inside", "");
  EXPECT_EQ(Utils::GetNodeIdentity(identity), -1) << "a directory";
  EXPECT_GE(log.Lines().size(), cases.size() + 1);
}

}  // namespace
