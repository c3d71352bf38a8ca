#include "orvamesh/utils/ssh_wrapper.h"

#include "orvamesh/utils/deadline.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <libssh2.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <mutex>
#include <vector>

#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "utils/posix_seam.h"
#include "utils/ssh_seam.h"

namespace ORVA::MESH::SDK {

namespace {

using Exception::RuntimeException;
using Seam::Posix;
using Seam::Ssh;

constexpr int kConnectTimeoutMs = 5000;
constexpr int kSocketWaitMs = 10000;
constexpr size_t kSendChunk = 1024;
// The file is still read kSendChunk bytes at a time, but handed to libssh2 in pieces this
// large: each channel write costs a packet and a MAC, which on a router's CPU is what limits
// a firmware upload.
constexpr size_t kSendBuffer = 64 * 1024;
constexpr size_t kReceiveChunk = 8192;
constexpr char kFingerprintPrefix[] = "SHA256:";
constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// libssh2 keeps its initialisation count in a plain integer, so every init/exit pair of every
// object goes through this lock. The first caller also takes one reference for the process, so
// the crypto back end is set up once and never torn down under another thread's session.
std::mutex& InitLock() {
  static std::mutex lock;
  return lock;
}

int Base64Value(char c) {
  const char* at = std::strchr(kBase64, c);
  return (c != '\0' && at != nullptr) ? static_cast<int>(at - kBase64) : -1;
}

// Closes a descriptor on every way out of a scope.
class FdCloser {
 public:
  explicit FdCloser(int fd) : fd_(fd) {}
  ~FdCloser() {
    if (fd_ >= 0) Posix().close(fd_);
  }
  FdCloser(const FdCloser&) = delete;
  FdCloser& operator=(const FdCloser&) = delete;
  // Closes now and reports close()'s result (a delayed write error shows up here).
  int Close() {
    int rc = Posix().close(fd_);
    fd_ = -1;
    return rc;
  }

