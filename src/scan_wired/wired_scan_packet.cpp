#include "scan_wired/wired_scan_packet.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>

#include <cerrno>
#include <optional>

#include "orvamesh/scan_wired/scan_header.h"
#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "orvamesh/utils/hex_dump.h"

namespace ORVA::MESH::SDK::ScanWired {

void InitSodium() {
  // A function-local static is initialised exactly once even when threads race here.
  static const int status = sodium_init();
  if (status < 0) {
    ORVA_THROW(Exception::RuntimeException, "Fail to initialize libsodium");
  }
}

namespace Detail {

std::vector<unsigned char> FramePayload(const std::vector<unsigned char>& payload) {
  const auto header = ScanHeader(1, static_cast<unsigned short>(payload.size())).SerializeHeader();
  std::vector<unsigned char> packet;
  packet.reserve(header->size() + payload.size());
  packet.insert(packet.end(), header->begin(), header->end());
  packet.insert(packet.end(), payload.begin(), payload.end());
  return packet;
}

std::string PayloadLimitMessage(unsigned long payloadSize) {
  return "Payload size [" + std::to_string(payloadSize) + "] exceed header payload field upper limit [" +
         std::to_string(kMaxPayloadSize) + "]";
}

std::string PacketLimitMessage(unsigned long packetSize) {
  return "Packet size [" + std::to_string(packetSize) + "] exceed spec upper limit [" +
         std::to_string(kMaxPacketSize) + "]";
}

std::string HeaderProblem(const std::vector<unsigned char>& datagram) {
  std::optional<ScanHeader> header;
  try {
    header = ScanHeader::ParseHeader(datagram, 0).first;
  } catch (const Exception::MalformedPacketException&) {
    throw;
  } catch (const Exception::RuntimeException& e) {
    // A foreign signature: somebody else's datagram, to be dropped like any malformed one.
    return e.what();
  }
  const unsigned long actual = datagram.size() - ScanHeader::kHeaderSize;
  if (actual == header->GetPayloadSize()) return {};
  return "Mistmatch between received packet payload size [" + std::to_string(actual) +
         "] and payload size in header [" + std::to_string(header->GetPayloadSize()) + "]";
}

std::string TrailingBytesMessage() { return "Trailing bytes in packet"; }

std::vector<unsigned char> ReceiveDatagram(int fd, sockaddr_storage& source, std::size_t bufferSize,
                                           const Exception::ExceptionLocation& where) {
  std::vector<unsigned char> buffer(bufferSize);
  socklen_t sourceLength = sizeof(source);
  ssize_t length;
  do {
    sourceLength = sizeof(source);
    length = ::recvfrom(fd, buffer.data(), buffer.size(), MSG_TRUNC, reinterpret_cast<sockaddr*>(&source),
                        &sourceLength);
  } while (length == -1 && errno == EINTR);
  if (length == -1) {
    throw Exception::RuntimeException(where, Exception::WithErrno("Fail to receive packet", errno));
  }
  if (sourceLength > sizeof(source)) {
    throw Exception::RuntimeException(where, "Source address size [" + std::to_string(sizeof(source)) +
                                                 "] too small, recvfrom returned address size [" +
                                                 std::to_string(sourceLength) + "]");
  }
  if (static_cast<std::size_t>(length) > bufferSize - 1) {
    throw Exception::MalformedPacketException(where, "Received packet size [" + std::to_string(length) +
                                                         "] larger than buffer limit [" +
                                                         std::to_string(bufferSize) + "]");
  }
  buffer.resize(static_cast<std::size_t>(length));
  if (Log::Enabled(LOG_DEBUG)) {
    ORVA_LOG_DEBUG("Received %zu bytes:\n%s", buffer.size(), HexDump(buffer.data(), buffer.size()).c_str());
  }
  return buffer;
}

void SendDatagram(int fd, const std::string& address, unsigned short port, unsigned int interfaceIndex,
                  const std::vector<unsigned char>& buffer, const Exception::ExceptionLocation& where) {
  sockaddr_in6 destination{};
  destination.sin6_family = AF_INET6;
  if (::inet_pton(AF_INET6, address.c_str(), &destination.sin6_addr) != 1) {
    throw Exception::RuntimeException(where, "Ill-formed address [" + address + "]");
  }
  destination.sin6_port = htons(port);
  destination.sin6_scope_id = interfaceIndex;
  ssize_t sent;
  do {
    sent = ::sendto(fd, buffer.data(), buffer.size(), 0, reinterpret_cast<const sockaddr*>(&destination),
                    sizeof(destination));
  } while (sent == -1 && errno == EINTR);
  if (sent == -1) throw Exception::RuntimeException(where, Exception::WithErrno("Fail to send message", errno));
  if (static_cast<size_t>(sent) != buffer.size()) {
    throw Exception::RuntimeException(where, "Partial message sent, sent length [" + std::to_string(sent) +
                                                 "], message size [" + std::to_string(buffer.size()) + "]");
  }
}

unsigned int InterfaceIndexOf(const std::string& name, const Exception::ExceptionLocation& where) {
  const unsigned int index = ::if_nametoindex(name.c_str());
  if (index == 0) throw Exception::InvalidArgumentException(where, "Interface [" + name + "] does not exist");
  return index;
}

unsigned int CheckedInterfaceIndex(unsigned int index, const Exception::ExceptionLocation& where) {
  char name[IF_NAMESIZE];
  if (::if_indextoname(index, name) != nullptr) return index;
  if (errno == ENXIO || errno == ENODEV) {
    throw Exception::InvalidArgumentException(where,
                                              "Interface with index [" + std::to_string(index) + "] does not exist");
  }
  throw Exception::RuntimeException(where, Exception::WithErrno("Fail to check if interface exist", errno));
}

}  // namespace Detail

}  // namespace ORVA::MESH::SDK::ScanWired
