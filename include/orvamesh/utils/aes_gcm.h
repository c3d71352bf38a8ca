#pragma once
// AES-256-GCM for secrets the mesh keeps or sends (credentials in a backup, a joining node's
// configuration). Encrypt returns nonce (12 random bytes) + ciphertext + tag (16 bytes);
// Decrypt returns the plaintext, or throws one RuntimeException, "message failed
// authentication", for every kind of tampering (truncated, wrong key, changed nonce,
// ciphertext, tag or associated data), and never returns unauthenticated bytes.
#include <cstdint>
#include <vector>
#include "orvamesh/export.h"
#include "orvamesh/utils/key.h"

namespace ORVA::MESH::SDK {

class ORVA_EXPORT AesGcm {
 public:
  using Bytes = std::vector<uint8_t>;
  static constexpr size_t kNonceSize = 12;
  static constexpr size_t kTagSize = 16;

  static Bytes Encrypt(const Key256& key, const Bytes& plaintext, const Bytes& aad = {});
  static Bytes Decrypt(const Key256& key, const Bytes& sealed, const Bytes& aad = {});

  // The same with the nonce given and kept apart (ciphertext + tag), for published test
  // vectors and protocols that carry the nonce themselves. A nonce must never repeat under
  // one key.
  static Bytes EncryptWithNonce(const Key256& key, const Bytes& nonce, const Bytes& plaintext, const Bytes& aad = {});
  static Bytes DecryptWithNonce(const Key256& key, const Bytes& nonce, const Bytes& sealed, const Bytes& aad = {});
};

}  // namespace ORVA::MESH::SDK