 private:
  int fd_;
};

std::string ErrnoText(int error) { return "[" + std::to_string(error) + "]"; }

}  // namespace

// --- host-key fingerprint ------------------------------------------------------------------

SSHWrapper::HostKeyFingerprint::HostKeyFingerprint(const std::string& text) : digest_{} {
  const size_t prefix = sizeof(kFingerprintPrefix) - 1;
  std::string body;
  if (text.compare(0, prefix, kFingerprintPrefix) == 0) body = text.substr(prefix);
  while (!body.empty() && body.back() == '=') body.pop_back();
  // 32 bytes are 43 base64 characters, the last one carrying 4 bits.
  bool valid = body.size() == 43;
  uint32_t bits = 0;
  int pending = 0;
  size_t out = 0;
  for (size_t i = 0; valid && i < body.size(); ++i) {
    int value = Base64Value(body[i]);
    if (value < 0) {
      valid = false;
      break;
    }
    bits = (bits << 6) | static_cast<uint32_t>(value);
    pending += 6;
    if (pending >= 8) {
      pending -= 8;
      digest_[out++] = static_cast<uint8_t>(bits >> pending);
      bits &= (1u << pending) - 1;
    }
  }
  if (!valid || out != digest_.size() || bits != 0) {
    ORVA_THROW(Exception::InvalidArgumentException,
               "Host key fingerprint [" + text + "] is not an OpenSSH SHA256 fingerprint.");
  }
}

std::string SSHWrapper::HostKeyFingerprint::ToString() const {
  std::string text = kFingerprintPrefix;
  uint32_t bits = 0;
  int pending = 0;
  for (uint8_t byte : digest_) {
    bits = (bits << 8) | byte;
    pending += 8;
    while (pending >= 6) {
      pending -= 6;
      text += kBase64[(bits >> pending) & 0x3f];
    }
  }
  if (pending > 0) text += kBase64[(bits << (6 - pending)) & 0x3f];
  return text;
}

// --- construction ----------------------------------------------------------------------------

SSHWrapper::SSHWrapper(const sockaddr_in6& addr, const std::string& user, const std::string& password)
    : addr_(addr), user_(user), password_(password) {
  Construct(nullptr);
}

SSHWrapper::SSHWrapper(const sockaddr_in6& addr, const std::string& user, const std::string& password,
                       const HostKeyFingerprint& expectedHostKey)
    : addr_(addr), user_(user), password_(password) {
  Construct(&expectedHostKey);
}

SSHWrapper::SSHWrapper(const sockaddr_in6& addr, const std::string& user, const KeyFiles& keys)
    : addr_(addr), user_(user), keys_(keys) {
  Construct(nullptr);
}

SSHWrapper::SSHWrapper(const sockaddr_in6& addr, const std::string& user, const KeyFiles& keys,
                       const HostKeyFingerprint& expectedHostKey)
    : addr_(addr), user_(user), keys_(keys) {
  Construct(&expectedHostKey);
}

SSHWrapper::~SSHWrapper() { ClearAll(); }

void SSHWrapper::Construct(const HostKeyFingerprint* expectedHostKey) {
  try {
    Validate();
    InitInternal();
    CreateSocket();
    InitSession();
    ConnectSession(expectedHostKey);
  } catch (...) {
    ClearAll();
    throw;
  }
}

void SSHWrapper::Validate() const {
  const bool withKey = !keys_.privateKey.empty() || !keys_.publicKey.empty();
  if (user_.empty() || (password_.empty() && !withKey)) {
    ORVA_THROW(RuntimeException, "username or password can't be empty.");
  }
  if (withKey) {
    for (const std::string* path : {&keys_.privateKey, &keys_.publicKey}) {
      struct stat st {};
      if (path->empty() || ::lstat(path->c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        ORVA_THROW(RuntimeException, "key file [" + *path + "] is not a regular file.");
      }
    }
  }
  bool printable = addr_.sin6_family == AF_INET6;
  if (printable) {
    try {
      GetIPv6String();
    } catch (const std::exception& e) {
      ORVA_LOG_ERR("%s", e.what());
      printable = false;
    }
  }
  if (!printable) ORVA_THROW(RuntimeException, "ipv6 address is invalid.");
}

void SSHWrapper::InitInternal() {
  std::lock_guard<std::mutex> lock(InitLock());
  static const int processReference = ::libssh2_init(0);
  (void)processReference;
  int rc = Ssh().init(0);
  if (rc != 0) ORVA_THROW(RuntimeException, "Failed to init ssh, error code: " + std::to_string(rc));
  libssh2Initialised_ = true;
}

void SSHWrapper::CreateSocket() {
  socket_ = Posix().socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (socket_ < 0) {
    socket_ = -1;
    ORVA_THROW(RuntimeException, "Failed to create socket.");
  }
  socketCreated_ = true;

  int flags = Ssh().fcntl(socket_, F_GETFL, 0);
  if (flags < 0 || Ssh().fcntl(socket_, F_SETFL, flags | O_NONBLOCK) < 0) {
    ORVA_THROW(RuntimeException, "Failed to call fcntl to set connect nonblock.");
  }

  // Requests and their answers are small packets; without this, Nagle's algorithm and the
  // peer's delayed acknowledgement hold each exchange for tens of milliseconds.
  int noDelay = 1;
  if (::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof(noDelay)) != 0) {
    ORVA_LOG_INFO("TCP_NODELAY not set on the ssh socket, errno: [%d]", errno);
  }

  const std::string peer = "Failed to connect ip: [" + GetIPv6String() + "], port: [" +
                           std::to_string(ntohs(addr_.sin6_port)) + "], interface id: [" +
                           std::to_string(addr_.sin6_scope_id) + "]";
  int rc = ::connect(socket_, reinterpret_cast<const sockaddr*>(&addr_), sizeof(addr_));
  if (rc != 0 && errno != EINPROGRESS && errno != EINTR) {
    ORVA_THROW(RuntimeException, peer + ", error code: " + std::to_string(errno));
  }
  if (rc != 0) {
    // Wait for the connection with one deadline, however often a signal interrupts the wait.
    // poll rather than select: a descriptor above FD_SETSIZE would overrun an fd_set.
    const Deadline deadline{std::chrono::milliseconds(kConnectTimeoutMs)};
    int ready;
    for (;;) {
      pollfd entry{socket_, POLLOUT, 0};
      ready = Ssh().poll(&entry, 1, deadline.PollTimeoutMs());
      if (ready < 0 && errno == EINTR) continue;
      break;
    }
    if (ready != 1) ORVA_THROW(RuntimeException, peer + ", select return: " + std::to_string(ready));
  }
  int error = 0;
  socklen_t length = sizeof(error);
  if (Ssh().getsockopt(socket_, SOL_SOCKET, SO_ERROR, &error, &length) != 0) {
    ORVA_THROW(RuntimeException, "Failed to call getsockopt to get socket's options");
  }
  if (error != 0) ORVA_THROW(RuntimeException, peer + ", error code: " + std::to_string(error));
}

void SSHWrapper::InitSession() {
  session_ = Ssh().session_init();
  if (session_ == nullptr) ORVA_THROW(RuntimeException, "Failed to initialize ssh session.");
  ::libssh2_session_set_blocking(session_, 0);
}

void SSHWrapper::ConnectSession(const HostKeyFingerprint* expectedHostKey) {
  // Each retry waits for the socket instead of spinning: a slow peer costs no CPU.
  int rc;
  while ((rc = ::libssh2_session_handshake(session_, socket_)) == LIBSSH2_ERROR_EAGAIN) WaitSocket();
  if (rc != 0) ORVA_THROW(RuntimeException, "Failed to session handshake, error code: " + std::to_string(rc));

  CheckHostKey(expectedHostKey);
  Authenticate();
}

// Both steps belong to the session's connection, and their failures say so.
void SSHWrapper::CheckHostKey(const HostKeyFingerprint* expectedHostKey) {
  const char* hash = ::libssh2_hostkey_hash(session_, LIBSSH2_HOSTKEY_HASH_SHA256);
  if (hash == nullptr) {
    ORVA_THROW_IN(RuntimeException, "ConnectSession", "Failed to read the host key of ip: [" + GetIPv6String() + "].");
  }
  std::array<uint8_t, 32> digest{};
  std::memcpy(digest.data(), hash, digest.size());
  hostKey_ = HostKeyFingerprint(digest);
  if (expectedHostKey != nullptr && hostKey_ != *expectedHostKey) {
    ORVA_THROW_IN(RuntimeException, "ConnectSession", "Host key of ip: [" + GetIPv6String() + "] does not match, expected: [" +
                                     expectedHostKey->ToString() + "], got: [" + hostKey_.ToString() + "].");
  }
}

void SSHWrapper::Authenticate() {
  const auto userLength = static_cast<unsigned int>(user_.size());
  int rc;
  for (;;) {
    if (password_.empty()) {
      rc = ::libssh2_userauth_publickey_fromfile_ex(session_, user_.c_str(), userLength,
                                                    keys_.publicKey.c_str(), keys_.privateKey.c_str(), "");
    } else {
      rc = ::libssh2_userauth_password_ex(session_, user_.c_str(), userLength, password_.c_str(),
                                          static_cast<unsigned int>(password_.size()), nullptr);
    }
    if (rc != LIBSSH2_ERROR_EAGAIN) break;
    WaitSocket();
  }
  if (rc != 0) ORVA_THROW_IN(RuntimeException, "ConnectSession", "Failed to authenticate, error code: " + std::to_string(rc));
}

// --- helpers ---------------------------------------------------------------------------------

int SSHWrapper::WaitSocket() const {
  int directions = ::libssh2_session_block_directions(session_);
  short events = 0;
  if ((directions & LIBSSH2_SESSION_BLOCK_INBOUND) != 0) events |= POLLIN;
  if ((directions & LIBSSH2_SESSION_BLOCK_OUTBOUND) != 0) events |= POLLOUT;
  // libssh2 names no direction when it waits on its own state; the peer is what it waits for.
  if (events == 0) events = POLLIN;
  pollfd entry{socket_, events, 0};
  return Ssh().poll(&entry, 1, kSocketWaitMs);
}

std::string SSHWrapper::GetIPv6String() const {
  char text[INET6_ADDRSTRLEN] = {};
  if (Ssh().inet_ntop(AF_INET6, &addr_.sin6_addr, text, sizeof(text)) == nullptr) {
    ORVA_THROW(RuntimeException, "inet_ntop with errno " + ErrnoText(errno));
  }
  return text;
}

std::string SSHWrapper::LastError() const {
  char* message = nullptr;
  ::libssh2_session_last_error(session_, &message, nullptr, 0);
  return message != nullptr ? message : "";
}

namespace {

// Frees a channel on every way out of an operation. Freeing closes the channel, which may have
// to wait for the peer; a peer silent for a whole socket wait is given up on (the session frees
// what is left when it goes).
class ChannelFreer {
 public:
  ChannelFreer(LIBSSH2_CHANNEL* channel, const std::function<int()>& wait) : channel_(channel), wait_(wait) {}
  ~ChannelFreer() {
    while (::libssh2_channel_free(channel_) == LIBSSH2_ERROR_EAGAIN) {
      if (wait_() <= 0) break;
    }
  }
  ChannelFreer(const ChannelFreer&) = delete;
  ChannelFreer& operator=(const ChannelFreer&) = delete;

