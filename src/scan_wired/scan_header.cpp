#include "orvamesh/scan_wired/scan_header.h"

#include <string>

#include "orvamesh/serialization/int_serialization.h"
#include "orvamesh/serialization/serializer.h"
#include "orvamesh/base/exception.h"

namespace ORVA::MESH::SDK::ScanWired {

namespace {
using VersionSerializer = Serialization::Serializer<unsigned short, Serialization::UInt16Serialization>;
constexpr unsigned long kSignatureSize = 4;
}  // namespace

const std::vector<unsigned char>& ScanHeader::Signature() {
  static const std::vector<unsigned char> signature{0xAB, 0xCD, 0xEF, 0xAB};
  return signature;
}

ScanHeader::ScanHeader(unsigned short version, unsigned short payloadSize)
    : signature_(Signature()), version_(version), payloadSize_(payloadSize) {}

ScanHeader::ScanHeader(const std::vector<unsigned char>& signature, unsigned short version,
                       unsigned short payloadSize)
    : signature_(signature), version_(version), payloadSize_(payloadSize) {
  if (signature_.size() != kSignatureSize) {
    ORVA_THROW(Exception::InvalidArgumentException,
               "Incorrect signature size [" + std::to_string(signature_.size()) + "]");
  }
  if (signature_ != Signature()) {
    ORVA_THROW(Exception::RuntimeException, "Signature mistmatch");
  }
}

std::shared_ptr<const std::vector<unsigned char>> ScanHeader::SerializeHeader() const {
  auto header = std::make_shared<std::vector<unsigned char>>();
  header->reserve(kHeaderSize);
  header->insert(header->end(), signature_.begin(), signature_.end());
  for (unsigned short value : {version_, payloadSize_}) {
    const auto bytes = Serialization::UInt16Serialization().Serialize(value);
    header->insert(header->end(), bytes->begin(), bytes->end());
  }
  if (header->size() != kHeaderSize) {
    ORVA_THROW(Exception::LogicException, "Serialized buffer size does not match header spec");
  }
  return header;
}

std::pair<ScanHeader, unsigned long> ScanHeader::ParseHeader(const std::vector<unsigned char>& packet,
                                                             unsigned long offset) {
  if (packet.size() < kHeaderSize || offset > packet.size() - kHeaderSize) {
    ORVA_THROW(Exception::MalformedPacketException,
               "Recieved packet size [" + std::to_string(packet.size()) + "] smaller than header size");
  }
  const unsigned char* at = packet.data() + offset;
  std::vector<unsigned char> signature(at, at + kSignatureSize);
  const unsigned short version = VersionSerializer::DeserializeWithOffset(at + 4, 2).first;
  const unsigned short payloadSize = VersionSerializer::DeserializeWithOffset(at + 6, 2).first;
  return {ScanHeader(signature, version, payloadSize), offset + kHeaderSize};
}

}  // namespace ORVA::MESH::SDK::ScanWired
