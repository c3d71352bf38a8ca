#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>

#include "orvamesh/upgrade/image_downloader.h"
#include "orvamesh/upgrade/mesh_upgrade_exception.h"
#include "orvamesh/upgrade/remote_node_updater.h"
#include "platform/process_runner.h"
#include "support/child.h"
#include "support/netns.h"
#include "support/sshd_server.h"
#include "support/wait_until.h"
#include "support/temp_dir.h"
#include "support/thrown_text.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Upgrade;
using orva::test::SshdServer;
using orva::test::TempDir;
using orva::test::ThrownText;

// The node's firmware writer: records the image's hash, then "reboots" into the new version a
// moment later, as a real writer schedules its reboot and exits. "fail" and "hang" as the
// node's mode make it fail, or never come back.
constexpr const char* kWriter = R"(#!/bin/sh
mode=$(cat "$HOME/mode")
[ "$mode" = fail ] && { echo "flash chip busy"; exit 1; }
sha256sum "$1" | cut -c1-64 >> "$HOME/flashed"
[ "$mode" = hang ] && exit 0
( sleep 0.3; cat "$HOME/next" > "$HOME/version" ) > /dev/null 2>&1 &
)";

// Writes a file of the node's user into its home.
void Put(const SshdServer& node, const std::string& name, const std::string& content, mode_t mode) {
  const std::string path = node.InHome(name);
  std::ofstream(path, std::ios::trunc) << content;
  ASSERT_EQ(::chmod(path.c_str(), mode), 0);
  ASSERT_EQ(::chown(path.c_str(), node.Uid(), static_cast<gid_t>(-1)), 0);
}

class RemoteNodeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ORVA_REQUIRE_SSHD();
    node_ = std::make_unique<SshdServer>();
    image_ = local_.WriteFile("a.img", std::string(512 * 1024, 'i'));
    entry_.sha256 = ImageDownloader::FileSha256(image_);
    entry_.version.version = "5.3.0";
    Put(*node_, "writer", kWriter, 0755);
    Put(*node_, "version", "5.2.0\n", 0644);
    Put(*node_, "next", "5.3.0\n", 0644);
    Put(*node_, "mode", "ok\n", 0644);
  }

  RemoteNodeUpdater Updater(std::chrono::milliseconds comeBack = std::chrono::seconds(10)) const {
    RemoteUpdateOptions options;
    options.directory = node_->Home();
    options.writer = node_->InHome("writer");
    options.versionCommand = "cat \"$HOME/version\"";
    options.comeBack = comeBack;
    options.retryInterval = std::chrono::milliseconds(100);
    return RemoteNodeUpdater({node_->Address(), SshdServer::kUser, SshdServer::kPassword}, options);
  }

  TempDir local_;
  std::unique_ptr<SshdServer> node_;
  std::string image_;
  FeedEntry entry_;
};

TEST_F(RemoteNodeTest, SaysWhichStepFailed) {
  struct Case { const char* mode; std::string needle; };
  for (const Case& c : {Case{"fail", "writer failed on the node: flash chip busy"}, Case{"hang", "did not come back with 5.3.0"}}) {
    Put(*node_, "mode", c.mode, 0644);
    const auto start = std::chrono::steady_clock::now();
    RemoteNodeUpdater updater = Updater(std::chrono::milliseconds(1200));
    EXPECT_THAT(ThrownText<NodeUpdateException>([&] { updater.Update(image_, entry_, {}); }),
                testing::HasSubstr(c.needle));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8)) << c.mode;
  }
}

TEST_F(RemoteNodeTest, ReportsANodeThatCannotBeReached) {
  const sockaddr_in6 gone = node_->Address();
  node_.reset();
  RemoteNodeUpdater updater({gone, SshdServer::kUser, SshdServer::kPassword}, RemoteUpdateOptions());
  EXPECT_THROW(updater.Runs(entry_), NodeUpdateException);
  EXPECT_THROW(updater.Update(image_, entry_, {}), NodeUpdateException);
}

// A daemon killed in the middle of a group update resumes from its file, and every node is
// written exactly once. The daemon and each node are network namespaces, joined by veth pairs;
// every node runs its own sshd on its link-local address.
TEST(GroupUpdateTool, ResumesAfterBeingKilledWithoutWritingANodeTwice) {
  ORVA_REQUIRE_SSHD();
  TempDir local;
  std::vector<std::unique_ptr<orva::test::NetNs>> namespaces;
  const orva::test::NetNs cap("upgcap");
  const std::string imagePath = local.WriteFile("a.img", std::string(64 * 1024, 'i'));
  const std::string sha = ImageDownloader::FileSha256(imagePath);
  // As a real writer, it finishes and reboots on its own once started, whatever happens to the
  // session that started it.
  const char* writer =
      "#!/bin/sh\nsha256sum \"$1\" | cut -c1-64 >> \"$HOME/flashed\"\n"
      "setsid sh -c 'sleep 0.5; echo 5.3.0 > \"$HOME/version\"' > /dev/null 2>&1 < /dev/null &\n";
  std::vector<std::unique_ptr<SshdServer>> nodes;
  Json::Value list(Json::arrayValue);
  for (int i = 0; i < 3; ++i) {
    namespaces.push_back(std::make_unique<orva::test::NetNs>("upg" + std::to_string(i)));
    const std::string uplink = "u" + std::to_string(i);
    orva::test::AddVeth(&cap, uplink, namespaces.back().get(), "n0");
    const std::string address = namespaces.back()->LinkLocal("n0");
    cap.LinkLocal(uplink);
    nodes.push_back(std::make_unique<SshdServer>(address + "%n0", namespaces.back().get()));
    SshdServer& node = *nodes.back();
    Put(node, "writer", writer, 0755);
    Put(node, "version", "5.2.0\n", 0644);
    Json::Value& n = list.append(Json::objectValue);
    n["id"] = "node" + std::to_string(i);
    n["parent"] = i == 0 ? "" : "node" + std::to_string(i - 1);  // a chain: node2 first
    n["host"] = address + "%" + uplink;
    n["port"] = node.Port();
    n["user"] = SshdServer::kUser;
    n["directory"] = node.Home();
    n["writer"] = node.InHome("writer");
    n["version_command"] = "cat \"$HOME/version\"";
  }
  const std::vector<std::string> argv =
      cap.Exec({std::string(ORVAMESH_BINARY_DIR) + "/tools/orvamesh-upgrade", "group", "--state",
                local.Join("group.json"), "--image", imagePath, "--sha256", sha, "--target", "5.3.0", "--nodes",
                local.WriteFile("nodes.json", list.toStyledString()), "--parallel", "1"});
  ::setenv("ORVAMESH_SSH_PASSWORD", SshdServer::kPassword, 1);
  const pid_t first = orva::test::SpawnTied(argv);
  ASSERT_GT(first, 0);
  ASSERT_TRUE(orva::test::WaitUntil([&] { return ::access(nodes[1]->InHome("flashed").c_str(), F_OK) == 0; },
                                    std::chrono::seconds(30)));
  ::kill(first, SIGKILL);
  orva::platform::WaitProgram(first);

  std::string out;
  EXPECT_EQ(orva::platform::RunProgramCapture(argv, out), 0) << out;
  ::unsetenv("ORVAMESH_SSH_PASSWORD");
  for (const auto& node : nodes) EXPECT_EQ(TempDir::ReadFile(node->InHome("flashed")), sha + "\n") << node->Home();
  EXPECT_NE(out.find("node0 UPDATED"), std::string::npos) << out;
  EXPECT_NE(out.find("node0 DONE 100%"), std::string::npos) << out;
}

}  // namespace
