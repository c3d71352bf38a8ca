// SSHWrapper up to the point where a real SSH server is needed: argument checks, the TCP
// connection on loopback, and the failures of calls that cannot be made to fail for real.
// Everything against a real sshd is in tests/integration/ssh.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include "orvamesh/base/exception.h"
#include "orvamesh/utils/ssh_wrapper.h"
#include "support/thrown_text.h"
#include "utils/posix_seam.h"
#include "utils/ssh_seam.h"

namespace {

using namespace ORVA::MESH::SDK;
using Exception::RuntimeException;
using Fingerprint = SSHWrapper::HostKeyFingerprint;
using testing::ContainsRegex;

// The exception's what() from constructing a wrapper, or "".
std::string ConstructError(const sockaddr_in6& addr, const std::string& user = "user",
                           const std::string& password = "secret") {
  return orva::test::ThrownText<RuntimeException>([&] { SSHWrapper wrapper(addr, user, password); });
}

size_t OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

sockaddr_in6 Loopback(uint16_t port) {
  sockaddr_in6 addr{};
  addr.sin6_family = AF_INET6;
  addr.sin6_addr = in6addr_loopback;
  addr.sin6_port = htons(port);
  return addr;
}

// A loopback listener on a free port.
struct Listener {
  Listener() {
    socklen_t length = sizeof(address);
    EXPECT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), length), 0);
    EXPECT_EQ(::listen(fd, 16), 0);
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  }
  ~Listener() { ::close(fd); }
  std::string Port() const { return std::to_string(ntohs(address.sin6_port)); }

  const int fd = ::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in6 address = Loopback(0);
};

std::atomic<int> socketCalls{0};
std::atomic<int> pollTimeout{0};

TEST(SSHWrapperValidation, AnEmptyUserOrPasswordFailsBeforeAnySocketIsMade) {
  Seam::ScopedPosixOverride posix;
  socketCalls = 0;
  posix->socket = [](int, int, int) {
    ++socketCalls;
    return -1;
  };
  for (const auto& [user, password] : {std::pair{"", "secret"}, {"user", ""}, {"", ""}}) {
    EXPECT_THAT(ConstructError(Loopback(22), user, password),
                ContainsRegex("^utils/ssh_wrapper:Validate:[0-9]+: username or password can't be empty\\.$"));
  }
  EXPECT_EQ(socketCalls, 0);
}

TEST(SSHWrapperValidation, AnAddressThatIsNotIPv6IsRefused) {
  sockaddr_in6 wrongFamily = Loopback(22);
  wrongFamily.sin6_family = AF_INET;
  EXPECT_NE(ConstructError(wrongFamily).find(": ipv6 address is invalid."), std::string::npos);
}

// Failures of calls on the way to a TCP connection, each forced through the seams; every one
// must leave no descriptor behind.
TEST(SSHWrapperConnect, EachFailingStepThrowsItsMessageAndReleasesEverything) {
  Listener listener;
  const std::string port = listener.Port();
  const struct {
    const char* name;
    std::function<void(Seam::SshCalls&, Seam::PosixCalls&)> breakIt;
    std::string expected;
  } cases[] = {
      {"init", [](Seam::SshCalls& s, Seam::PosixCalls&) { s.init = [](int) { return -5; }; },
       "InitInternal:[0-9]+: Failed to init ssh, error code: -5$"},
      {"socket", [](Seam::SshCalls&, Seam::PosixCalls& p) { p.socket = [](int, int, int) { return -1; }; },
       "CreateSocket:[0-9]+: Failed to create socket\\.$"},
      {"poll", [](Seam::SshCalls& s, Seam::PosixCalls&) {  // a peer that never answers
         s.poll = [](pollfd*, nfds_t, int timeout) { pollTimeout = timeout; return 0; }; },
       "CreateSocket:[0-9]+: Failed to connect ip: \\[::1\\], port: \\[" + port +
           "\\], interface id: \\[0\\], select return: 0$"},
      {"session", [](Seam::SshCalls& s, Seam::PosixCalls&) {
         s.session_init = []() -> LIBSSH2_SESSION* { return nullptr; }; },
       "InitSession:[0-9]+: Failed to initialize ssh session\\.$"},
  };
  for (const auto& c : cases) {
    Seam::ScopedSshOverride ssh;
    Seam::ScopedPosixOverride posix;
    c.breakIt(Seam::Ssh(), Seam::Posix());
    const size_t before = OpenDescriptors();
    EXPECT_THAT(ConstructError(listener.address), ContainsRegex("^utils/ssh_wrapper:" + c.expected)) << c.name;
    EXPECT_EQ(OpenDescriptors(), before) << c.name;
  }
  EXPECT_GT(pollTimeout, 4900) << "the wait for the connection gives up after five seconds";
  EXPECT_LE(pollTimeout, 5000);
}

TEST(SSHWrapperConnect, APeerThatIsNotAnSshServerFailsTheHandshake) {
  const char reply[] = "HTTP/1.1 400 Bad Request\r\n\r\n";
  Listener listener;
  std::thread peer([&] {
    int fd = ::accept(listener.fd, nullptr, nullptr);
    if (fd < 0) return;
    (void)!::write(fd, reply, strlen(reply));
    ::close(fd);
  });
  const size_t before = OpenDescriptors();
  EXPECT_THAT(ConstructError(listener.address),
              ContainsRegex(":ConnectSession:[0-9]+: Failed to session handshake, error code: -[0-9]+$"));
  peer.join();
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST(SSHWrapperHostKeyFingerprint, TheOpenSshTextFormRoundTripsAndNothingElseIsAccepted) {
  std::array<uint8_t, 32> digest{};
  for (size_t i = 0; i < digest.size(); ++i) digest[i] = static_cast<uint8_t>(i * 37 + 5);
  const Fingerprint original(digest);
  const std::string text = original.ToString();
  EXPECT_EQ(text.size(), 7u + 43u);
  EXPECT_EQ(text.rfind("SHA256:", 0), 0u);
  EXPECT_EQ(Fingerprint(text), original);
  EXPECT_EQ(Fingerprint(text + "="), original);
  EXPECT_EQ(Fingerprint(text).Digest(), digest);
  // Known vector: the digest of nothing, as OpenSSH writes it.
  const std::string valid = "SHA256:47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU";
  EXPECT_EQ(Fingerprint(valid).Digest()[0], 0xe3);

  const std::string bad[] = {
      "",
      valid.substr(7),                                       // no algorithm prefix
      valid.substr(0, valid.size() - 1),                     // a character short
      valid + "A",                                           // a character long
      "SHA256:47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuF!",  // not base64
      "SHA256:47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFV",  // bits beyond the 32 bytes
  };
  for (const auto& wrong : bad) EXPECT_THROW(Fingerprint{wrong}, Exception::InvalidArgumentException) << wrong;
}

}  // namespace