 private:
  LIBSSH2_CHANNEL* channel_;
  std::function<int()> wait_;
};

}  // namespace

// --- operations ------------------------------------------------------------------------------

std::string SSHWrapper::Execute(const std::string& command) const {
  LIBSSH2_CHANNEL* channel;
  while ((channel = Ssh().channel_open(session_)) == nullptr) {
    if (::libssh2_session_last_errno(session_) != LIBSSH2_ERROR_EAGAIN) {
      ORVA_THROW(RuntimeException, "Failed to initialize ssh channel. Error: " + LastError());
    }
    WaitSocket();
  }
  ChannelFreer freer(channel, [this] { return WaitSocket(); });
  // Standard error is not collected; left unread it would fill the channel's window and stall
  // the command for good, so libssh2 drops it as it arrives.
  ::libssh2_channel_handle_extended_data2(channel, LIBSSH2_CHANNEL_EXTENDED_DATA_IGNORE);

  int rc;
  while ((rc = Ssh().channel_exec(channel, command.data(), static_cast<unsigned int>(command.size()))) ==
         LIBSSH2_ERROR_EAGAIN) {
    WaitSocket();
  }
  if (rc != 0) {
    ORVA_THROW(RuntimeException, "Failed to execute command: [" + command + "], error code: " + std::to_string(rc) +
                                     ", error: " + LastError());
  }

  std::string output;
  char chunk[kReceiveChunk];
  for (;;) {
    ssize_t got = Ssh().channel_read(channel, chunk, sizeof(chunk));
    if (got == LIBSSH2_ERROR_EAGAIN) {
      WaitSocket();
      continue;
    }
    if (got < 0) {
      ORVA_THROW(RuntimeException, "Failed to read the output of command: [" + command +
                                       "], error code: " + std::to_string(got));
    }
    output.append(chunk, static_cast<size_t>(got));
    // A short read ends the output: what the command has written by now is its answer.
    if (static_cast<size_t>(got) < sizeof(chunk)) break;
  }
  return output;
}

void SSHWrapper::CopyFileToRemote(const std::string& local, const std::string& remote) const {
  int fd = ::open(local.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) ORVA_THROW(RuntimeException, "Failed to open file: " + local);
  FdCloser closer(fd);
  struct stat info {};
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    ORVA_LOG_ERR("%s is not a readable regular file", local.c_str());
    ORVA_THROW(RuntimeException, "Failed to open file: " + local);
  }
  const int mode = static_cast<int>(info.st_mode & 0777);
  const auto size = static_cast<size_t>(info.st_size);

