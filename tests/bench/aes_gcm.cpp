// AES-256-GCM encryption of 16 KiB messages: AesGcm::EncryptWithNonce against bare EVP calls on
// the same buffers, in the same run. Target: ratio at least 0.9.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "orvamesh/utils/aes_gcm.h"

namespace {

using namespace ORVA::MESH::SDK;

constexpr size_t kMessage = 16 * 1024;

struct Fixture {
  Key256 key = Key256::Random();
  AesGcm::Bytes nonce = AesGcm::Bytes(AesGcm::kNonceSize, 7);
  AesGcm::Bytes plaintext = AesGcm::Bytes(kMessage, 0x5a);
  AesGcm::Bytes aad = AesGcm::Bytes(16, 1);
};

const Fixture& Data() {
  static const Fixture fixture;
  return fixture;
}

void BM_BareEvp(benchmark::State& state) {
  const Fixture& f = Data();
  std::vector<uint8_t> out(kMessage + AesGcm::kTagSize);
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  for (auto _ : state) {
    int length = 0;
    EVP_EncryptInit_ex(ctx, EVP_aes_256_gcm(), nullptr, f.key.Data(), f.nonce.data());
    EVP_EncryptUpdate(ctx, nullptr, &length, f.aad.data(), static_cast<int>(f.aad.size()));
    EVP_EncryptUpdate(ctx, out.data(), &length, f.plaintext.data(), static_cast<int>(kMessage));
    EVP_EncryptFinal_ex(ctx, out.data() + length, &length);
    EVP_CIPHER_CTX_ctrl(ctx, EVP_CTRL_GCM_GET_TAG, AesGcm::kTagSize, out.data() + kMessage);
    benchmark::DoNotOptimize(out.data());
  }
  EVP_CIPHER_CTX_free(ctx);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kMessage));
}
BENCHMARK(BM_BareEvp);

void BM_AesGcm(benchmark::State& state) {
  const Fixture& f = Data();
  for (auto _ : state) {
    AesGcm::Bytes sealed = AesGcm::EncryptWithNonce(f.key, f.nonce, f.plaintext, f.aad);
    benchmark::DoNotOptimize(sealed.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kMessage));
}
BENCHMARK(BM_AesGcm);

class RateReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const auto& run : runs) rates[run.benchmark_name()] = run.counters.at("bytes_per_second").value;
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> rates;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RateReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  auto& r = reporter.rates;
  if (r["BM_BareEvp"] > 0) {
    std::printf("AES-256-GCM, 16 KiB: %.0f MiB/s, bare EVP %.0f MiB/s, ratio %.3f (target >= 0.9)\n", r["BM_AesGcm"] / 1048576,
                r["BM_BareEvp"] / 1048576, r["BM_AesGcm"] / r["BM_BareEvp"]);
  }
}
