#pragma once
// Building and reading whole wired scan datagrams (header + payload), for the scan senders and
// receivers. Not installed.
//
// Each function is defined in the source file of the role that uses it, so that its failures
// carry that role's location:
//   BuildProbePacket      scan_sender.cpp             reported as SendProbe
//   ReadProbePacket       scan_listener.cpp           reported as ParsePacket
//   EncryptPayload        scan_responder.cpp
//   BuildResponsePacket   scan_responder.cpp          reported as Respond
//   DecryptPayload        scan_response_receiver.cpp
//   ReadResponsePacket    scan_response_receiver.cpp  reported as ParsePacket
// All are reentrant and keep no state, so IO threads may call them concurrently. They throw
// only the exceptions listed; a thrown call has produced nothing.
//
// Receivers: check the datagram against their receive buffer first (the read functions take
// any length), then catch Exception::MalformedPacketException to log and drop the datagram.
// msgpack::type_error (a payload element that is not an ext object) is deliberately not a
// malformed packet and reaches the receive loop unchanged. The trailing-bytes check cannot
// fire today, as the field stream reader always reads to the end; it guards against a
// reader that stops early.
// Senders: send the returned bytes as one datagram; the exceptions go to the caller.
#include <sodium.h>

#include <sys/socket.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "orvamesh/base/exception.h"
#include "orvamesh/scan_wired/probe_packet.h"
#include "orvamesh/scan_wired/response_packet.h"

namespace ORVA::MESH::SDK::ScanWired {

constexpr unsigned long kMaxPayloadSize = 65535;  // the header's 16-bit payload size field
constexpr unsigned long kMaxPacketSize = 8192;    // header + payload, the protocol's limit
constexpr unsigned long kKeySize = crypto_box_PUBLICKEYBYTES;
static_assert(crypto_box_SECRETKEYBYTES == kKeySize, "both keys of a scan are 32 bytes");
constexpr unsigned long kSealOverhead = crypto_box_SEALBYTES;  // 48

// Initialises libsodium once per process; safe to call from any thread, cheap after the first
// call. Everything below calls it; call it yourself before crypto_box_keypair. Throws
// Exception::RuntimeException "Fail to initialize libsodium" when the library cannot start.
void InitSodium();

// Field stream → header(1, payload size) + stream. Throws Exception::RuntimeException
// "Payload size [n] exceed header payload field upper limit [65535]" or
// "Packet size [n] exceed spec upper limit [8192]".
std::vector<unsigned char> BuildProbePacket(const ProbePacket& probe);

// A received datagram → the probe it carries. Throws Exception::MalformedPacketException for
// a short datagram, a payload size other than the header's ("Mistmatch between received packet
// payload size [n] and payload size in header [m]"), a foreign signature (the text holds
// "Signature mistmatch"), a bad field stream and trailing bytes; and lets msgpack::type_error
// through for a payload element that is not an ext object.
ProbePacket ReadProbePacket(const std::vector<unsigned char>& datagram);

// Seals `payload` to `publicKey` (anonymous sealed box): payload size + 48 bytes. A key that is
// not 32 bytes throws Exception::InvalidArgumentException "Invalid key size"; a failing seal
// (a degenerate key) throws Exception::RuntimeException "Fail to encrypt payload".
std::vector<unsigned char> EncryptPayload(std::shared_ptr<const std::vector<unsigned char>> payload,
                                          const std::vector<unsigned char>& publicKey);

// Field stream → sealed to `publicKey` → header(1, sealed size) + sealed stream. Throws as
// EncryptPayload and with the two size messages of BuildProbePacket.
std::vector<unsigned char> BuildResponsePacket(const ResponsePacket& response,
                                               const std::vector<unsigned char>& publicKey);

// Opens the sealed box in packet[offset..end) with the key pair. Throws
// Exception::LogicException "ciphertext buffer offset exceed buffer size" for an offset past
// the end, Exception::MalformedPacketException "ciphertext lesser than seal size" for fewer than
// 48 bytes and "Fail to decrypt response" when the box does not open (wrong key, altered bytes);
// keys that are not 32 bytes throw Exception::InvalidArgumentException "Invalid key size".
std::vector<unsigned char> DecryptPayload(const std::vector<unsigned char>& packet, unsigned long offset,
                                          const std::vector<unsigned char>& publicKey,
                                          const std::vector<unsigned char>& secretKey);

// A received datagram → the response it carries, opened with the scan's key pair. Throws as
// ReadProbePacket and DecryptPayload.
ResponsePacket ReadResponsePacket(const std::vector<unsigned char>& datagram,
                                  const std::vector<unsigned char>& publicKey,
                                  const std::vector<unsigned char>& secretKey);

namespace Detail {
// Header(1, payload.size()) + payload; the payload must fit the header (checked by callers).
std::vector<unsigned char> FramePayload(const std::vector<unsigned char>& payload);
std::string PayloadLimitMessage(unsigned long payloadSize);
std::string PacketLimitMessage(unsigned long packetSize);
// What is wrong with the datagram's header: empty when nothing is, else the text to report
// as malformed (a foreign signature, or a payload size other than the header's). A datagram
// too short for a header throws ScanHeader::ParseHeader's MalformedPacketException.
std::string HeaderProblem(const std::vector<unsigned char>& datagram);
std::string TrailingBytesMessage();

// One datagram from a UDP socket and its source, for the listener and the response receiver.
// Faults carry `where`, the calling receiver's own location. The limit is one byte short of
// `bufferSize`: receivers in the field refuse a datagram that fills their buffer exactly, so
// ours do too (a MalformedPacketException, which drops just that datagram).
std::vector<unsigned char> ReceiveDatagram(int fd, sockaddr_storage& source, std::size_t bufferSize,
                                           const Exception::ExceptionLocation& where);

// Sends one datagram to `address` (an IPv6 text) on the interface; faults carry `where`, the
// sender's or responder's own location.
void SendDatagram(int fd, const std::string& address, unsigned short port, unsigned int interfaceIndex,
                  const std::vector<unsigned char>& buffer, const Exception::ExceptionLocation& where);

// The scan roles' interface checks, reported at `where`, the role's constructor.
// The named interface's index, or InvalidArgumentException "Interface [name] does not exist".
unsigned int InterfaceIndexOf(const std::string& name, const Exception::ExceptionLocation& where);
// `index` itself when it names an interface; InvalidArgumentException "Interface with index [n]
// does not exist" when none has it, RuntimeException with errno when the check itself fails.
unsigned int CheckedInterfaceIndex(unsigned int index, const Exception::ExceptionLocation& where);
}  // namespace Detail

}  // namespace ORVA::MESH::SDK::ScanWired
