#pragma once
// Lets sibling nodes log in to each other without a typed password: each node has an Ed25519
// key pair, installs its public key into the other node's authorized_keys once (over a session
// opened with the administrator's password), and from then on logs in with the key. A mesh
// known-hosts file pins every node's host key on first contact, so a node that shows a
// different key later is refused before any password or key is offered.
//
// Key files are written atomically (private 0600, public 0644) in OpenSSH's own formats, so
// ssh, ssh-keygen and libssh2 read them as they read their own.
#include <netinet/in.h>

#include <memory>
#include <string>

#include "orvamesh/export.h"
#include "orvamesh/utils/ssh_wrapper.h"

namespace ORVA::MESH::SDK::Utils {

// Creates a new key pair: `privatePath` and `privatePath` + ".pub", the public key ending in
// `comment` (letters, digits and "@._-" only). Refuses to replace an existing file of either
// name, a directory or a symlink. 0, or -1 with one log line and nothing written.
ORVA_EXPORT int CreateSshKeyPair(const std::string& privatePath, const std::string& comment);

// Reads the one-line public key of a ".pub" file. 0, or -1 with one log line.
ORVA_EXPORT int ReadSshPublicKey(const std::string& publicPath, std::string& line);

// Appends the public key line to the logged-in user's ~/.ssh/authorized_keys on the peer
// unless it is there already, creating ~/.ssh (0700) and the file (0600) as that user.
// 0, or -1 with one log line (an ill-formed key line is refused before anything is sent).
ORVA_EXPORT int InstallSshPublicKey(const SSHWrapper& session, const std::string& publicKeyLine);

// A file of "<node> SHA256:<digest>" lines, one per node (a node is named by its MAC or any
// other name without blanks). Changes rewrite the file atomically.
class ORVA_EXPORT MeshKnownHosts {
 public:
  explicit MeshKnownHosts(std::string path);

  // True with the fingerprint when the node is recorded; throws RuntimeException when the file
  // exists but cannot be read or holds a line of another form.
  bool Lookup(const std::string& node, SSHWrapper::HostKeyFingerprint& fingerprint) const;
  // Records (or replaces, when an administrator re-keyed the node on purpose) the node's key.
  void Record(const std::string& node, const SSHWrapper::HostKeyFingerprint& fingerprint) const;

  // Opens a session to the node: with its recorded key pinned, or, on first contact, recording
  // the key it shows. Throws as SSHWrapper does; a changed key is refused before log-in.
  std::unique_ptr<SSHWrapper> Connect(const std::string& node, const sockaddr_in6& addr,
                                      const std::string& user, const SSHWrapper::KeyFiles& keys) const;
  std::unique_ptr<SSHWrapper> Connect(const std::string& node, const sockaddr_in6& addr,
                                      const std::string& user, const std::string& password) const;

 private:
  template <typename Credential>
  std::unique_ptr<SSHWrapper> ConnectWith(const std::string& node, const sockaddr_in6& addr,
                                          const std::string& user, const Credential& credential) const;
  std::string path_;
};

}  // namespace ORVA::MESH::SDK::Utils
