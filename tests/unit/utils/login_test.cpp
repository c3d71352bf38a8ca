// Password checks against hashes made by the system's own tools, in a fixture shadow file.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvamesh/platform/system_root.h"
#include "orvamesh/utils/login.h"
#include "platform/process_runner.h"
#include "support/fixture_root.h"
#include "support/log_capture.h"

namespace {

using namespace ORVA::MESH::SDK;

std::string Hash(const std::vector<std::string>& argv) {
  std::string out;
  if (orva::platform::RunProgramCapture(argv, out) != 0) return "";
  while (!out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

// One shadow line for `user`; the fields after the hash do not matter to a log-in.
std::string Entry(const std::string& user, const std::string& hash) { return user + ":" + hash + ":19000::::::\n"; }

const std::string kLong(300, 'p');
const std::string kNonAscii = "pässwörd-密码";

class LoginAgainstShadow : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    sha512_ = Hash({"/usr/bin/openssl", "passwd", "-6", "right-one"});
    yescrypt_ = Hash({"/usr/bin/mkpasswd", "-m", "yescrypt", "right-two"});
    long_ = Hash({"/usr/bin/mkpasswd", "-m", "sha-512", kLong});  // openssl passwd cuts at 256
    nonAscii_ = Hash({"/usr/bin/mkpasswd", "-m", "sha-512", kNonAscii});
  }
  void SetUp() override {
    if (sha512_.empty() || yescrypt_.empty()) GTEST_SKIP() << "openssl passwd or mkpasswd (whois) is missing";
    root_.WriteFile("etc/shadow",
                    "root:*:19000:0:99999:7:::\n" + Entry("sha", sha512_) + Entry("yes", yescrypt_) +
                        Entry("long", long_) + Entry("intl", nonAscii_) + Entry("locked", "!" + sha512_) +
                        Entry("star", "*") + Entry("empty", "") + "garbled line without colons\n:nameless:1::::::\n",
                    0600);
  }

  static std::string sha512_, yescrypt_, long_, nonAscii_;
  orva::test::FixtureRoot root_;
  orva::test::LogCapture log_;
};
std::string LoginAgainstShadow::sha512_, LoginAgainstShadow::yescrypt_, LoginAgainstShadow::long_,
    LoginAgainstShadow::nonAscii_;

TEST_F(LoginAgainstShadow, AcceptsOnlyTheRightPasswordOfAnOpenAccountInItsShadowFile) {
  struct Case { const char* user; std::string password; int expected; };
  const std::vector<Case> cases = {
      {"sha", "right-one", 0},      {"sha", "right-one ", -1},   {"yes", "right-two", 0},
      {"yes", "right-one", -1},     {"long", kLong, 0},          {"long", kLong + "p", -1},
      {"intl", kNonAscii, 0},       {"locked", "right-one", -1}, {"star", "", -1},
      {"empty", "", -1},            {"nobody", "right-one", -1}, {"sh", "right-one", -1},
      {"sha:", "right-one", -1},    {"", "right-one", -1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Utils::CheckLogin(c.user, c.password), c.expected) << c.user << " / " << c.password.size();
  }
  // Without its shadow file nobody gets in.
  orva::platform::SystemRoot::Set(root_.Join("elsewhere"));
  EXPECT_EQ(Utils::CheckLogin("sha", "right-one"), -1);
}

TEST_F(LoginAgainstShadow, NeverWritesThePasswordIntoTheLog) {
  Utils::CheckLogin("sha", "secret-guess-1");
  Utils::CheckLogin("nobody", "secret-guess-2");
  EXPECT_TRUE(log_.Contains("Log-in refused for [nobody]"));
  EXPECT_TRUE(log_.Contains("malformed line 9"));
  EXPECT_FALSE(log_.Contains("secret-guess"));
}

}  // namespace
