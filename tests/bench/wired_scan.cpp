// Time from StartScan() until all 16 REs on a bridge are in the CAP's result, beside the bare
// cost of opening their 16 sealed answers (crypto_box_seal_open) measured in the same run, and
// beside the crypto of a whole scan run alone on the same cores (what the REs' seals add when
// they share the CAP's processor, as they do here).
// The scan needs root for its network namespaces; elsewhere only the baseline runs.
#include <benchmark/benchmark.h>
#include <sodium.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "orvamesh/scan_wired/cap_scan_sender.h"
#include "orvamesh/scan_wired/re_scan_responder.h"
#include "orvamesh/scan_wired/response_packet.h"
#include "orvamesh/scan_wired/response_packet_serializer.h"
#include "support/lan.h"
#include "orvamesh/base/log.h"

namespace {

using namespace ORVA::MESH::SDK::ScanWired;
using Clock = std::chrono::steady_clock;

constexpr int kREs = 16;
double g_scanMedianUs = 0;
double g_openMedianUs = 0;
double g_cryptoMedianUs = 0;

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values.empty() ? 0 : values[values.size() / 2];
}

template <typename F>
double MicrosecondsOf(F&& run) {
  const auto start = Clock::now();
  run();
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

// Times `once` per iteration (it returns its own time in microseconds, or a negative number when
// it failed, which `failure` explains) and returns the median.
double MedianOf(benchmark::State& state, const std::function<double()>& once, const char* failure = "") {
  std::vector<double> samples;
  for (auto _ : state) {
    const double us = once();
    if (us < 0) {
      state.SkipWithError(failure);
      break;
    }
    samples.push_back(us);
    state.SetIterationTime(us / 1e6);
  }
  const double median = Median(samples);
  state.counters["median_us"] = median;
  return median;
}

// One RE's answer before sealing.
std::shared_ptr<const std::vector<unsigned char>> AnswerStream() {
  ether_addr mac{{0x02, 0x24, 0xe7, 1, 2, 3}};
  ResponsePacket response("OrvaOS", "velanto_platb_hm2000", "SN0", "5.2.0", 1, 0, mac, in6_addr{}, 443, 1234);
  return ResponsePacketSerializer().Serialize(response);
}

struct Segment {
  orva::test::Lan lan;
  const orva::test::NetNs* cap = nullptr;
  std::vector<std::unique_ptr<REScanResponder>> responders;
  std::unique_ptr<CAPScanSender> scan;

  Segment() {
    cap = &lan.AddHost("cap");
    for (int i = 0; i < kREs; ++i) {
      const auto& re = lan.AddHost("re");
      re.RunIn([&] {
        ScanResponderInitData identity;
        identity.unique = "velanto_platb_hm2000";
        identity.serial = "SN" + std::to_string(i);
        identity.os_name = "OrvaOS";
        identity.os_version = "5.2.0";
        responders.push_back(std::make_unique<REScanResponder>(identity, "eth0"));
        responders.back()->StartListening();
      });
    }
    cap->RunIn([&] { scan = std::make_unique<CAPScanSender>("eth0", ""); });
  }
  ~Segment() {
    scan.reset();
    responders.clear();
  }
};

std::unique_ptr<Segment> g_segment;

void BM_ScanUntilAll16Present(benchmark::State& state) {
  auto once = [] {
    double us = 0;
    g_segment->cap->RunIn([&] {
      us = MicrosecondsOf([] {
        const auto start = Clock::now();
        g_segment->scan->StartScan();
        while (g_segment->scan->GetScanResult().size() < kREs && Clock::now() - start < std::chrono::seconds(5)) {
          std::this_thread::sleep_for(std::chrono::microseconds(20));
        }
      });
      g_segment->scan->StopScan();
    });
    return g_segment->scan->GetScanResult().size() < kREs ? -1 : us;
  };
  g_scanMedianUs = MedianOf(state, once, "not every RE answered within 5 s");
}

void BM_Open16SealedAnswers(benchmark::State& state) {
  std::vector<unsigned char> pk(crypto_box_PUBLICKEYBYTES), sk(crypto_box_SECRETKEYBYTES);
  crypto_box_keypair(pk.data(), sk.data());
  const auto stream = AnswerStream();
  std::vector<std::vector<unsigned char>> sealed(kREs, std::vector<unsigned char>(stream->size() + crypto_box_SEALBYTES));
  for (auto& box : sealed) crypto_box_seal(box.data(), stream->data(), stream->size(), pk.data());
  std::vector<unsigned char> opened(stream->size());
  g_openMedianUs = MedianOf(state, [&] {
    return MicrosecondsOf([&] {
      for (const auto& box : sealed) {
        benchmark::DoNotOptimize(crypto_box_seal_open(opened.data(), box.data(), box.size(), pk.data(), sk.data()));
      }
    });
  });
}

// The crypto of one scan as this machine must run it, with no network at all: the CAP's fresh
// key pair, sixteen RE threads sealing their answer (crypto_box_seal makes a key pair of its
// own) and the CAP opening each answer as it comes. With the REs on the CAP's own cores, this
// is the least a scan can take here.
class CryptoOfAScan {
 public:
  explicit CryptoOfAScan(std::shared_ptr<const std::vector<unsigned char>> stream) : stream_(std::move(stream)) {
    for (int i = 0; i < kREs; ++i) res_.emplace_back([this] { Seal(); });
  }
  ~CryptoOfAScan() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stop_ = true;
    }
    wake_.notify_all();
    for (auto& re : res_) re.join();
  }

  void Run() {
    crypto_box_keypair(pk_.data(), sk_.data());
    {
      std::lock_guard<std::mutex> lock(mutex_);
      ++round_;
    }
    wake_.notify_all();
    std::vector<unsigned char> opened(stream_->size());
    for (int done = 0; done < kREs; ++done) {
      std::vector<unsigned char> box;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        answered_.wait(lock, [this] { return !answers_.empty(); });
        box = std::move(answers_.back());
        answers_.pop_back();
      }
      if (crypto_box_seal_open(opened.data(), box.data(), box.size(), pk_.data(), sk_.data()) != 0) std::abort();
    }
  }

 private:
  void Seal() {
    unsigned long seen = 0;
    for (;;) {
      std::unique_lock<std::mutex> lock(mutex_);
      wake_.wait(lock, [&] { return stop_ || round_ != seen; });
      if (stop_) return;
      seen = round_;
      lock.unlock();
      std::vector<unsigned char> box(stream_->size() + crypto_box_SEALBYTES);
      crypto_box_seal(box.data(), stream_->data(), stream_->size(), pk_.data());
      lock.lock();
      answers_.push_back(std::move(box));
      answered_.notify_one();
    }
  }

  std::shared_ptr<const std::vector<unsigned char>> stream_;
  std::array<unsigned char, crypto_box_PUBLICKEYBYTES> pk_{};
  std::array<unsigned char, crypto_box_SECRETKEYBYTES> sk_{};
  std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable answered_;
  unsigned long round_ = 0;
  bool stop_ = false;
  std::vector<std::vector<unsigned char>> answers_;
  std::vector<std::thread> res_;
};