  LIBSSH2_CHANNEL* channel;
  while ((channel = ::libssh2_scp_send_ex(session_, remote.c_str(), mode, size, 0, 0)) == nullptr) {
    if (::libssh2_session_last_errno(session_) != LIBSSH2_ERROR_EAGAIN) {
      ORVA_THROW(RuntimeException, "Failed to initialize scp channel. Error: " + LastError());
    }
    WaitSocket();
  }
  ChannelFreer freer(channel, [this] { return WaitSocket(); });

  std::vector<char> buffer(std::min(kSendBuffer, std::max<size_t>(size, 1)));
  size_t sent = 0;
  while (sent < size) {
    const size_t filled = FillSendBuffer(fd, local, buffer, sent, size);
    WriteChannel(channel, buffer.data(), filled);
    sent += filled;
  }

  while (::libssh2_channel_send_eof(channel) == LIBSSH2_ERROR_EAGAIN) WaitSocket();
  while (::libssh2_channel_wait_eof(channel) == LIBSSH2_ERROR_EAGAIN) WaitSocket();
  while (::libssh2_channel_wait_closed(channel) == LIBSSH2_ERROR_EAGAIN) WaitSocket();
}

size_t SSHWrapper::FillSendBuffer(int fd, const std::string& local, std::vector<char>& buffer, size_t sent,
                                  size_t size) const {
  const size_t want = std::min(buffer.size(), size - sent);
  size_t filled = 0;
  while (filled < want) {
    const ssize_t got = ::read(fd, buffer.data() + filled, std::min(kSendChunk, want - filled));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) ORVA_THROW_IN(RuntimeException, "CopyFileToRemote", "Failed to read file: " + local + ", errno: " + ErrnoText(errno));
    if (got == 0) {
      // The file shrank while it was being sent; the peer expects the announced size.
      ORVA_THROW_IN(RuntimeException, "CopyFileToRemote", "File [" + local + "] ended after [" +
                    std::to_string(sent + filled) + "] of [" + std::to_string(size) + "] bytes.");
    }
    filled += static_cast<size_t>(got);
  }
  return filled;
}

