// Access-Request round trips through the FreeRADIUS proxy running the configuration this
// library rendered, against the same requests sent straight to the home server behind it, in
// one run with radclient on both sides (so the ratio is the price of the proxy hop). Needs root
// and Debian's freeradius.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include "orvamesh/radius/free_radius_renderer.h"
#include "support/free_radius.h"
#include "support/temp_dir.h"

namespace {

using namespace ORVA::MESH::SDK::Radius;
using orva::test::FreeRadiusServer;
using Clock = std::chrono::steady_clock;

constexpr int kRequests = 400;
constexpr int kParallel = 32;
constexpr char kApSecret[] = "bench-ap";
constexpr char kHomeSecret[] = "bench-home";

struct Setup {
  orva::test::TempDir dir;
  std::unique_ptr<FreeRadiusServer> home;
  std::unique_ptr<FreeRadiusServer> proxy;
  uint16_t homePort = 0;
  uint16_t proxyPort = 0;
};
Setup* setup = nullptr;

void StartServers(Setup& s) {
  s.homePort = orva::test::FreeUdpPort();
  s.proxyPort = orva::test::FreeUdpPort();
  s.home = std::make_unique<FreeRadiusServer>(s.dir.Join("home/conf"), s.dir.Join("home/run"));
  s.home->MakeHomeServer(s.homePort, kHomeSecret, "bob Cleartext-Password := \"bob-pw\"\n");
  s.home->Start();
  RadiusConfig c;
  c.listen.addresses = {"127.0.0.1"};
  c.listen.authPort = s.proxyPort;
  c.listen.acctPort = 0;
  c.clients = {{"aps", "127.0.0.0/8", kApSecret}};
  c.homeServers = {{"home", "127.0.0.1", s.homePort, HOME_SERVER_TYPE::AUTH, kHomeSecret, 20, true}};
  c.pools = {{"corp", POOL_TYPE::FAIL_OVER, {"home"}}};
  c.realms = {{"corp", "corp", true}};
  s.proxy = std::make_unique<FreeRadiusServer>(s.dir.Join("proxy/conf"), s.dir.Join("proxy/run"));
  s.proxy->MakeProxy("");
  FreeRadiusRenderer::Write(FreeRadiusRenderer::Render(c), s.proxy->ConfDir());
  s.proxy->Start();
}

void BM_AccessRequestRoundTrips(benchmark::State& state) {
  const orva::test::RadiusTestClient client(setup->dir.Path());
  Clock::duration viaProxy{};
  Clock::duration direct{};
  for (auto _ : state) {
    auto start = Clock::now();
    const int proxied = client.AuthenticateMany(setup->proxyPort, kApSecret, "bob@corp", "bob-pw", kRequests, kParallel);
    viaProxy += Clock::now() - start;
    start = Clock::now();
    const int straight = client.AuthenticateMany(setup->homePort, kHomeSecret, "bob", "bob-pw", kRequests, kParallel);
    direct += Clock::now() - start;
    if (proxied != kRequests || straight != kRequests) {
      state.SkipWithError(("accepted " + std::to_string(proxied) + " via the proxy and " + std::to_string(straight) +
                           " directly of " + std::to_string(kRequests)).c_str());
      break;
    }
  }
  const double n = static_cast<double>(kRequests) * static_cast<double>(state.iterations());
  const double proxyRate = n / std::chrono::duration<double>(viaProxy).count();
  const double directRate = n / std::chrono::duration<double>(direct).count();
  state.counters["proxy_rt_s"] = proxyRate;
  state.counters["direct_rt_s"] = directRate;
  state.counters["ratio"] = proxyRate / directRate;
  std::printf("Access-Request round trips (%d at a time): rendered proxy %.0f/s, home server directly %.0f/s, "
              "ratio %.2f\n", kParallel, proxyRate, directRate, proxyRate / directRate);
}

BENCHMARK(BM_AccessRequestRoundTrips)->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  const std::string reason = orva::test::FreeRadiusUnavailableReason();
  if (!reason.empty()) {
    std::printf("bench radius skipped: %s\n", reason.c_str());
    return 0;
  }
  Setup s;
  StartServers(s);
  setup = &s;
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  setup = nullptr;
  return 0;
}
