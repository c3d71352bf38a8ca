// orvamesh-scan as a person on a bench runs it: an RE in one namespace, a CAP scan in another.
#include <signal.h>
#include <unistd.h>

#include <memory>
#include <sstream>
#include <string>
#include <utility>
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
  int Stop() {
    ::kill(pid_, SIGTERM);
    return orva::platform::WaitProgram(std::exchange(pid_, -1));
  }

 private:
  pid_t pid_;
};

// The lines of `text` that are JSON documents.
std::vector<Json::Value> JsonLines(const std::string& text) {
  std::vector<Json::Value> values;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (Json::Value value; Json::Reader().parse(line, value)) values.push_back(value);
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
  // Runs the tool in `ns` (the CAP's by default) with `args`; returns its exit status.
  int Tool(std::vector<std::string> args, std::string* out = nullptr, const NetNs* ns = nullptr) {
    args.insert(args.begin(), kTool);
    return orva::test::Run((ns ? ns : cap_)->Exec(args), out);
  }
  // The entries one `cap eth0` scan of 200 ms prints as JSON.
  std::vector<Json::Value> Scan() {
    std::string out;
    return Tool({"cap", "eth0", "--wait", "200", "--json"}, &out) == 0 ? JsonLines(out) : std::vector<Json::Value>{};
  }

  std::unique_ptr<Lan> lan_;
  const NetNs* cap_ = nullptr;
  const NetNs* re_ = nullptr;
};

TEST_F(ScanTool, AResponderAndAScanInTwoNamespacesFindEachOtherEvenAfterAKnockOut) {
  RunningRE re(*re_);
  std::vector<Json::Value> found;
  ASSERT_TRUE(WaitUntil([&] { return !(found = Scan()).empty(); }));
  ASSERT_EQ(found.size(), 1u);
  Json::Value& entry = found[0];
  EXPECT_EQ(orva::net::utils::IPAddress(entry["ipv6_address"].asString()),
            orva::net::utils::IPAddress(re_->LinkLocal("eth0")));
  for (const char* varying : {"ipv6_address", "mac_address", "uptime", "country_compatibility"}) {
    entry.removeMember(varying);
  }
  EXPECT_EQ(Json::FastWriter().write(entry), R"({"access_port":8443,"os_build_num":4711,"os_name":"OrvaOS",)"
                                             R"("os_update_num":2,"os_version":"5.2.0","serial":"US",)"
                                             R"("unique":"velanto_platc_hr3000"})" "\n");

  // A non-ext msgpack element ends the listener's thread by design; the tool restarts it.
  UdpPeer(*cap_).SendTo("ff02::1", 7783, {0xab, 0xcd, 0xef, 0xab, 0, 1, 0, 1, 0x01});
  EXPECT_TRUE(WaitUntil([&] { return Scan().size() == 1; }));
  EXPECT_EQ(re.Stop(), 0);
}

TEST_F(ScanTool, SaysWhyItCannotRunThroughItsExitStatus) {
  re_->MustExec({"sysctl", "-q", "-w", "net.ipv6.conf.eth0.disable_ipv6=1"});
  RunningRE first(*cap_);
  const struct { const NetNs* ns; std::vector<std::string> args; int status; } cases[] = {
      {cap_, {"cap"}, 2},
      {cap_, {"cap", "nosuch0"}, 3},
      {re_, {"cap", "eth0"}, 4},
      {re_, {"re", "eth0", "--unique", "u", "--serial", "s"}, 4},
  };
  for (const auto& c : cases) EXPECT_EQ(Tool(c.args, nullptr, c.ns), c.status) << ::testing::PrintToString(c.args);
  // The first responder holds the probe port: a second one on the same link cannot start.
  ASSERT_TRUE(WaitUntil([&] { return Tool({"re", "eth0", "--unique", "u", "--serial", "s"}) == 6; }));
}

}  // namespace
