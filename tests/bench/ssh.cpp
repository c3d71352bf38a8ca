// SSHWrapper against OpenSSH's own clients, both talking to the same private sshd in one run:
// a 32 MiB file copied each way (SSHWrapper vs `scp -O`, which speaks the same SCP protocol),
// and Execute("true") round trips on one session (vs `ssh` reusing one multiplexed master
// connection, so neither side pays for a new log-in). Needs root for the private sshd.
#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "orvamesh/utils/ssh_wrapper.h"
#include "platform/process_runner.h"
#include "support/sshd_server.h"
#include "support/temp_dir.h"

namespace {

using ORVA::MESH::SDK::SSHWrapper;
using orva::test::SshdServer;
using Clock = std::chrono::steady_clock;

constexpr size_t kFileSize = 32u * 1024 * 1024;

SshdServer* server = nullptr;
orva::test::TempDir* scratch = nullptr;

std::vector<std::string> OpenSshOptions(const char* portFlag) {
  return {portFlag, std::to_string(server->Port()), "-F", "/dev/null", "-i", server->ClientKey(),
          "-o", "BatchMode=yes", "-o", "StrictHostKeyChecking=no", "-o", "UserKnownHostsFile=/dev/null",
          "-o", "LogLevel=ERROR"};
}

void RunOrFail(benchmark::State& state, const std::vector<std::string>& argv) {
  if (orva::platform::RunProgram(argv) != 0) state.SkipWithError(("failed: " + argv[0]).c_str());
}

std::string LocalFile() {
  static const std::string path = [] {
    std::string bytes(kFileSize, '\0');
    std::mt19937 engine(42);
    for (auto& b : bytes) b = static_cast<char>(engine());
    return scratch->WriteFile("payload", bytes, 0644);
  }();
  return path;
}

double Seconds(Clock::duration d) { return std::chrono::duration<double>(d).count(); }

void Report(benchmark::State& state, const char* what, const char* ours, double oursValue, const char* theirs,
            double theirsValue, const char* unit) {
  state.counters[ours] = oursValue;
  state.counters[theirs] = theirsValue;
  state.counters["ratio"] = oursValue / theirsValue;
  std::printf("%s: SSHWrapper %.1f %s, OpenSSH %.1f %s, ratio %.2f\n", what, oursValue, unit, theirsValue, unit,
              oursValue / theirsValue);
}

void BM_CopyFileToRemote(benchmark::State& state) {
  const std::string local = LocalFile();
  const std::string remote = server->InHome("to-remote");
  SSHWrapper ssh(server->Address(), SshdServer::kUser, SshdServer::kPassword);
  auto scp = std::vector<std::string>{"/usr/bin/scp", "-O", "-q"};
  for (auto& o : OpenSshOptions("-P")) scp.push_back(o);
  scp.push_back(local);
  scp.push_back(std::string(SshdServer::kUser) + "@[::1]:" + remote);
  Clock::duration ours{}, theirs{};
  for (auto _ : state) {
    auto start = Clock::now();
    ssh.CopyFileToRemote(local, remote);
    ours += Clock::now() - start;
    start = Clock::now();
    RunOrFail(state, scp);
    theirs += Clock::now() - start;
  }
  const double mib = static_cast<double>(kFileSize) / (1024 * 1024) * static_cast<double>(state.iterations());
  Report(state, "CopyFileToRemote 32 MiB", "wrapper_MiB_s", mib / Seconds(ours), "scp_MiB_s", mib / Seconds(theirs),
         "MiB/s");
}

void BM_CopyFileFromRemote(benchmark::State& state) {
  const std::string remote = server->InHome("from-remote");
  std::filesystem::copy_file(LocalFile(), remote, std::filesystem::copy_options::overwrite_existing);
  (void)!::chown(remote.c_str(), server->Uid(), server->Uid());
  const std::string local = scratch->Join("fetched");
  SSHWrapper ssh(server->Address(), SshdServer::kUser, SshdServer::kPassword);
  auto scp = std::vector<std::string>{"/usr/bin/scp", "-O", "-q"};
  for (auto& o : OpenSshOptions("-P")) scp.push_back(o);
  scp.push_back(std::string(SshdServer::kUser) + "@[::1]:" + remote);
  scp.push_back(scratch->Join("fetched-by-scp"));
  Clock::duration ours{}, theirs{};
  for (auto _ : state) {
    auto start = Clock::now();
    ssh.CopyFileFromRemote(remote, local);
    ours += Clock::now() - start;
    start = Clock::now();
    RunOrFail(state, scp);
    theirs += Clock::now() - start;
  }
  const double mib = static_cast<double>(kFileSize) / (1024 * 1024) * static_cast<double>(state.iterations());
  Report(state, "CopyFileFromRemote 32 MiB", "wrapper_MiB_s", mib / Seconds(ours), "scp_MiB_s",
         mib / Seconds(theirs), "MiB/s");
}

void BM_ExecuteTrue(benchmark::State& state) {
  SSHWrapper ssh(server->Address(), SshdServer::kUser, SshdServer::kPassword);
  const std::string control = scratch->Join("mux");
  auto ssh_cmd = [&](std::vector<std::string> tail) {
    std::vector<std::string> argv{"/usr/bin/ssh", "-S", control};
    for (auto& o : OpenSshOptions("-p")) argv.push_back(o);
    for (auto& t : tail) argv.push_back(t);
    return argv;
  };
  const std::string target = std::string(SshdServer::kUser) + "@::1";
  // The master goes to the background once logged in and serves every later ssh -S.
  RunOrFail(state, ssh_cmd({"-M", "-f", "-N", "-o", "ControlPersist=yes", target}));
  Clock::duration ours{}, theirs{};
  for (auto _ : state) {
    auto start = Clock::now();
    ssh.Execute("true");
    ours += Clock::now() - start;
    start = Clock::now();
    RunOrFail(state, ssh_cmd({target, "true"}));
    theirs += Clock::now() - start;
  }
  orva::platform::RunProgram(ssh_cmd({"-O", "exit", target}));
  const double n = static_cast<double>(state.iterations());
  Report(state, "Execute(\"true\") on one session", "wrapper_rt_s", n / Seconds(ours), "ssh_mux_rt_s",
         n / Seconds(theirs), "round trips/s");
}

BENCHMARK(BM_CopyFileToRemote)->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CopyFileFromRemote)->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ExecuteTrue)->Iterations(200)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  const std::string reason = orva::test::SshdUnavailableReason();
  if (!reason.empty()) {
    std::printf("bench ssh skipped: %s\n", reason.c_str());
    return 0;
  }
  orva::test::TempDir dir;
  SshdServer sshd;
  scratch = &dir;
  server = &sshd;
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
