// Reads arbitrary datagrams as probes, the way a listener does. A probe that reads must build
// back into the same datagram: the reader accepts nothing the writer would not produce, apart
// from field order, duplicates, unknown types and ext header forms.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <msgpack.hpp>
#include <vector>

#include "orvamesh/base/exception.h"
#include "scan_wired/wired_scan_packet.h"
#include "quiet_log.h"

using namespace ORVA::MESH::SDK;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  SilenceLibraryLog();
  const std::vector<unsigned char> datagram(data, data + size);
  try {
    const ScanWired::ProbePacket probe = ScanWired::ReadProbePacket(datagram);
    const auto rebuilt = ScanWired::ReadProbePacket(ScanWired::BuildProbePacket(probe));
    if (rebuilt.GetPublicKey() != probe.GetPublicKey()) std::abort();
  } catch (const Exception::MalformedPacketException&) {
  } catch (const msgpack::type_error&) {
  }
  return 0;
}
