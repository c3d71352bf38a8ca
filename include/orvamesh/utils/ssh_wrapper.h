#pragma once
// One password-authenticated SSH session to another mesh node, used to run commands on it and
// to copy files to and from it by SCP. The node is addressed by an IPv6 socket address, normally
// link-local with the outgoing interface as scope id; the SSH port is whatever the address
// carries. libssh2 runs in non-blocking mode on the object's own socket.
//
// Every failure, in the constructor or in an operation, is an Exception::RuntimeException whose
// location names the operation. A failed constructor has released whatever it had acquired.
// An SSHWrapper is used by one thread at a time; distinct objects may live on distinct threads.
//
// Host-key pinning: the three-argument constructor accepts whatever host key the peer shows,
// as it always has. Callers that know the node's key should pass its SHA-256 fingerprint to the
// four-argument constructor; when the key the peer shows does not match, the constructor throws
// right after the key exchange, before the password is sent.
//
// Execute: the output of a command is what it has written to its standard output by the time a
// read returns less than a full 8192-byte chunk. A command that writes in bursts separated by
// pauses is therefore cut after the first burst that does not fill a chunk; commands that must
// be read whole should write their output in one go. Standard error is not collected, and the
// command's exit status is not reported (a failing command simply yields what it printed).
//
// CopyFileFromRemote: the local file is written beside its final name and renamed into place
// only when the whole file has arrived, so a failed copy leaves an existing local file as it
// was. The new file gets mode 0644 narrowed by the remote file's mode (remote & 0644: a remote
// 0600 stays 0600, a remote 0755 becomes 0644), whatever the process umask. A remote file that
// ends before the size announced for it is an error, not a silently short local file.
#include <netinet/in.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "orvamesh/export.h"

struct _LIBSSH2_SESSION;
struct _LIBSSH2_CHANNEL;

namespace ORVA::MESH::SDK {

class ORVA_EXPORT SSHWrapper {
 public:
  // The SHA-256 digest of a host key, in the text form OpenSSH prints
  // (`ssh-keygen -l -E sha256 -f key.pub`): "SHA256:" followed by 43 base64 characters
  // (trailing "=" padding accepted). Anything else throws Exception::InvalidArgumentException.
  class ORVA_EXPORT HostKeyFingerprint {
   public:
    explicit HostKeyFingerprint(const std::string& text);
    explicit HostKeyFingerprint(const std::array<uint8_t, 32>& digest) : digest_(digest) {}

    const std::array<uint8_t, 32>& Digest() const noexcept { return digest_; }
    // "SHA256:" and the unpadded base64 digest.
    std::string ToString() const;
    bool operator==(const HostKeyFingerprint& other) const noexcept { return digest_ == other.digest_; }
    bool operator!=(const HostKeyFingerprint& other) const noexcept { return !(*this == other); }

   private:
    std::array<uint8_t, 32> digest_;
  };

  // Connects (waiting at most 5 seconds for the TCP connection), performs the key exchange and
  // logs in with the password. Throws on any failure; an empty user or password fails before
  // any socket is made.
  SSHWrapper(const sockaddr_in6& addr, const std::string& user, const std::string& password);
  // The same, but the peer's host key must have the given fingerprint.
  SSHWrapper(const sockaddr_in6& addr, const std::string& user, const std::string& password,
             const HostKeyFingerprint& expectedHostKey);
  // A key pair for public-key log-in: an OpenSSH private key file (unencrypted) and its ".pub"
  // file. Both must be regular files, not symlinks; anything else fails before connecting.
  struct ORVA_EXPORT KeyFiles {
    std::string privateKey;
    std::string publicKey;
  };
  // Log-in with a key pair instead of a password, optionally pinning the host key as above.
  SSHWrapper(const sockaddr_in6& addr, const std::string& user, const KeyFiles& keys);
  SSHWrapper(const sockaddr_in6& addr, const std::string& user, const KeyFiles& keys,
             const HostKeyFingerprint& expectedHostKey);
  // Disconnects and releases the session and the socket; never throws.
  ~SSHWrapper();
  SSHWrapper(const SSHWrapper&) = delete;
  SSHWrapper& operator=(const SSHWrapper&) = delete;

  // The fingerprint of the host key the peer showed in the key exchange.
  const HostKeyFingerprint& HostKey() const noexcept { return hostKey_; }
  // Runs the command over an "exec" channel and returns what it wrote to standard output.
  std::string Execute(const std::string& command) const;
  // Sends a local file by SCP, keeping its permission bits.
  void CopyFileToRemote(const std::string& local, const std::string& remote) const;
  void CopyFileToRemote(const std::string& path) const;
  // Fetches a file by SCP (see the mode and short-file rules above).
  void CopyFileFromRemote(const std::string& remote, const std::string& local) const;
  void CopyFileFromRemote(const std::string& path) const;

 private:
  void Construct(const HostKeyFingerprint* expectedHostKey);
  void Validate() const;
  void InitInternal();
  void CreateSocket();
  void InitSession();
  void ConnectSession(const HostKeyFingerprint* expectedHostKey);
  void CheckHostKey(const HostKeyFingerprint* expectedHostKey);
  void Authenticate();
  int WaitSocket() const;
  size_t FillSendBuffer(int fd, const std::string& local, std::vector<char>& buffer, size_t sent, size_t size) const;
  void WriteChannel(_LIBSSH2_CHANNEL* channel, const char* data, size_t length) const;
  std::string GetIPv6String() const;
  std::string LastError() const;
  void ClearAll() noexcept;

  int socket_ = -1;
  sockaddr_in6 addr_;
  std::string user_;
  std::string password_;
  KeyFiles keys_;
  HostKeyFingerprint hostKey_{std::array<uint8_t, 32>{}};
  _LIBSSH2_SESSION* session_ = nullptr;
  bool libssh2Initialised_ = false;
  bool socketCreated_ = false;
};

}  // namespace ORVA::MESH::SDK