void SSHWrapper::WriteChannel(LIBSSH2_CHANNEL* channel, const char* data, size_t length) const {
  while (length > 0) {
    const ssize_t written = Ssh().channel_write(channel, data, length);
    if (written == LIBSSH2_ERROR_EAGAIN) {
      WaitSocket();
      continue;
    }
    if (written < 0) ORVA_THROW_IN(RuntimeException, "CopyFileToRemote", "Failed to error code: " + std::to_string(written));
    data += written;
    length -= static_cast<size_t>(written);
  }
}

void SSHWrapper::CopyFileToRemote(const std::string& path) const { CopyFileToRemote(path, path); }

void SSHWrapper::CopyFileFromRemote(const std::string& remote, const std::string& local) const {
  // Written beside the final name and renamed into place once complete. Made first, so that a
  // local file that cannot be written costs no transfer.
  std::string temporary = local + ".XXXXXX";
  int fd = ::mkostemp(&temporary[0], O_CLOEXEC);
  if (fd < 0) ORVA_THROW(RuntimeException, "Failed to open file: " + local);
  FdCloser closer(fd);
  struct Unlinker {
    const std::string* path;
    ~Unlinker() {
      if (path != nullptr) ::unlink(path->c_str());
    }
  } unlinker{&temporary};

  libssh2_struct_stat info{};
  LIBSSH2_CHANNEL* channel;
  while ((channel = ::libssh2_scp_recv2(session_, remote.c_str(), &info)) == nullptr) {
    if (::libssh2_session_last_errno(session_) != LIBSSH2_ERROR_EAGAIN) {
      ORVA_THROW(RuntimeException, "Failed to initialize ssh channel. Error: " + LastError());
    }
    WaitSocket();
  }
  ChannelFreer freer(channel, [this] { return WaitSocket(); });

  if (::fchmod(fd, static_cast<mode_t>(info.st_mode & 0644)) != 0) {
    ORVA_THROW(RuntimeException, "Failed to set the mode of file: " + local + ", errno: " + ErrnoText(errno));
  }

  const auto size = static_cast<uint64_t>(info.st_size);
  uint64_t received = 0;
  char chunk[kReceiveChunk];
  while (received < size) {
    ssize_t got = Ssh().channel_read(channel, chunk, static_cast<size_t>(std::min<uint64_t>(sizeof(chunk), size - received)));
    if (got == LIBSSH2_ERROR_EAGAIN || (got == 0 && ::libssh2_channel_eof(channel) == 0)) {
      WaitSocket();
      continue;
    }
    if (got < 0) {
      ORVA_THROW(RuntimeException, "Failed to read file: " + remote + ", error code: " + std::to_string(got));
    }
    if (got == 0) {
      ORVA_THROW(RuntimeException, "Remote file [" + remote + "] ended after [" + std::to_string(received) +
                                       "] of [" + std::to_string(size) + "] bytes.");
    }
    const char* next = chunk;
    size_t left = static_cast<size_t>(got);
    while (left > 0) {
      ssize_t written = ::write(fd, next, left);
      if (written < 0 && errno == EINTR) continue;
      if (written < 0) ORVA_THROW(RuntimeException, "Failed to write file: " + local + ", errno: " + ErrnoText(errno));
      next += written;
      left -= static_cast<size_t>(written);
    }
    received += static_cast<uint64_t>(got);
  }
  if (closer.Close() != 0) {
    ORVA_THROW(RuntimeException, "Failed to write file: " + local + ", errno: " + ErrnoText(errno));
  }
  if (::rename(temporary.c_str(), local.c_str()) != 0) {
    ORVA_THROW(RuntimeException, "Failed to write file: " + local + ", errno: " + ErrnoText(errno));
  }
  unlinker.path = nullptr;
}

