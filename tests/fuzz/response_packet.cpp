// Reads arbitrary bytes as responses with one fixed key pair, two ways: as a whole datagram
// (header, payload size and the sealed box), and, since mutated ciphertext never opens, as a
// field stream that is sealed here first so that the fuzzer reaches the field parser too.
#include <sodium.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <msgpack.hpp>
#include <vector>

#include "orvamesh/scan_wired/scan_header.h"
#include "orvamesh/base/exception.h"
#include "scan_wired/wired_scan_packet.h"
#include "quiet_log.h"

using namespace ORVA::MESH::SDK;
using Bytes = std::vector<unsigned char>;

namespace {

struct FixedKeys {
  Bytes publicKey = Bytes(crypto_box_PUBLICKEYBYTES);
  Bytes secretKey = Bytes(crypto_box_SECRETKEYBYTES);
  FixedKeys() {
    ScanWired::InitSodium();
    const Bytes seed(crypto_box_SEEDBYTES, 0x5C);
    crypto_box_seed_keypair(publicKey.data(), secretKey.data(), seed.data());
    SilenceLibraryLog();
  }
};

void Read(const Bytes& datagram, const FixedKeys& keys) {
  try {
    const auto response = ScanWired::ReadResponsePacket(datagram, keys.publicKey, keys.secretKey);
    const auto again = ScanWired::ReadResponsePacket(ScanWired::BuildResponsePacket(response, keys.publicKey),
                                                     keys.publicKey, keys.secretKey);
    if (again.GetUnique() != response.GetUnique() || again.GetUptime() != response.GetUptime()) std::abort();
  } catch (const Exception::MalformedPacketException&) {
  } catch (const msgpack::type_error&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const FixedKeys keys;
  const Bytes input(data, data + size);
  Read(input, keys);
  if (size + crypto_box_SEALBYTES <= ScanWired::kMaxPacketSize - ScanWired::ScanHeader::kHeaderSize) {
    const auto sealed = ScanWired::EncryptPayload(std::make_shared<const Bytes>(input), keys.publicKey);
    Read(ScanWired::Detail::FramePayload(sealed), keys);
  }
  return 0;
}
