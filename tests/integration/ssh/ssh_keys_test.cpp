// Key pairs, key installation and the mesh known-hosts file against a real OpenSSH server and
// OpenSSH's own key tools.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvamesh/base/exception.h"
#include "orvamesh/utils/ssh_keys.h"
#include "support/log_capture.h"
#include "support/netns.h"
#include "support/sshd_server.h"
#include "support/temp_dir.h"
#include "support/thrown_text.h"

namespace {

using namespace ORVA::MESH::SDK;
using orva::test::SshdServer;
using orva::test::TempDir;

TEST(SshKeyPair, IsReadByOpenSshAndWrittenWithPrivateModes) {
  TempDir dir;
  const std::string key = dir.Join("node_key");
  ASSERT_EQ(Utils::CreateSshKeyPair(key, "node@mesh"), 0);
  EXPECT_EQ(std::filesystem::status(key).permissions(), std::filesystem::perms(0600));
  EXPECT_EQ(std::filesystem::status(key + ".pub").permissions(), std::filesystem::perms(0644));
  std::string line;
  ASSERT_EQ(Utils::ReadSshPublicKey(key + ".pub", line), 0);
  // ssh-keygen derives the public key from our private file: both files are what OpenSSH writes.
  const std::string derived = orva::test::MustRun({"ssh-keygen", "-y", "-f", key});
  EXPECT_EQ(derived.substr(0, derived.find_last_not_of("\n") + 1), line);
  EXPECT_EQ(line.substr(line.size() - 10), " node@mesh");
}

TEST(SshKeyPair, RefusesPathsItWouldClobberAndCommentsItCannotCarry) {
  TempDir dir;
  orva::test::LogCapture log;
  dir.WriteFile("existing", "keep me");
  ::symlink(dir.Join("elsewhere").c_str(), dir.Join("link").c_str());
  dir.WriteFile("haspub.pub", "keep me too");
  const std::pair<std::string, std::string> cases[] = {
      {dir.Join("existing"), "c"}, {dir.Join("link"), "c"},       {dir.Join("haspub"), "c"},
      {dir.Join("new"), "quote'"}, {dir.Join("no/such/dir/key"), "c"},
  };
  for (const auto& [path, comment] : cases) EXPECT_EQ(Utils::CreateSshKeyPair(path, comment), -1) << path;
  EXPECT_EQ(TempDir::ReadFile(dir.Join("existing")), "keep me");
  EXPECT_EQ(TempDir::ReadFile(dir.Join("haspub.pub")), "keep me too");
  EXPECT_NE(::access(dir.Join("new").c_str(), F_OK), 0);
  EXPECT_NE(::access(dir.Join("elsewhere").c_str(), F_OK), 0);
  EXPECT_NE(::access(dir.Join("haspub").c_str(), F_OK), 0);
}

class SshKeysAgainstSshd : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_SSHD();
    server_ = std::make_unique<SshdServer>();
    key_ = dir_.Join("node_key");
    ASSERT_EQ(Utils::CreateSshKeyPair(key_, "re1"), 0);
    ASSERT_EQ(Utils::ReadSshPublicKey(key_ + ".pub", line_), 0);
  }
  SSHWrapper::KeyFiles Keys() const { return {key_, key_ + ".pub"}; }
  std::unique_ptr<SSHWrapper> WithPassword() const {
    return std::make_unique<SSHWrapper>(server_->Address(), SshdServer::kUser, SshdServer::kPassword);
  }

  TempDir dir_;
  std::unique_ptr<SshdServer> server_;
  std::string key_, line_;
};

