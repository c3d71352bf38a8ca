#pragma once
// A byte buffer as `hexdump -C` prints it: offset, sixteen bytes in two groups of eight, the
// printable characters between bars, a "*" for rows that repeat the row before, and the final
// offset. Packet dumps at LOG_DEBUG read the same as a capture dumped by hand.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK {

ORVA_EXPORT std::string HexDump(const uint8_t* data, size_t size);
ORVA_EXPORT std::string HexDump(const std::vector<uint8_t>& bytes);
ORVA_EXPORT std::string HexDump(const std::string& bytes);

}  // namespace ORVA::MESH::SDK
