// SSHWrapper against a real OpenSSH server started for the tests (support/sshd_server.h):
// commands, copies both ways, log-in failures and host-key pinning.
// Link-local addressing is exercised by the group update tool (integration/upgrade).
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <regex>
#include <string>

#include "orvamesh/base/exception.h"
#include "orvamesh/utils/ssh_wrapper.h"
#include "support/sshd_server.h"
#include "support/temp_dir.h"
#include "support/thrown_text.h"
#include "utils/ssh_seam.h"

namespace {

using namespace ORVA::MESH::SDK;
using Exception::RuntimeException;
using orva::test::SshdServer;
using orva::test::TempDir;
using testing::ContainsRegex;

constexpr auto ErrorOf = &orva::test::ThrownText<RuntimeException>;

size_t OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

std::string RandomBytes(size_t size, unsigned seed) {
  std::mt19937 engine(seed);
  std::string bytes(size, '\0');
  for (auto& b : bytes) b = static_cast<char>(engine());
  return bytes;
}

mode_t ModeOf(const std::string& path) {
  return static_cast<mode_t>(std::filesystem::status(path).permissions());
}

// One server for the whole suite: starting sshd costs key generation and a password hash.
class SshSession : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (orva::test::SshdUnavailableReason().empty()) server_ = std::make_unique<SshdServer>();
  }
  static void TearDownTestSuite() { server_.reset(); }
  void SetUp() override { ORVA_REQUIRE_SSHD(); }

  static std::unique_ptr<SSHWrapper> Connect(const std::string& user = SshdServer::kUser,
                                             const std::string& password = SshdServer::kPassword) {
    return std::make_unique<SSHWrapper>(server_->Address(), user, password);
  }
  static std::unique_ptr<SshdServer> server_;
  static TempDir local_;
};
std::unique_ptr<SshdServer> SshSession::server_;
TempDir SshSession::local_;

TEST_F(SshSession, ExecuteReturnsWhatTheCommandWroteToStandardOutput) {
  auto ssh = Connect();
  // Output written in one go, so the short-read rule sees all of it at once.
  auto pyWrite = [](size_t n) {
    return "python3 -c 'import os; os.write(1, b\"x\" * " + std::to_string(n) + ")'";
  };
  const struct { std::string command, expected; } cases[] = {
      {"printf hello", "hello"},
      {pyWrite(8192), std::string(8192, 'x')},  // a full chunk, ended by the following empty read
      {pyWrite(200000), std::string(200000, 'x')},  // several packets
      {"echo partial; exit 3", "partial\n"},   // a failing command yields what it printed
      {"echo only-on-stderr >&2", ""},
      // Standard error beyond the channel's window must not stall the command.
      {"head -c 1000000 /dev/zero >&2; echo done", "done\n"},
      {"head -c 3000000 /dev/zero >&2; echo done", "done\n"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ssh->Execute(c.command), c.expected) << c.command;
  }
}

TEST_F(SshSession, FilesCopyBothWaysByteForByteWithTheirModes) {
  auto ssh = Connect();
  const struct { size_t size; mode_t mode, fetchedMode; } cases[] = {  // fetched: the remote mode & 0644
      {0, 0644, 0644}, {1024, 0755, 0644}, {1025, 0444, 0444}, {3 * 1024 * 1024 + 17, 0700, 0600},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE("size " + std::to_string(c.size) + " mode " + std::to_string(c.mode));
    const std::string content = RandomBytes(c.size, static_cast<unsigned>(c.size));
    const std::string name = "copy-" + std::to_string(c.size);
    const std::string local = local_.WriteFile(name, content, static_cast<int>(c.mode));
    const std::string remote = server_->InHome(name);

    ssh->CopyFileToRemote(local, remote);
    EXPECT_EQ(TempDir::ReadFile(remote), content);
    EXPECT_EQ(ModeOf(remote), c.mode);

    const std::string back = local_.Join(name + ".back");
    ssh->CopyFileFromRemote(remote, back);
    EXPECT_EQ(TempDir::ReadFile(back), content);
    EXPECT_EQ(ModeOf(back), c.fetchedMode);
  }
  // One path for both sides: the file is replaced by itself, not emptied on the way.
  ssh->CopyFileFromRemote(server_->InHome("copy-1025"));
  EXPECT_EQ(TempDir::ReadFile(server_->InHome("copy-1025")), RandomBytes(1025, 1025));
}

