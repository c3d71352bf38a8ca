#include "platform/config_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "support/temp_dir.h"

namespace {

using namespace orva::platform;
using orva::test::TempDir;

// What FileGetKeyValue returns, and the value it copied, for a buffer of `size` bytes.
std::pair<int, std::string> Get(const std::string& path, const std::string& key, std::size_t size = 64) {
  char buffer[64];
  const int rc = FileGetKeyValue(path, key, buffer, std::min(size, sizeof buffer));
  return {rc, rc > 0 ? buffer : ""};
}

TEST(KeyValueFile, ReadsTopLevelKeysTheWayTheRoutersFilesWriteThem) {
  TempDir dir;
  const std::string path = dir.WriteFile(
      "f.conf", "# comment=ignored\nserver_addr=\"fe80::1%3\"\nplain=value with spaces\nnetwork={\n\tscan_ssid=1\n"
                "\tssid=\"Mesh\"\n}\nempty=\"\"\ndup=first\ndup=second\nten=\"0123456789\"\n");
  const struct {
    const char* key;
    int rc;
    const char* value;
  } cases[] = {
      {"server_addr", 9, "fe80::1%3"}, {"plain", 17, "value with spaces"}, {"ssid", 4, "Mesh"},
      {"empty", 0, ""}, {"dup", 5, "first"}, {"comment", 0, ""}, {"missing", 0, ""},
  };
  for (const auto& c : cases) EXPECT_EQ(Get(path, c.key), std::make_pair(c.rc, std::string(c.value))) << c.key;
  EXPECT_EQ(Get(path, "ten", 10).first, -1) << "no room for the terminator";
  EXPECT_EQ(Get(path, "ten", 11), std::make_pair(10, std::string("0123456789")));
  EXPECT_EQ(Get(dir.Path(), "k").first, -1) << "a directory is no file";
  EXPECT_EQ(Get("/dev/null", "k").first, -1) << "nor is a device, which could block or never end";
}

TEST(KeyValueFile, SetAndRemoveLeaveEveryOtherLineAsItWasAndRefuseWhatWouldBreakTheLineFormat) {
  TempDir dir;
  const std::string path = dir.WriteFile("mesh.conf", "# kept\nserver_addr=\"old\"\n\nother=1\n");
  ASSERT_EQ(FileSetKeyValue(path, "server_addr", "192.0.2.1", ValueQuoting::kQuoted), 0);
  ASSERT_EQ(FileSetKeyValue(path, "S1", "Living room", ValueQuoting::kQuoted), 0);
  ASSERT_EQ(FileSetKeyValue(path, "plain", "a", ValueQuoting::kPlain), 0);
  for (const auto& [key, value] : {std::pair{"", "v"}, {"a=b", "v"}, {"a", "two\nlines"}}) {
    EXPECT_EQ(FileSetKeyValue(path, key, value, ValueQuoting::kPlain), -1) << key;
  }
  EXPECT_EQ(TempDir::ReadFile(path), "# kept\nserver_addr=\"192.0.2.1\"\n\nother=1\nS1=\"Living room\"\nplain=a\n");
  ASSERT_EQ(FileRemoveKey(path, "server_addr"), 0);
  ASSERT_EQ(FileRemoveKey(path, "never_there"), 0);
  EXPECT_EQ(TempDir::ReadFile(path), "# kept\n\nother=1\nS1=\"Living room\"\nplain=a\n");
}

TEST(KeyValueFile, CreatesAMissingFileButNotItsDirectoryAndKeepsAnExistingMode) {
  TempDir dir;
  const auto mode = [](const std::string& path) { return int(std::filesystem::status(path).permissions()); };
  EXPECT_EQ(FileSetKeyValue(dir.Join("new.conf"), "k", "v", ValueQuoting::kQuoted), 0);
  EXPECT_EQ(TempDir::ReadFile(dir.Join("new.conf")), "k=\"v\"\n");
  EXPECT_EQ(mode(dir.Join("new.conf")), 0644);
  const std::string secret = dir.WriteFile("secret.conf", "psk=1\n", 0600);
  EXPECT_EQ(FileSetKeyValue(secret, "psk", "2", ValueQuoting::kPlain), 0);
  EXPECT_EQ(mode(secret), 0600);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.Path()), {}), 2) << "no temporary file left";
  EXPECT_EQ(FileSetKeyValue(dir.Join("no/such/dir.conf"), "k", "v", ValueQuoting::kQuoted), -1);
}

TEST(SectionFile, KeepsSectionKeysInsideTheirSectionAndEnumeratesThemInFileOrder) {
  TempDir dir;
  std::string path = dir.WriteFile(
      "hyd.conf", "HybridBridgeInterfaceName=old\n\n[INTERFACE]\nForceGroupRelaying=1\n\n[STEERALG]\nKeep=me\n");
  ASSERT_EQ(FileSetKeyValue(path, "HybridBridgeInterfaceName", "br0", ValueQuoting::kPlain), 0);
  ASSERT_EQ(FileSetKeyValue(path, "ManagedInterfacesList", "eth0:ETHER", ValueQuoting::kPlain), 0);
  ASSERT_EQ(FileSetSectionValue(path, "INTERFACE", "ForceGroupRelaying", "0"), 0);
  ASSERT_EQ(FileSetSectionValue(path, "INTERFACE", "VlanIds", "1,2"), 0);
  ASSERT_EQ(FileSetSectionValue(path, "STAMON", "Mode", "x"), 0);
  EXPECT_EQ(TempDir::ReadFile(path),
            "HybridBridgeInterfaceName=br0\nManagedInterfacesList=eth0:ETHER\n\n[INTERFACE]\nForceGroupRelaying=0\n"
            "VlanIds=1,2\n\n[STEERALG]\nKeep=me\n\n[STAMON]\nMode=x\n");
  char buffer[16];
  EXPECT_EQ(FileGetSectionValue(path, "INTERFACE", "VlanIds", buffer, sizeof buffer), 3);
  EXPECT_STREQ(buffer, "1,2");
  EXPECT_EQ(FileGetSectionValue(path, "STEERALG", "VlanIds", buffer, sizeof buffer), 0);
  EXPECT_EQ(Get(path, "Keep").first, 0) << "section keys are not top-level";
  path = dir.WriteFile("lbd.conf", "top=1\n[WLANIF2G]\n; c=1\n=orphan\nb=2\na=\"1\"\nq=\"\n[ EMPTY ]\n[BANDMON]\nx=\n");
  std::vector<std::string> sections;
  ASSERT_EQ(FileListSections(path, sections), 0);
  EXPECT_EQ(sections, (std::vector<std::string>{"WLANIF2G", "EMPTY", "BANDMON"}));
  std::vector<std::pair<std::string, std::string>> entries;
  ASSERT_EQ(FileGetSection(path, "WLANIF2G", entries), 0);
  EXPECT_EQ(entries, (decltype(entries){{"b", "2"}, {"a", "1"}, {"q", "\""}}));
  ASSERT_EQ(FileGetSection(path, "BANDMON", entries), 0);
  EXPECT_EQ(entries, (decltype(entries){{"x", ""}}));
  EXPECT_EQ(FileGetSection(path, "STAMON", entries), -1);
  EXPECT_EQ(FileGetSection(dir.Join("absent"), "BANDMON", entries), -1);
}

}  // namespace