void SSHWrapper::CopyFileFromRemote(const std::string& path) const { CopyFileFromRemote(path, path); }

// --- clean-up --------------------------------------------------------------------------------

void SSHWrapper::ClearAll() noexcept {
  try {
    if (session_ != nullptr) {
      // A peer that stays silent for a whole socket wait does not hold the clean-up any longer.
      while (::libssh2_session_disconnect_ex(session_, SSH_DISCONNECT_BY_APPLICATION, "disconnect session.", "") ==
             LIBSSH2_ERROR_EAGAIN) {
        if (WaitSocket() <= 0) break;
      }
      while (::libssh2_session_free(session_) == LIBSSH2_ERROR_EAGAIN) {
        if (WaitSocket() <= 0) break;
      }
      session_ = nullptr;
    }
    if (socketCreated_) {
      if (Posix().close(socket_) != 0) ORVA_LOG_ERR("close of ssh socket failed, errno: [%d]", errno);
      socket_ = -1;
      socketCreated_ = false;
    }
    if (libssh2Initialised_) {
      std::lock_guard<std::mutex> lock(InitLock());
      ::libssh2_exit();
      libssh2Initialised_ = false;
    }
  } catch (const std::exception& e) {
    ORVA_LOG_ERR("Failed to clear ssh wrapper, error: %s", e.what());
  } catch (...) {
    ORVA_LOG_ERR("Failed to clear ssh wrapper, unknown error.");
  }
}

}  // namespace ORVA::MESH::SDK
