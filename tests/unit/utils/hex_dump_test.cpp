#include <gtest/gtest.h>

#include <random>

#include "orvamesh/utils/hex_dump.h"
#include "platform/process_runner.h"
#include "support/temp_dir.h"

namespace {

using ORVA::MESH::SDK::HexDump;

// What the real hexdump -C prints for the same bytes.
std::string Reference(const std::string& bytes) {
  orva::test::TempDir dir;
  const std::string path = dir.WriteFile("bytes", bytes);
  std::string out;
  EXPECT_EQ(orva::platform::RunProgramCapture({"hexdump", "-C", path}, out), 0);
  return out;
}

TEST(HexDump, PrintsExactlyWhatHexdumpPrints) {
  std::string random(4096, '\0');
  std::mt19937 generator(4096);
  for (auto& c : random) c = static_cast<char>(generator());
  const std::vector<std::pair<const char*, std::string>> cases = {
      {"nothing", ""},
      {"sixteen", std::string(16, 'q')},
      {"seventeen", std::string(17, 'q')},
      {"repeats then a tail", std::string(48, 'z') + "tail"},
      {"repeats, a change, repeats", std::string(64, 'a') + std::string(16, 'b') + std::string(48, 'a')},
      {"4 KiB of random bytes, every value among them", random},
  };
  for (const auto& [name, bytes] : cases) EXPECT_EQ(HexDump(bytes), Reference(bytes)) << name;
}

}  // namespace
