#include "orvamesh/utils/hex_dump.h"

#include <cstdio>
#include <cstring>

namespace ORVA::MESH::SDK {
namespace {

constexpr size_t kRow = 16;

void AppendOffset(std::string& out, size_t offset) {
  char text[24];  // room for a 64-bit offset
  std::snprintf(text, sizeof text, "%08zx", offset);
  out += text;
}

void AppendRow(std::string& out, const uint8_t* row, size_t offset, size_t count) {
  static const char* hex = "0123456789abcdef";
  AppendOffset(out, offset);
  out += "  ";
  for (size_t i = 0; i < kRow; ++i) {
    if (i < count) {
      out += hex[row[i] >> 4];
      out += hex[row[i] & 15];
      out += ' ';
    } else {
      out += "   ";
    }
    if (i == 7) out += ' ';
  }
  out += " |";
  for (size_t i = 0; i < count; ++i) out += row[i] >= 0x20 && row[i] < 0x7f ? static_cast<char>(row[i]) : '.';
  out += "|\n";
}

}  // namespace

std::string HexDump(const uint8_t* data, size_t size) {
  std::string out;
  if (size == 0) return out;
  out.reserve((size / kRow + 2) * 80);
  bool starred = false;
  for (size_t offset = 0; offset < size; offset += kRow) {
    const size_t count = size - offset < kRow ? size - offset : kRow;
    // A full row equal to the one before is shown once as "*", however many follow.
    const bool repeat = offset > 0 && count == kRow && std::memcmp(data + offset, data + offset - kRow, kRow) == 0;
    if (repeat) {
      if (!starred) out += "*\n";
      starred = true;
      continue;
    }
    starred = false;
    AppendRow(out, data + offset, offset, count);
  }
  AppendOffset(out, size);
  out += '\n';
  return out;
}

std::string HexDump(const std::vector<uint8_t>& bytes) { return HexDump(bytes.data(), bytes.size()); }

std::string HexDump(const std::string& bytes) {
  return HexDump(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace ORVA::MESH::SDK
