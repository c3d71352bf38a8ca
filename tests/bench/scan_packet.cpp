// Reading wired scan responses costs the crypto plus our parsing; this measures how much the
// parsing adds. Baseline: bare crypto_box_seal_open of the same ciphertexts. Measured: the whole
// read (header, open, field stream) and the scan reply entry made from it. Also probe reading.
#include <benchmark/benchmark.h>
#include <sodium.h>

#include <arpa/inet.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "orvamesh/scan_wired/ethernet_scan_reply_entry.h"
#include "orvamesh/scan_wired/scan_header.h"
#include "scan_wired/wired_scan_packet.h"

namespace {

using namespace ORVA::MESH::SDK::ScanWired;
using Bytes = std::vector<unsigned char>;

struct Fixture {
  Bytes publicKey = Bytes(crypto_box_PUBLICKEYBYTES);
  Bytes secretKey = Bytes(crypto_box_SECRETKEYBYTES);
  std::vector<Bytes> responses;  // distinct ciphertexts of one typical answer
  Bytes probe;

  Fixture() {
    InitSodium();
    crypto_box_keypair(publicKey.data(), secretKey.data());
    in6_addr ip{};
    inet_pton(AF_INET6, "fe80::2c0:ffee:1:2", &ip);
    const ResponsePacket response("OrvaOS", "9f2c4e1a-RE-unique-0042", "SN0123456789", "5.2.0.1234", 74565, 7,
                                  ether_addr{{0x02, 0x00, 0xAB, 0x0C, 0x0D, 0x0E}}, ip, 443, 3600);
    for (int i = 0; i < 64; ++i) responses.push_back(BuildResponsePacket(response, publicKey));
    Bytes key(32, 0x11);
    probe = BuildProbePacket(ProbePacket(key));
  }
};

const Fixture& Data() {
  static const Fixture fixture;
  return fixture;
}

void BM_BareSealOpen(benchmark::State& state) {
  const Fixture& f = Data();
  Bytes opened(f.responses[0].size() - ScanHeader::kHeaderSize - crypto_box_SEALBYTES);
  size_t i = 0;
  for (auto _ : state) {
    const Bytes& datagram = f.responses[i++ % f.responses.size()];
    const int status = crypto_box_seal_open(opened.data(), datagram.data() + ScanHeader::kHeaderSize,
                                            datagram.size() - ScanHeader::kHeaderSize, f.publicKey.data(),
                                            f.secretKey.data());
    benchmark::DoNotOptimize(status);
    benchmark::DoNotOptimize(opened.data());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BareSealOpen);

void BM_ReadResponse(benchmark::State& state) {
  const Fixture& f = Data();
  size_t i = 0;
  for (auto _ : state) {
    const ResponsePacket response = ReadResponsePacket(f.responses[i++ % f.responses.size()], f.publicKey, f.secretKey);
    EthernetScanReplyEntry entry(response, true);
    benchmark::DoNotOptimize(entry);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReadResponse);

void BM_ReadProbe(benchmark::State& state) {
  const Fixture& f = Data();
  for (auto _ : state) {
    ProbePacket probe = ReadProbePacket(f.probe);
    benchmark::DoNotOptimize(probe);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReadProbe);

// Keeps each benchmark's rate for the ratio line after the table.
class RateReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const auto& run : runs) rates[run.benchmark_name()] = run.counters.at("items_per_second").value;
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> rates;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RateReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  auto& rate = reporter.rates;
  if (rate["BM_BareSealOpen"] > 0) {
    std::printf("responses read: %.0f/s, bare crypto_box_seal_open: %.0f/s, ratio %.3f (target >= 0.8)\n",
                rate["BM_ReadResponse"], rate["BM_BareSealOpen"], rate["BM_ReadResponse"] / rate["BM_BareSealOpen"]);
  }
  std::printf("probes read: %.0f/s\n", rate["BM_ReadProbe"]);
}