void BM_CryptoOfAScanOnTheseCores(benchmark::State& state) {
  CryptoOfAScan crypto(AnswerStream());
  g_cryptoMedianUs = MedianOf(state, [&] { return MicrosecondsOf([&] { crypto.Run(); }); });
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (sodium_init() < 0) {
    std::printf("wired_scan: libsodium cannot start\n");
    return 1;
  }
  // The scans' lines stay out of the machine's syslog, at the priority a deployed daemon logs
  // at: a capture would turn on debug lines and a hex dump of every datagram.
  ORVA::MESH::SDK::Log::SetSink([](int, const std::string&) {});
  ORVA::MESH::SDK::Log::SetMaxPriority(LOG_INFO);
  BENCHMARK(BM_Open16SealedAnswers)->UseManualTime()->Iterations(200)->Unit(benchmark::kMicrosecond);
  BENCHMARK(BM_CryptoOfAScanOnTheseCores)->UseManualTime()->Iterations(200)->Unit(benchmark::kMicrosecond);
  const std::string reason = orva::test::NetnsUnavailableReason();
  if (reason.empty()) {
    g_segment = std::make_unique<Segment>();
    BENCHMARK(BM_ScanUntilAll16Present)->UseManualTime()->Iterations(30)->Unit(benchmark::kMicrosecond);
  } else {
    std::printf("wired_scan: the 16-RE scan is skipped: %s\n", reason.c_str());
  }
  benchmark::RunSpecifiedBenchmarks();
  g_segment.reset();
  if (g_scanMedianUs > 0 && g_openMedianUs > 0) {
    std::printf("wired_scan: median StartScan -> 16 entries %.0f us; 16 x crypto_box_seal_open %.0f us; ratio %.1f\n",
                g_scanMedianUs, g_openMedianUs, g_scanMedianUs / g_openMedianUs);
  }
  if (g_cryptoMedianUs > 0 && g_openMedianUs > 0) {
    std::printf("wired_scan: the crypto of a scan alone (16 RE seals and 16 opens on these %u cores) %.0f us; "
                "ratio %.1f (the floor of any scan here)\n",
                std::thread::hardware_concurrency(), g_cryptoMedianUs, g_cryptoMedianUs / g_openMedianUs);
  }
  benchmark::Shutdown();
  return 0;
}