TEST_F(SshSession, CopyFailuresNameTheirCauseAndLeaveLocalFilesAlone) {
  auto ssh = Connect();
  const std::string kept = local_.WriteFile("kept", "previous content");
  const struct { const char* name; std::function<void()> copy; std::string expected; } cases[] = {
      {"missing local file", [&] { ssh->CopyFileToRemote("/nonexistent/orva-file", server_->InHome("x")); },
       ":CopyFileToRemote:[0-9]+: Failed to open file: /nonexistent/orva-file$"},
      {"remote directory missing", [&] { ssh->CopyFileToRemote(kept, server_->InHome("no/such/dir/x")); },
       ":CopyFileToRemote:[0-9]+: Failed to initialize scp channel\\. Error: .+"},
      {"remote file missing", [&] { ssh->CopyFileFromRemote(server_->InHome("no-such-file"), kept); },
       ":CopyFileFromRemote:[0-9]+: Failed to initialize ssh channel\\. Error: .+"},
      {"write failure", [&] {
         Seam::ScopedSshOverride seam;
         seam->channel_write = [](LIBSSH2_CHANNEL*, const char*, size_t) -> ssize_t { return LIBSSH2_ERROR_SOCKET_SEND; };
         ssh->CopyFileToRemote(kept, server_->InHome("write-fails"));
       }, ":CopyFileToRemote:[0-9]+: Failed to error code: -7$"},
  };
  for (const auto& c : cases) EXPECT_THAT(ErrorOf(c.copy), ContainsRegex("^utils/ssh_wrapper" + c.expected)) << c.name;
  EXPECT_EQ(TempDir::ReadFile(kept), "previous content");
  // The session survives its failed operations.
  EXPECT_EQ(ssh->Execute("printf still-here"), "still-here");
}

TEST_F(SshSession, ARemoteFileShorterThanAnnouncedIsAnErrorNotAShortFile) {
  // This account's every command is a sender announcing 100 bytes and sending 10.
  auto ssh = Connect(SshdServer::kShortUser);
  const std::string local = local_.WriteFile("short-target", "previous content");
  EXPECT_THAT(ErrorOf([&] { ssh->CopyFileFromRemote("/anything", local); }),
              testing::EndsWith(": Remote file [/anything] ended after [10] of [100] bytes."));
  EXPECT_EQ(TempDir::ReadFile(local), "previous content");
  // No half-written temporary file is left beside it.
  for (const auto& entry : std::filesystem::directory_iterator(local_.Path())) {
    EXPECT_NE(entry.path().filename().string().rfind("short-target.", 0), 0u) << entry.path();
  }
}

TEST_F(SshSession, LogInFailuresAreReportedWithLibssh2sCodeAndNoConnectionLeavesADescriptor) {
  Connect();  // the first connection sets up what libssh2 keeps for the whole process
  const size_t before = OpenDescriptors();
  EXPECT_THAT(ErrorOf([&] { Connect(SshdServer::kUser, "wrong-password"); }),
              ContainsRegex("^utils/ssh_wrapper:ConnectSession:[0-9]+: Failed to authenticate, error code: " +
                            std::to_string(LIBSSH2_ERROR_AUTHENTICATION_FAILED) + "$"));
  for (int i = 0; i < 100; ++i) Connect();
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(SshSession, APinnedHostKeyMustMatchBeforeThePasswordIsSent) {
  const SSHWrapper::HostKeyFingerprint right(server_->Fingerprint());
  SSHWrapper pinned(server_->Address(), SshdServer::kUser, SshdServer::kPassword, right);
  EXPECT_EQ(pinned.Execute("printf pinned"), "pinned");

  std::array<uint8_t, 32> digest = right.Digest();
  digest[31] ^= 1;
  const SSHWrapper::HostKeyFingerprint other(digest);
  const std::regex password("password for");
  auto passwordLines = [&] {
    const std::string log = server_->Log();
    return std::distance(std::sregex_iterator(log.begin(), log.end(), password), std::sregex_iterator());
  };
  const auto seen = passwordLines();
  EXPECT_THAT(ErrorOf([&] { SSHWrapper(server_->Address(), SshdServer::kUser, SshdServer::kPassword, other); }),
              testing::AllOf(ContainsRegex("^utils/ssh_wrapper:ConnectSession:[0-9]+: Host key"),
                             testing::EndsWith("Host key of ip: [::1] does not match, expected: [" + other.ToString() +
                                               "], got: [" + right.ToString() + "].")));
  // The server closes its side after we leave; by then it must have seen no password.
  EXPECT_EQ(passwordLines(), seen);
}

}  // namespace
