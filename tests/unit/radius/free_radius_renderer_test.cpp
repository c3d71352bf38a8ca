// What the renderer writes for FreeRADIUS: the sections and keys the server reads, quoting that
// keeps every value inside its string, and how the files reach the disk.
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>

#include "orvamesh/base/exception.h"
#include "orvamesh/radius/free_radius_renderer.h"
#include "support/temp_dir.h"
#include "support/thrown_text.h"

namespace {

using namespace ORVA::MESH::SDK::Radius;

RadiusConfig Sample() {
  RadiusConfig c;
  c.listen.addresses = {"192.168.8.1", "fd00::1"};
  c.listen.authPort = 1812;
  c.listen.acctPort = 1813;
  c.clients = {{"aps", "192.168.8.0/24", "ap'secret"}, {"aps6", "fd00::/64", "v6"}};
  c.homeServers = {{"h1", "10.0.0.5", 1812, HOME_SERVER_TYPE::AUTH, "one", 5, true},
                   {"h2", "10.0.0.6", 1645, HOME_SERVER_TYPE::BOTH, "two", 20, false},
                   {"a1", "10.0.0.7", 1813, HOME_SERVER_TYPE::ACCT, "three", 20, true}};
  c.pools = {{"auth", POOL_TYPE::FAIL_OVER, {"h1"}},
             {"both", POOL_TYPE::LOAD_BALANCE, {"h2"}},
             {"acct", POOL_TYPE::FAIL_OVER, {"a1"}}};
  c.realms = {{"corp", "auth", true}, {"both.example", "both", false}, {"acct.example", "acct", true},
              {"NULL", "", true}};
  return c;
}

std::string FileOf(const std::vector<RenderedFile>& files, const std::string& name) {
  for (const RenderedFile& f : files) {
    if (f.relativePath == name) return f.content;
  }
  ADD_FAILURE() << "no " << name;
  return "";
}

bool Has(const std::string& text, const std::string& piece) { return text.find(piece) != std::string::npos; }

TEST(FreeRadiusQuoting, OnlyTheQuoteIsEscaped) {
  const struct {
    const char* value;
    const char* quoted;
  } cases[] = {
      {"", "''"},
      {"it's", "'it\\'s'"},
      {"${confdir}", "'${confdir}'"},  // only double quotes expand references
      {"a\\b", "'a\\b'"},              // a backslash stands for itself unless a quote follows
  };
  for (const auto& c : cases) EXPECT_EQ(FreeRadiusRenderer::Quote(c.value), c.quoted) << c.value;
}

TEST(FreeRadiusRendering, AddressKeysFollowTheFamilyAndServersPoolsAndRealmsFollowTheirTypes) {
  const std::vector<RenderedFile> files = FreeRadiusRenderer::Render(Sample());
  const std::string clients = FileOf(files, "clients.conf");
  EXPECT_TRUE(Has(clients, "client 'aps6' {\n\tipv6addr = 'fd00::/64'\n")) << clients;
  const std::string proxy = FileOf(files, "proxy.conf");
  EXPECT_TRUE(Has(proxy, "\tresponse_window = '5'\n\tstatus_check = 'status-server'\n")) << proxy;
  EXPECT_TRUE(Has(proxy, "home_server 'h2' {\n\ttype = 'auth+acct'\n")) << proxy;
  EXPECT_TRUE(Has(proxy, "\tstatus_check = 'none'\n}\n")) << proxy;
  EXPECT_TRUE(Has(proxy, "home_server_pool 'both' {\n\ttype = 'load-balance'\n\thome_server = 'h2'\n}\n")) << proxy;
  EXPECT_TRUE(Has(proxy, "realm 'both.example' {\n\tpool = 'both'\n\tnostrip\n}\n")) << proxy;
  EXPECT_TRUE(Has(proxy, "realm 'acct.example' {\n\tacct_pool = 'acct'\n}\n")) << proxy;
}

TEST(FreeRadiusRendering, TheSiteListensOnEveryAddressAndSkipsAccountingOnPortZeroAndBadConfigsAreRefused) {
  RadiusConfig c = Sample();
  std::string site = FileOf(FreeRadiusRenderer::Render(c), "sites-enabled/orvamesh");
  EXPECT_TRUE(Has(site, "type = 'auth'\n\t\tipaddr = '192.168.8.1'\n\t\tport = '1812'\n")) << site;
  EXPECT_TRUE(Has(site, "type = 'acct'\n\t\tipv6addr = 'fd00::1'\n\t\tport = '1813'\n")) << site;
  c.listen.acctPort = 0;
  site = FileOf(FreeRadiusRenderer::Render(c), "sites-enabled/orvamesh");
  EXPECT_FALSE(Has(site, "'acct'")) << site;
  EXPECT_TRUE(Has(site, "\t\tsuffix\n\t\tfiles\n\t\tpap\n")) << site;
  c.realms[0].pool = "missing";
  EXPECT_THROW(FreeRadiusRenderer::Render(c), ORVA::MESH::SDK::Exception::InvalidArgumentException);
}

TEST(FreeRadiusFiles, AreWrittenWithMode0640AndNoLeftoversAndAReplacedFileKeepsItsGroup) {
  orva::test::TempDir dir;
  const std::string old = dir.WriteFile("clients.conf", "old", 0644);
  // As Debian's freerad group would own it; giving a file to another group needs root.
  const bool givenAway = ::geteuid() == 0 && ::chown(old.c_str(), 0, 4) == 0;
  FreeRadiusRenderer::Write(FreeRadiusRenderer::Render(Sample()), dir.Path());
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(dir.Path())) {
    names.push_back(entry.path().lexically_relative(dir.Path()).string());
    struct stat st{};
    ASSERT_EQ(::stat(entry.path().c_str(), &st), 0);
    if (S_ISREG(st.st_mode)) {
      EXPECT_EQ(st.st_mode & 07777, 0640u) << names.back();
      if (givenAway && names.back() == "clients.conf") {
        EXPECT_EQ(st.st_gid, 4u);
      }
    }
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"clients.conf", "proxy.conf", "sites-enabled", "sites-enabled/orvamesh"}));
  EXPECT_EQ(orva::test::TempDir::ReadFile(dir.Join("clients.conf")),
            FileOf(FreeRadiusRenderer::Render(Sample()), "clients.conf"));
}

TEST(FreeRadiusFiles, AFailedWriteKeepsTheOldFilesAndNamesThePath) {
  orva::test::TempDir dir;
  dir.WriteFile("clients.conf", "old", 0640);
  // The site cannot be written: the files before it must not move into place either.
  dir.WriteFile("sites-enabled", "not a directory");
  const std::string what = orva::test::ThrownText<ORVA::MESH::SDK::Exception::RuntimeException>(
      [&] { FreeRadiusRenderer::Write(FreeRadiusRenderer::Render(Sample()), dir.Path()); });
  EXPECT_TRUE(Has(what, "sites-enabled/orvamesh]")) << what;
  EXPECT_EQ(orva::test::TempDir::ReadFile(dir.Join("clients.conf")), "old");
  size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::recursive_directory_iterator(dir.Path())) ++count;
  EXPECT_EQ(count, 2u);  // clients.conf and the file in the way: no proxy.conf
}

}  // namespace
