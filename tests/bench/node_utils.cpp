// The node's system utilities, each beside a baseline measured in the same run:
//  - a kept utilization sampler per call, against reading the three /proc files bare (target:
//    under 50 us per call);
//  - opening 100 ports as one transaction, against `nft -f` of the same 100 rules (target:
//    ratio at most 1.5; needs root for its network namespace);
//  - a log-in check for an unknown user against a wrong password for a real one (should be
//    about 1.0: timing must not tell which accounts exist).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "orvamesh/platform/system_root.h"
#include "orvamesh/utils/firewall.h"
#include "orvamesh/utils/login.h"
#include "orvamesh/utils/utilization_sampler.h"
#include "platform/process_runner.h"
#include "support/netns.h"
#include "support/temp_dir.h"

namespace {

using namespace ORVA::MESH::SDK;
using Clock = std::chrono::steady_clock;

double MicrosPerCall(int calls, const std::function<void()>& call) {
  const auto start = Clock::now();
  for (int i = 0; i < calls; ++i) call();
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count() / calls;
}

void ReadWhole(const char* path) {
  char buffer[8192];
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
  while (::read(fd, buffer, sizeof buffer) > 0) {
  }
  ::close(fd);
}

void BM_BareProcReads(benchmark::State& state) {
  for (auto _ : state) {
    ReadWhole("/proc/stat");
    ReadWhole("/proc/meminfo");
    ReadWhole("/proc/uptime");
  }
}
BENCHMARK(BM_BareProcReads);

void BM_KeptSampler(benchmark::State& state) {
  Utils::UtilizationSampler sampler(std::chrono::milliseconds(0));
  Utils::SystemLoad load;
  for (auto _ : state) benchmark::DoNotOptimize(sampler.Sample(load));
}
BENCHMARK(BM_KeptSampler);

class TimeReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const auto& run : runs) micros[run.benchmark_name()] = run.GetAdjustedRealTime() / 1000.0;
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> micros;
};

void FirewallFigure() {
  if (!orva::test::NetnsUnavailableReason().empty()) {
    std::printf("firewall: skipped (%s)\n", orva::test::NetnsUnavailableReason().c_str());
    return;
  }
  orva::test::TempDir dir;
  orva::test::NetNs ns("bfw");
  const std::string system = dir.WriteFile("system.nft",
      "table inet filter {\n chain input { type filter hook input priority 0; policy drop; }\n"
      " chain bench_input { }\n}\n");
  ns.MustExec({"nft", "-f", system});
  std::vector<Utils::FirewallHook> hooks;
  std::string rules = "flush chain inet filter bench_input\n";
  for (int port = 20000; port < 20100; ++port) {
    hooks.push_back({Utils::FirewallProtocol::kTcp, port, "eth0"});
    rules += "add rule inet filter bench_input iifname \"eth0\" tcp dport " + std::to_string(port) +
             " accept comment \"orvamesh tcp " + std::to_string(port) + " eth0\"\n";
  }
  const std::string file = dir.WriteFile("rules.nft", rules);
  constexpr int kRounds = 30;
  double ours = 0, nft = 0;
  ns.RunIn([&] {
    Utils::Firewall firewall;
    ours = MicrosPerCall(kRounds, [&] {
      firewall.Open(hooks);
      firewall.CloseAll();
    });
    const double closing = MicrosPerCall(kRounds, [&] { firewall.CloseAll(); });
    ours -= closing;  // CloseAll on an empty chain: the read-back alone
    nft = MicrosPerCall(kRounds, [&] { orva::platform::RunProgram({"/usr/sbin/nft", "-f", file}); });
  });
  std::printf("firewall, 100 ports in one transaction: %.0f us, nft -f %.0f us, ratio %.2f (target <= 1.5)\n",
              ours, nft, ours / nft);
}

void LoginFigure() {
  orva::test::TempDir root;
  std::string hash;
  if (orva::platform::RunProgramCapture({"/usr/bin/mkpasswd", "-m", "yescrypt", "right"}, hash) != 0) {
    std::printf("login: skipped (mkpasswd from the whois package is missing)\n");
    return;
  }
  hash.pop_back();
  root.WriteFile("etc/shadow", "admin:" + hash + ":19000::::::\n");
  orva::platform::SystemRoot::Set(root.Path());
  constexpr int kCalls = 40;
  const double wrong = MicrosPerCall(kCalls, [] { Utils::CheckLogin("admin", "wrong"); });
  const double unknown = MicrosPerCall(kCalls, [] { Utils::CheckLogin("nobody", "wrong"); });
  orva::platform::SystemRoot::Set("");
  std::printf("login: unknown user %.0f us, wrong password %.0f us, ratio %.2f (should be about 1.0)\n", unknown,
              wrong, unknown / wrong);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  TimeReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  auto& t = reporter.micros;
  std::printf("utilization, kept sampler: %.1f us per call (target < 50), bare /proc reads %.1f us, ratio %.2f\n",
              t["BM_KeptSampler"], t["BM_BareProcReads"], t["BM_KeptSampler"] / t["BM_BareProcReads"]);
  FirewallFigure();
  LoginFigure();
}