TEST_F(SshKeysAgainstSshd, LogInWithTheKeyOnlyAfterItIsInstalledOnceBesideTheOtherKeys) {
  EXPECT_THROW(SSHWrapper(server_->Address(), SshdServer::kUser, Keys()), Exception::RuntimeException);
  auto admin = WithPassword();
  // Another key whose line is not ended: ours must not be glued to it.
  admin->Execute("mkdir -p ~/.ssh && printf 'ssh-ed25519 AAAAother other' > ~/.ssh/authorized_keys");
  ASSERT_EQ(Utils::InstallSshPublicKey(*admin, line_), 0);
  ASSERT_EQ(Utils::InstallSshPublicKey(*admin, line_), 0);

  SSHWrapper session(server_->Address(), SshdServer::kUser, Keys());
  EXPECT_EQ(session.Execute("id -un"), std::string(SshdServer::kUser) + "\n");
  const std::string file = server_->InHome(".ssh/authorized_keys");
  EXPECT_EQ(TempDir::ReadFile(file), "ssh-ed25519 AAAAother other\n" + line_ + "\n");
  struct stat info {};
  ASSERT_EQ(::stat(file.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  EXPECT_EQ(info.st_uid, server_->Uid());
  ASSERT_EQ(::stat(server_->InHome(".ssh").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
}

TEST_F(SshKeysAgainstSshd, RefuseKeyLinesThatCouldCarryACommandAndKeyFilesThatAreNotFiles) {
  orva::test::LogCapture log;
  auto admin = WithPassword();
  const std::string bad[] = {"ssh-ed25519 AAAA' ; touch ~/owned ; echo '",
                             "ssh-ed25519 AAAA\nssh-rsa BBBB", ""};
  for (const std::string& line : bad) EXPECT_EQ(Utils::InstallSshPublicKey(*admin, line), -1) << line;
  EXPECT_NE(::access(server_->InHome("owned").c_str(), F_OK), 0);
  ::mkdir(dir_.Join("dir_key").c_str(), 0700);
  ::symlink(key_.c_str(), dir_.Join("link_key").c_str());
  for (const char* name : {"dir_key", "link_key", "missing_key"}) {
    const SSHWrapper::KeyFiles keys{dir_.Join(name), key_ + ".pub"};
    EXPECT_THROW(SSHWrapper(server_->Address(), SshdServer::kUser, keys), Exception::RuntimeException) << name;
  }
  EXPECT_EQ(server_->Log().find("Accepted publickey"), std::string::npos);
}

TEST_F(SshKeysAgainstSshd, KnownHostsRecordTheFirstKeyAndRefuseAChangedOneBeforeLogIn) {
  const Utils::MeshKnownHosts known(dir_.Join("mesh_known_hosts"));
  auto first = known.Connect("00:24:e7:00:00:01", server_->Address(), SshdServer::kUser, SshdServer::kPassword);
  EXPECT_EQ(first->HostKey().ToString(), SSHWrapper::HostKeyFingerprint(server_->Fingerprint()).ToString());
  EXPECT_EQ(TempDir::ReadFile(dir_.Join("mesh_known_hosts")), "00:24:e7:00:00:01 " + first->HostKey().ToString() + "\n");
  EXPECT_NO_THROW(known.Connect("00:24:e7:00:00:01", server_->Address(), SshdServer::kUser, SshdServer::kPassword));

  // Another server, another host key, the same node name: an impostor.
  SshdServer impostor;
  EXPECT_THAT(orva::test::ThrownText<Exception::RuntimeException>([&] {
                known.Connect("00:24:e7:00:00:01", impostor.Address(), SshdServer::kUser, SshdServer::kPassword);
              }),
              testing::HasSubstr("does not match"));
  const std::string log = impostor.Log();
  for (const char* attempt : {"Accepted", "Failed password", "Failed publickey", "Postponed"}) {
    EXPECT_EQ(log.find(attempt), std::string::npos) << attempt << " in\n" << log;
  }
  EXPECT_THROW(known.Connect("two words", server_->Address(), SshdServer::kUser, SshdServer::kPassword),
               Exception::InvalidArgumentException);
  dir_.WriteFile("damaged", "node SHA256:short\n");
  SSHWrapper::HostKeyFingerprint ignored{std::array<uint8_t, 32>{}};
  EXPECT_ANY_THROW(Utils::MeshKnownHosts(dir_.Join("damaged")).Lookup("node", ignored));
}

}  // namespace
