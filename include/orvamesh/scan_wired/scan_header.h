#pragma once
// The 8-byte header in front of every wired scan packet:
//   offset 0, 4 bytes: signature AB CD EF AB
//   offset 4, 2 bytes: version, big-endian (written as 1, not checked on receipt)
//   offset 6, 2 bytes: payload size, big-endian: the number of bytes after the header
#include <memory>
#include <utility>
#include <vector>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::ScanWired {

class ORVA_EXPORT ScanHeader {
 public:
  static constexpr unsigned long kHeaderSize = 8;
  static const std::vector<unsigned char>& Signature();

  // A header with the fixed signature.
  ScanHeader(unsigned short version, unsigned short payloadSize);
  // Validates `signature`: a length other than 4 throws Exception::InvalidArgumentException
  // "Incorrect signature size [n]"; 4 bytes other than AB CD EF AB throw
  // Exception::RuntimeException "Signature mistmatch".
  ScanHeader(const std::vector<unsigned char>& signature, unsigned short version, unsigned short payloadSize);

  // The 8 header bytes.
  std::shared_ptr<const std::vector<unsigned char>> SerializeHeader() const;

  // Reads a header at `offset` of `packet`; returns it and the offset just after it. Fewer than
  // offset + 8 bytes throw Exception::MalformedPacketException "Recieved packet size [n] smaller
  // than header size"; a bad signature throws as the validating constructor does.
  static std::pair<ScanHeader, unsigned long> ParseHeader(const std::vector<unsigned char>& packet,
                                                          unsigned long offset);

  const std::vector<unsigned char>& GetSignature() const noexcept { return signature_; }
  unsigned short GetVersion() const noexcept { return version_; }
  unsigned short GetPayloadSize() const noexcept { return payloadSize_; }

 private:
  std::vector<unsigned char> signature_;
  unsigned short version_;
  unsigned short payloadSize_;
};

}  // namespace ORVA::MESH::SDK::ScanWired
