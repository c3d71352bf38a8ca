// Link figures between network namespaces (needs root), each against a baseline in the same run:
// - Ping6Session round trip to a namespace peer, against the round trip iputils `ping -6`
//   reports for the same peer (the library must add at most 50 us);
// - link-down detection: from `ip link set down` to the NetlinkReceiver's callback (median);
// - the uplink monitor: from `ip link set down` to DOWN (median), and from the gateway falling
//   silent to DEGRADED (must be N x interval plus at most one time-out).
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <regex>
#include <vector>

#include "orvamesh/base/log.h"
#include "orvamesh/driver/netlink_receiver.h"
#include "orvamesh/monitor/ethernet_uplink_monitor.h"
#include "orvamesh/utils/ping6.h"
#include "support/netns.h"

namespace {

using namespace ORVA::MESH::SDK;
using orva::test::NetNs;
using Clock = std::chrono::steady_clock;

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

// Waits until `done` holds, for at most two seconds.
struct Signal {
  std::mutex mutex;
  std::condition_variable cv;
  Clock::time_point at{};
  bool fired = false;
  void Fire() {
    std::lock_guard<std::mutex> lock(mutex);
    if (fired) return;
    fired = true;
    at = Clock::now();
    cv.notify_all();
  }
  bool Wait() {
    std::unique_lock<std::mutex> lock(mutex);
    return cv.wait_for(lock, std::chrono::seconds(2), [this] { return fired; });
  }
  void Reset() {
    std::lock_guard<std::mutex> lock(mutex);
    fired = false;
  }
};

void PingFigures(const NetNs& here, const std::string& peer) {
  std::vector<double> ours;
  here.RunIn([&] {
    Ping6Session session("p0");
    const orva::net::utils::IPAddress target(peer);
    for (int i = 0; i < 200; ++i) {
      if (auto rtt = session.Ping(target, Deadline(std::chrono::seconds(1)))) ours.push_back(static_cast<double>(rtt->count()));
    }
  });
  const std::string out = here.MustExec({"ping", "-6", "-c", "200", "-i", "0.002", "-q", peer + "%p0"});
  std::smatch m;
  double avg = 0;
  if (std::regex_search(out, m, std::regex(R"(= [0-9.]+/([0-9.]+)/)"))) avg = std::stod(m[1]) * 1000;
  std::printf("Ping6Session round trip: median %.1f us; ping -6 average %.1f us; the library adds %.1f us (target <= 50)\n",
              Median(ours), avg, Median(ours) - avg);
}

void LinkDownFigures(const NetNs& here) {
  std::vector<double> netlink, uplink;
  Signal down, monitorDown;
  std::unique_ptr<Driver::NetlinkReceiver> receiver;
  std::unique_ptr<Monitor::EthernetUplinkMonitor> monitor;
  here.RunIn([&] {
    receiver = std::make_unique<Driver::NetlinkReceiver>(Driver::NetlinkReceiver::kLinks);
    receiver->OnLink([&](const Driver::LinkEvent& e) {
      if (e.name == "p0" && !e.carrier) down.Fire();
    });
    receiver->Start();
    monitor = std::make_unique<Monitor::EthernetUplinkMonitor>("p0");
    monitor->Start([&](const Monitor::UplinkChange& c) {
      if (c.to == Monitor::UPLINK_STATE::DOWN) monitorDown.Fire();
    });
  });
  for (int i = 0; i < 30; ++i) {
    down.Reset();
    monitorDown.Reset();
    here.MustExec({"ip", "link", "set", "p0", "up"});
    here.LinkLocal("p0");
    const auto start = Clock::now();
    here.MustExec({"ip", "link", "set", "p0", "down"});
    if (down.Wait()) netlink.push_back(std::chrono::duration<double, std::micro>(down.at - start).count());
    if (monitorDown.Wait()) uplink.push_back(std::chrono::duration<double, std::micro>(monitorDown.at - start).count());
  }
  here.RunIn([&] {
    monitor.reset();
    receiver.reset();
  });
  here.MustExec({"ip", "link", "set", "p0", "up"});
  std::printf("link down -> NetlinkReceiver callback: median %.0f us (includes the ip command's own run)\n", Median(netlink));
  std::printf("link down -> uplink monitor DOWN: median %.0f us\n", Median(uplink));
}

void SilenceFigure(const NetNs& here, const NetNs& peer, const std::string& gateway) {
  Monitor::UplinkMonitorOptions options;
  options.interval = std::chrono::milliseconds(200);
  options.timeout = std::chrono::milliseconds(100);
  options.gateway = orva::net::utils::IPAddress(gateway);
  Signal up, degraded;
  std::unique_ptr<Monitor::EthernetUplinkMonitor> monitor;
  here.RunIn([&] {
    monitor = std::make_unique<Monitor::EthernetUplinkMonitor>("p0", options);
    monitor->Start([&](const Monitor::UplinkChange& c) {
      if (c.to == Monitor::UPLINK_STATE::UP) up.Fire();
      if (c.to == Monitor::UPLINK_STATE::DEGRADED && c.from == Monitor::UPLINK_STATE::UP) degraded.Fire();
    });
  });
  up.Wait();
  const auto start = Clock::now();
  peer.MustExec({"sysctl", "-q", "-w", "net.ipv6.icmp.echo_ignore_all=1"});
  degraded.Wait();
  const double ms = std::chrono::duration<double, std::milli>(degraded.at - start).count();
  here.RunIn([&] { monitor.reset(); });
  peer.MustExec({"sysctl", "-q", "-w", "net.ipv6.icmp.echo_ignore_all=0"});
  std::printf("gateway silent -> DEGRADED: %.0f ms (N x interval = %u ms, plus at most one time-out of %lld ms)\n", ms,
              options.missesToLeaveUp * static_cast<unsigned>(options.interval.count()),
              static_cast<long long>(options.timeout.count()));
}

}  // namespace

int main() {
  if (!orva::test::NetnsUnavailableReason().empty()) {
    std::printf("monitor bench: skipped (%s)\n", orva::test::NetnsUnavailableReason().c_str());
    return 0;
  }
  Log::SetSink([](int, const std::string&) {});
  NetNs here("bmh"), peer("bmp");
  orva::test::AddVeth(&here, "p0", &peer, "q0");
  const std::string peerAddress = peer.LinkLocal("q0");
  here.LinkLocal("p0");
  PingFigures(here, peerAddress);
  SilenceFigure(here, peer, peerAddress);
  LinkDownFigures(here);
}
