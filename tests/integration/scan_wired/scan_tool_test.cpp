// orvamesh-scan as a person on a bench runs it: an RE in one namespace, a CAP scan in another.
#include <signal.h>
#include <unistd.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include "orvamesh/platform/ip_address.h"
#include "platform/process_runner.h"
#include "support/kernel_feature.h"
#include "support/child.h"
#include "support/lan.h"
#include "support/wait_until.h"
#include "scan_peer.h"

namespace {

using namespace orva::test;

const std::string kTool = std::string(ORVAMESH_BINARY_DIR) + "/tools/orvamesh-scan";

// A running `orvamesh-scan re`, stopped with SIGTERM however the test ends.
class RunningRE {
 public:
  explicit RunningRE(const NetNs& ns)
      : pid_(orva::test::SpawnTied(ns.Exec({kTool, "re", "eth0", "--unique", "velanto_platc_hr3000", "--serial",
                                                   "US", "--name", "OrvaOS", "--version", "5.2.0", "--build", "4711",
                                                   "--update", "2", "--port", "8443"}))) {}
  ~RunningRE() {
    if (pid_ > 0) Stop();
  }
  pid_t Pid() const { return pid_; }
  int Stop() {
    ::kill(pid_, SIGTERM);
    int status = orva::platform::WaitProgram(pid_);
    pid_ = -1;
    return status;
  }

 private:
  pid_t pid_;
};

std::vector<Json::Value> JsonLines(const std::string& text) {
  std::vector<Json::Value> values;
  std::istringstream lines(text);
  std::string line;
  Json::CharReaderBuilder builder;
  while (std::getline(lines, line)) {
    Json::Value value;
    std::string errors;
    std::istringstream in(line);
    if (Json::parseFromStream(builder, in, &value, &errors)) values.push_back(value);
  }
  return values;
}

class ScanTool : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_NETNS();
    ORVA_REQUIRE_KERNEL_FEATURE(orva::test::KernelFeature::kIpv6MulticastIf);
    if (::access(kTool.c_str(), X_OK) != 0) GTEST_SKIP() << kTool << " is not built (ORVAMESH_BUILD_TOOLS off)";
    lan_ = std::make_unique<Lan>();
    cap_ = &lan_->AddHost("cap");
    re_ = &lan_->AddHost("re");
  }
  int Cap(const std::vector<std::string>& args, std::string* out = nullptr) {
    std::vector<std::string> argv{kTool, "cap"};
    argv.insert(argv.end(), args.begin(), args.end());
    return orva::test::Run(cap_->Exec(argv), out);
  }

  std::unique_ptr<Lan> lan_;
  const NetNs* cap_ = nullptr;
  const NetNs* re_ = nullptr;
};

TEST_F(ScanTool, AResponderAndAScanInTwoNamespacesFindEachOther) {
  RunningRE re(*re_);
  ASSERT_GT(re.Pid(), 0);
  std::vector<Json::Value> found;
  ASSERT_TRUE(WaitUntil([&] {
    std::string out;
    if (Cap({"eth0", "--wait", "200", "--json"}, &out) != 0) return false;
    found = JsonLines(out);
    return !found.empty();
  }));
  ASSERT_EQ(found.size(), 1u);
  const Json::Value& entry = found[0];
  EXPECT_EQ(entry["unique"].asString(), "velanto_platc_hr3000");
  EXPECT_EQ(entry["serial"].asString(), "US");
  EXPECT_EQ(entry["os_version"].asString(), "5.2.0");
  EXPECT_EQ(entry["os_build_num"].asUInt(), 4711u);
  EXPECT_EQ(entry["access_port"].asUInt(), 8443u);
  EXPECT_EQ(orva::net::utils::IPAddress(entry["ipv6_address"].asString()),
            orva::net::utils::IPAddress(re_->LinkLocal("eth0")));

  std::string line;
  ASSERT_EQ(Cap({"eth0", "--wait", "200"}, &line), 0);
  EXPECT_EQ(line.rfind(re_->Mac("eth0") + "  " + re_->LinkLocal("eth0") + "  velanto_platc_hr3000  serial=US", 0), 0u)
      << line;
  EXPECT_EQ(re.Stop(), 0);
}

TEST_F(ScanTool, AResponderWhoseListenerWasKnockedOutComesBack) {
  RunningRE re(*re_);
  auto found = [&] {
    std::string out;
    return Cap({"eth0", "--wait", "200", "--json"}, &out) == 0 && JsonLines(out).size() == 1;
  };
  ASSERT_TRUE(WaitUntil(found));
  // A non-ext msgpack element ends the listener's thread by design; the tool restarts it.
  UdpPeer(*cap_, AF_INET6).SendTo("ff02::1", 7783, {0xab, 0xcd, 0xef, 0xab, 0, 1, 0, 1, 0x01});
  EXPECT_TRUE(WaitUntil(found));
  EXPECT_EQ(re.Stop(), 0);
}

TEST_F(ScanTool, SaysWhyItCannotRunThroughItsExitStatus) {
  re_->MustExec({"sysctl", "-q", "-w", "net.ipv6.conf.eth0.disable_ipv6=1"});
  RunningRE first(*cap_);
  struct Case {
    const NetNs* ns;
    std::vector<std::string> args;
    int status;
  };
  const std::vector<Case> cases = {
      {cap_, {"cap"}, 2},
      {cap_, {"scan", "eth0"}, 2},
      {cap_, {"cap", "eth0", "--wait", "soon"}, 2},
      {cap_, {"re", "eth0", "--unique", "u"}, 2},
      {cap_, {"re", "eth0", "--unique", "u", "--serial", "s", "--update", "256"}, 2},
      {cap_, {"cap", "nosuch0"}, 3},
      {re_, {"cap", "eth0"}, 4},
      {re_, {"re", "eth0", "--unique", "u", "--serial", "s"}, 4},
  };
  for (const auto& c : cases) {
    std::vector<std::string> argv{kTool};
    argv.insert(argv.end(), c.args.begin(), c.args.end());
    EXPECT_EQ(orva::test::Run(c.ns->Exec(argv)), c.status) << ::testing::PrintToString(c.args);
  }
  // The first responder holds the probe port: a second one on the same link cannot start.
  ASSERT_TRUE(WaitUntil([&] {
    return orva::test::Run(cap_->Exec({kTool, "re", "eth0", "--unique", "u", "--serial", "s"})) == 6;
  }));
}

}  // namespace
