#include "orvamesh/utils/aes_gcm.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <climits>
#include <memory>

#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK {
namespace {

using Context = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

[[noreturn]] void Tampered() { ORVA_THROW_IN(Exception::RuntimeException, "Decrypt", "message failed authentication"); }

Context Start(const Key256& key, const AesGcm::Bytes& nonce, bool encrypt) {
  Context ctx(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
  if (!ctx || nonce.size() != AesGcm::kNonceSize ||
      EVP_CipherInit_ex(ctx.get(), EVP_aes_256_gcm(), nullptr, key.Data(), nonce.data(), encrypt ? 1 : 0) != 1) {
    if (nonce.size() != AesGcm::kNonceSize) {
      ORVA_THROW_IN(Exception::InvalidArgumentException, "AesGcm", "An AES-GCM nonce is 12 bytes");
    }
    ORVA_THROW_IN(Exception::RuntimeException, "AesGcm", "Fail to set up AES-256-GCM");
  }
  return ctx;
}

void CheckSize(size_t size) {
  if (size > static_cast<size_t>(INT_MAX)) ORVA_THROW_IN(Exception::InvalidArgumentException, "AesGcm", "Message too long");
}

}  // namespace

AesGcm::Bytes AesGcm::EncryptWithNonce(const Key256& key, const Bytes& nonce, const Bytes& plaintext, const Bytes& aad) {
  CheckSize(plaintext.size());
  CheckSize(aad.size());
  Context ctx = Start(key, nonce, true);
  Bytes out(plaintext.size() + kTagSize);
  int length = 0;
  if ((!aad.empty() && EVP_EncryptUpdate(ctx.get(), nullptr, &length, aad.data(), static_cast<int>(aad.size())) != 1) ||
      EVP_EncryptUpdate(ctx.get(), out.data(), &length, plaintext.data(), static_cast<int>(plaintext.size())) != 1 ||
      EVP_EncryptFinal_ex(ctx.get(), out.data() + length, &length) != 1 ||
      EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_GET_TAG, kTagSize, out.data() + plaintext.size()) != 1) {
    ORVA_THROW_IN(Exception::RuntimeException, "Encrypt", "AES-256-GCM encryption failed");
  }
  return out;
}

AesGcm::Bytes AesGcm::DecryptWithNonce(const Key256& key, const Bytes& nonce, const Bytes& sealed, const Bytes& aad) {
  if (sealed.size() < kTagSize || nonce.size() != kNonceSize) Tampered();
  CheckSize(sealed.size());
  CheckSize(aad.size());
  const size_t size = sealed.size() - kTagSize;
  Context ctx = Start(key, nonce, false);
  Bytes out(size);
  Bytes tag(sealed.end() - kTagSize, sealed.end());
  int length = 0;
  if ((!aad.empty() && EVP_DecryptUpdate(ctx.get(), nullptr, &length, aad.data(), static_cast<int>(aad.size())) != 1) ||
      EVP_DecryptUpdate(ctx.get(), out.data(), &length, sealed.data(), static_cast<int>(size)) != 1 ||
      EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_SET_TAG, kTagSize, tag.data()) != 1 ||
      EVP_DecryptFinal_ex(ctx.get(), out.data() + length, &length) != 1) {
    // The bytes decrypted so far were never authenticated: they do not leave this function.
    OPENSSL_cleanse(out.data(), out.size());
    Tampered();
  }
  return out;
}

AesGcm::Bytes AesGcm::Encrypt(const Key256& key, const Bytes& plaintext, const Bytes& aad) {
  Bytes nonce(kNonceSize);
  if (RAND_bytes(nonce.data(), static_cast<int>(nonce.size())) != 1) {
    ORVA_THROW(Exception::RuntimeException, "Fail to draw a random nonce");
  }
  Bytes sealed = EncryptWithNonce(key, nonce, plaintext, aad);
  nonce.insert(nonce.end(), sealed.begin(), sealed.end());
  return nonce;
}

AesGcm::Bytes AesGcm::Decrypt(const Key256& key, const Bytes& sealed, const Bytes& aad) {
  if (sealed.size() < kNonceSize + kTagSize) Tampered();
  const Bytes nonce(sealed.begin(), sealed.begin() + kNonceSize);
  return DecryptWithNonce(key, nonce, Bytes(sealed.begin() + kNonceSize, sealed.end()), aad);
}

}  // namespace ORVA::MESH::SDK
