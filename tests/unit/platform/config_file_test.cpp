#include "platform/config_file.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/temp_dir.h"

namespace {

using namespace orva::platform;
using orva::test::TempDir;

std::string Get(const std::string& path, const std::string& key, int* rc = nullptr) {
  char buffer[64];
  int r = FileGetKeyValue(path, key, buffer, sizeof buffer);
  if (rc != nullptr) *rc = r;
  return r > 0 ? std::string(buffer) : std::string();
}

TEST(KeyValueFile, ReadsTopLevelKeysTheWayTheRoutersFilesWriteThem) {
  TempDir dir;
  std::string path = dir.WriteFile("f.conf", "# comment=ignored\nserver_addr=\"fe80::1%3\"\nplain=value with spaces\n"
                                             "network={\n\tscan_ssid=1\n\tssid=\"Mesh\"\n}\nempty=\"\"\ndup=first\n"
                                             "dup=second\n[SECTION]\ninside=hidden\n");
  const struct {
    const char* key;
    int rc;
    const char* value;
  } cases[] = {
      {"server_addr", 9, "fe80::1%3"}, {"plain", 17, "value with spaces"}, {"ssid", 4, "Mesh"},
      {"empty", 0, ""},                {"dup", 5, "first"},                {"inside", 0, ""},
      {"comment", 0, ""},              {"missing", 0, ""},
  };
  for (const auto& c : cases) {
    int rc = 0;
    EXPECT_EQ(Get(path, c.key, &rc), c.value) << c.key;
    EXPECT_EQ(rc, c.rc) << c.key;
  }
}

TEST(KeyValueFile, RefusesValuesLongerThanTheBufferAndUnreadableFiles) {
  TempDir dir;
  std::string path = dir.WriteFile("f.conf", "k=\"0123456789\"\n");
  char small[10];
  EXPECT_EQ(FileGetKeyValue(path, "k", small, sizeof small), -1);
  char exact[11];
  EXPECT_EQ(FileGetKeyValue(path, "k", exact, sizeof exact), 10);
  EXPECT_EQ(FileGetKeyValue(dir.Path(), "k", exact, sizeof exact), -1) << "a directory is no file";
  EXPECT_EQ(FileGetKeyValue(dir.Join("absent"), "k", exact, sizeof exact), 0);
}

TEST(KeyValueFile, SetAndRemoveLeaveEveryOtherLineAsItWas) {
  TempDir dir;
  std::string path = dir.WriteFile("mesh.conf", "# kept\nserver_addr=\"old\"\n\nother=1\n");
  ASSERT_EQ(FileSetKeyValue(path, "server_addr", "192.0.2.1", ValueQuoting::kQuoted), 0);
  ASSERT_EQ(FileSetKeyValue(path, "S1", "Living room", ValueQuoting::kQuoted), 0);
  ASSERT_EQ(FileSetKeyValue(path, "plain", "a", ValueQuoting::kPlain), 0);
  EXPECT_EQ(TempDir::ReadFile(path), "# kept\nserver_addr=\"192.0.2.1\"\n\nother=1\nS1=\"Living room\"\nplain=a\n");
  ASSERT_EQ(FileRemoveKey(path, "server_addr"), 0);
  ASSERT_EQ(FileRemoveKey(path, "never_there"), 0);
  EXPECT_EQ(TempDir::ReadFile(path), "# kept\n\nother=1\nS1=\"Living room\"\nplain=a\n");
}

TEST(KeyValueFile, CreatesAMissingFileButNotItsDirectoryAndKeepsAnExistingMode) {
  TempDir dir;
  EXPECT_EQ(FileSetKeyValue(dir.Join("new.conf"), "k", "v", ValueQuoting::kQuoted), 0);
  EXPECT_EQ(TempDir::ReadFile(dir.Join("new.conf")), "k=\"v\"\n");
  struct stat st;
  ASSERT_EQ(::stat(dir.Join("new.conf").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0644u);
  std::string secret = dir.WriteFile("secret.conf", "psk=1\n", 0600);
  EXPECT_EQ(FileSetKeyValue(secret, "psk", "2", ValueQuoting::kPlain), 0);
  ASSERT_EQ(::stat(secret.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.Path()), {}), 2) << "no temporary file left";
  EXPECT_EQ(FileSetKeyValue(dir.Join("no/such/dir.conf"), "k", "v", ValueQuoting::kQuoted), -1);
  EXPECT_EQ(FileRemoveKey(dir.Join("absent.conf"), "k"), 0);
}

TEST(KeyValueFile, RefusesKeysAndValuesThatWouldBreakTheLineFormat) {
  TempDir dir;
  std::string path = dir.WriteFile("f.conf", "a=1\n");
  EXPECT_EQ(FileSetKeyValue(path, "", "v", ValueQuoting::kPlain), -1);
  EXPECT_EQ(FileSetKeyValue(path, "a=b", "v", ValueQuoting::kPlain), -1);
  EXPECT_EQ(FileSetKeyValue(path, "a", "two\nlines", ValueQuoting::kPlain), -1);
  EXPECT_EQ(TempDir::ReadFile(path), "a=1\n");
}

TEST(SectionFile, WritesTopLevelKeysBeforeTheFirstSectionAndSectionKeysInsideTheirSection) {
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
  EXPECT_EQ(FileGetKeyValue(path, "Keep", buffer, sizeof buffer), 0) << "section keys are not top-level";
}

TEST(SectionFile, EnumeratesSectionsAndTheirEntriesInFileOrder) {
  TempDir dir;
  const std::string path =
      dir.WriteFile("lbd.conf", "top=1\n[WLANIF2G]\n; comment\nb=2\na=\"1\"\n[ EMPTY ]\n[BANDMON]\nx=\n");
  std::vector<std::string> sections;
  ASSERT_EQ(FileListSections(path, sections), 0);
  EXPECT_EQ(sections, (std::vector<std::string>{"WLANIF2G", "EMPTY", "BANDMON"}));
  std::vector<std::pair<std::string, std::string>> entries;
  ASSERT_EQ(FileGetSection(path, "WLANIF2G", entries), 0);
  EXPECT_EQ(entries, (decltype(entries){{"b", "2"}, {"a", "1"}}));
  ASSERT_EQ(FileGetSection(path, "EMPTY", entries), 0);
  EXPECT_TRUE(entries.empty());
  ASSERT_EQ(FileGetSection(path, "BANDMON", entries), 0);
  EXPECT_EQ(entries, (decltype(entries){{"x", ""}}));
  EXPECT_EQ(FileGetSection(path, "STAMON", entries), -1);
  EXPECT_EQ(FileGetSection(dir.Join("absent"), "BANDMON", entries), -1);
  EXPECT_EQ(FileListSections(dir.Join("absent"), sections), -1);
}

}  // namespace
