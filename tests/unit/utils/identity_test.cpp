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

class NodeIdentityFile : public ::testing::Test {
 protected:
  void Write(const std::string& content) { root_.WriteFile("etc/orvamesh/identity", content); }
  orva::test::FixtureRoot root_;
  orva::test::LogCapture log_;
};

TEST_F(NodeIdentityFile, IsReadWholeOrFailsWholeLeavingTheOutputAloneOnAnyDoubt) {
  auto replaced = [](const std::string& from, const std::string& to) {
    std::string text = kComplete;
    text.replace(text.find(from), from.size(), to);
    return text;
  };
  const std::vector<std::pair<const char*, std::string>> cases = {
      {"serial missing", replaced("SERIAL=\"HR1A1234567\"\n", "")},
      {"serial empty", replaced("\"HR1A1234567\"", "\"\"")},
      {"build not a number", replaced("\"20261101\"", "\"2026a\"")},
      {"build negative", replaced("\"20261101\"", "\"-1\"")},
      {"build beyond 32 bits", replaced("\"20261101\"", "\"4294967296\"")},
      {"update beyond 8 bits", replaced("OS_UPDATE=\"3\"", "OS_UPDATE=\"256\"")},
      {"unknown model", replaced("velanto_ipq806x_hr1000", "velanto_x_hr9999")},
      {"quote inside a value", replaced("\"OrvaOS\"", "\"Orva\"OS\"")},
      {"tab inside a value", replaced("\"5.2.1\"", "\"5.2\t1\"")},
  };
  Utils::NodeIdentity identity;
  EXPECT_EQ(Utils::GetNodeIdentity(identity), -1) << "no file";
  Write(kComplete);  // every field is shown by the node tool's integration test
  ASSERT_EQ(Utils::GetNodeIdentity(identity), 0);
  EXPECT_EQ(identity.osBuildNumber, 20261101u);
  identity.serial = "untouched";
  for (const auto& [what, content] : cases) {
    Write(content);
    EXPECT_EQ(Utils::GetNodeIdentity(identity), -1) << what;
    EXPECT_EQ(identity.serial, "untouched") << what;
  }
  std::filesystem::remove(root_.Join("etc/orvamesh/identity"));
  root_.WriteFile("etc/orvamesh/identity/inside", "");
  EXPECT_EQ(Utils::GetNodeIdentity(identity), -1) << "a directory";
  EXPECT_GE(log_.Lines().size(), cases.size() + 2);
}

}  // namespace
