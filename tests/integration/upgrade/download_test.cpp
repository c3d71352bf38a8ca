#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <sodium.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <random>

#include "orvamesh/upgrade/image_downloader.h"
#include "orvamesh/upgrade/mesh_upgrade_exception.h"
#include "orvamesh/upgrade/update_feed.h"
#include "platform/process_runner.h"
#include "support/json_text.h"
#include "support/port_server.h"
#include "support/private_mounts.h"
#include "support/temp_dir.h"
#include "support/thrown_text.h"
#include "support/webapi_server.h"

namespace {

// Before gtest starts any thread: the small-disk test mounts below its root.
const bool gPrivateRun = orva::test::EnterPrivateRun().empty();

using namespace ORVA::MESH::SDK::Upgrade;
using orva::test::TempDir;
using orva::test::ThrownText;

std::string Hex(const unsigned char* bytes, size_t size) {
  std::string out(2 * size + 1, '\0');
  sodium_bin2hex(out.data(), out.size(), bytes, size);
  out.pop_back();
  return out;
}

// The update server of these tests, with one image and a feed signed by a key of the test's.
class UpdateServerTest : public ::testing::Test {
 protected:
  static constexpr size_t kImageSize = 3 * 1024 * 1024 + 123;

  void SetUp() override {
    ASSERT_GE(sodium_init(), 0);
    crypto_sign_keypair(pk_, sk_);
    std::mt19937 random(7);
    image_.resize(kImageSize);
    for (auto& c : image_) c = static_cast<char>(random());
    root_.WriteFile("images/a.img", image_);
    unsigned char digest[crypto_hash_sha256_BYTES];
    crypto_hash_sha256(digest, reinterpret_cast<const unsigned char*>(image_.data()), image_.size());
    sha256_ = Hex(digest, sizeof digest);
    identity_ = orva::test::MakeCertificate(root_, "update", {"::1"});
    log_ = root_.WriteFile("requests.log", "");
    server_ = std::make_unique<orva::test::PortServer>(
        std::vector<std::string>{"/usr/bin/python3", std::string(ORVAMESH_SOURCE_DIR) + "/tests/support/update_server.py",
                                 "--cert", identity_.cert, "--key", identity_.key, "--root", root_.Path(), "--log", log_},
        "the update server");
    downloads_ = root_.Join("downloads");
    ::mkdir(downloads_.c_str(), 0755);
  }

  std::string Base() const { return "https://[::1]:" + std::to_string(server_->Port()); }

  // Publishes a signed feed with one item offering the image to model m-1 as 5.3.0 build 75000.
  void PublishFeed() {
    const std::string feed =
        "<rss version=\"2.0\" xmlns:o=\"urn:orvamesh:update:1\"><channel><item><enclosure url=\"" +
        Entry("plain").imageUrl + "\" length=\"" + std::to_string(kImageSize) + "\"/><o:model>m-1</o:model>"
        "<o:osName>OrvaOS</o:osName><o:version>5.3.0</o:version><o:build>75000</o:build><o:update>0</o:update>"
        "<o:sha256>" + sha256_ + "</o:sha256></item></channel></rss>";
    root_.WriteFile("feed.xml", feed);
    unsigned char sig[crypto_sign_BYTES];
    crypto_sign_detached(sig, nullptr, reinterpret_cast<const unsigned char*>(feed.data()), feed.size(), sk_);
    root_.WriteFile("feed.sig", Hex(sig, sizeof sig));
  }

  FeedEntry Entry(const std::string& mode, const std::string& sha256 = "") const {
    FeedEntry e;
    e.imageUrl = Base() + "/images/" + mode + "/a.img";
    e.size = kImageSize;
    e.sha256 = sha256.empty() ? sha256_ : sha256;
    return e;
  }

  DownloadOptions Options(std::chrono::milliseconds deadline = std::chrono::seconds(30)) const {
    DownloadOptions o;
    o.directory = downloads_;
    o.caFile = identity_.cert;
    o.deadline = deadline;
    return o;
  }

  std::vector<Json::Value> Requests() const {
    std::vector<Json::Value> out;
    std::ifstream in(log_);
    for (std::string line; std::getline(in, line);) out.push_back(orva::test::ParseJson(line));
    return out;
  }

  TempDir root_;
  orva::test::TlsIdentity identity_;
  unsigned char pk_[crypto_sign_PUBLICKEYBYTES];
  unsigned char sk_[crypto_sign_SECRETKEYBYTES];
  std::string image_, sha256_, log_, downloads_;
  std::unique_ptr<orva::test::PortServer> server_;
};

TEST_F(UpdateServerTest, FetchesTheSignedFeedForTheNodeAndRefusesAnUnsignedOne) {
  PublishFeed();
  const FeedSource source{Base(), Hex(pk_, sizeof pk_), identity_.cert, 10000};
  NodeIdentity node{"m-1", "SN 42&x", {"OrvaOS", "5.2.0", 74000, 1}};
  const auto entries = UpdateFeed::Fetch(source, node);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].sha256, sha256_);
  const std::string query = Requests().at(0)["path"].asString();
  EXPECT_NE(query.find("model=m-1&version=5.2.0&build=74000&update=1&serial=SN%2042%26x"), std::string::npos) << query;

  // The refusals of a wrong signature are unit-tested; fetching adds the missing one.
  ::unlink(root_.Join("feed.sig").c_str());
  EXPECT_THROW(UpdateFeed::Fetch(source, node), FeedException);
  EXPECT_EQ(Requests().size(), 2u) << "nothing but the feed was fetched";
}

TEST_F(UpdateServerTest, DownloadsVerifiesAndRenamesTheImageIntoPlace) {
  uint64_t lastDone = 0;
  DownloadOptions options = Options();
  options.progress = [&](uint64_t done, uint64_t total) {
    EXPECT_GE(done, lastDone);
    EXPECT_EQ(total, kImageSize);
    lastDone = done;
  };
  const std::string path = ImageDownloader(options).Download(Entry("plain"));
  EXPECT_EQ(path, downloads_ + "/" + sha256_ + ".img");
  EXPECT_EQ(TempDir::ReadFile(path), image_);
  EXPECT_EQ(lastDone, kImageSize);
  EXPECT_EQ(::access((downloads_ + "/" + sha256_ + ".part").c_str(), F_OK), -1) << "the partial file was renamed";
  ImageDownloader(Options()).Download(Entry("plain"));
  EXPECT_EQ(Requests().size(), 1u) << "an intact image is not fetched again";
}

TEST_F(UpdateServerTest, ResumesAfterADroppedConnectionFetchingLittleMoreThanTheImage) {
  const std::string path = ImageDownloader(Options()).Download(Entry("droponce"));
  EXPECT_EQ(TempDir::ReadFile(path), image_);
  const auto requests = Requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[1]["range"].asUInt64(), requests[0]["sent"].asUInt64());
  uint64_t sent = 0;
  for (const auto& r : requests) sent += r["sent"].asUInt64();
  EXPECT_LE(sent, kImageSize + 64 * 1024);
}

TEST_F(UpdateServerTest, LeavesNoCompleteLookingFileWhenTheImageCannotBeTrusted) {
  struct Case { const char* name; FeedEntry entry; std::chrono::milliseconds deadline; std::string needle; };
  FeedEntry longer = Entry("plain");
  longer.size += 10;  // the feed announces more than the server has
  const std::vector<Case> cases = {
      {"tampered", Entry("plain", std::string(64, 'b')), std::chrono::seconds(30), "does not match the SHA-256"},
      {"shorter than announced", longer, std::chrono::seconds(30), "stopped at"},
      {"too long", Entry("toolong"), std::chrono::seconds(30), "more than the"},
      {"stalled", Entry("stall"), std::chrono::milliseconds(1500), "stopped at"},
  };
  for (const auto& c : cases) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THAT(ThrownText<DownloadException>([&] { ImageDownloader(Options(c.deadline)).Download(c.entry); }),
                testing::HasSubstr(c.needle))
        << c.name;
    EXPECT_LT(std::chrono::steady_clock::now() - start, c.deadline + std::chrono::seconds(5)) << c.name;
    EXPECT_EQ(::access((downloads_ + "/" + c.entry.sha256 + ".img").c_str(), F_OK), -1) << c.name;
    ::unlink((downloads_ + "/" + c.entry.sha256 + ".part").c_str());
  }
}

TEST_F(UpdateServerTest, RefusesAnImageTheDiskCannotHoldBeforeFetchingIt) {
  ORVA_REQUIRE_PRIVATE_RUN();
  const std::string small = root_.Join("small");
  ::mkdir(small.c_str(), 0755);
  ASSERT_EQ(::mount("tmpfs", small.c_str(), "tmpfs", 0, "size=1m"), 0);
  DownloadOptions options = Options();
  options.directory = small;
  EXPECT_THROW(ImageDownloader(options).Download(Entry("plain")), DownloadException);
  EXPECT_TRUE(Requests().empty());
  EXPECT_EQ(::access((small + "/" + sha256_ + ".part").c_str(), F_OK), -1);
  ::umount2(small.c_str(), MNT_DETACH);
  // A disk that fills up while the image arrives ends the download with the write's error.
  rlimit saved{};
  ::getrlimit(RLIMIT_FSIZE, &saved);
  const rlimit oneMiB{1 << 20, saved.rlim_max};
  ::signal(SIGXFSZ, SIG_IGN);
  ::setrlimit(RLIMIT_FSIZE, &oneMiB);
  EXPECT_THAT(ThrownText<DownloadException>([&] { ImageDownloader(Options()).Download(Entry("plain")); }),
              testing::HasSubstr("cannot write the image"));
  ::setrlimit(RLIMIT_FSIZE, &saved);
}

TEST_F(UpdateServerTest, TheToolChecksDownloadsAndSaysWhenNothingIsNewer) {
  PublishFeed();
  std::string out;
  // `command` for model m-1 running 5.2.0 `build`, then `more`.
  auto run = [&](const std::string& command, const std::string& build, std::vector<std::string> more) {
    more.insert(more.begin(), {std::string(ORVAMESH_BINARY_DIR) + "/tools/orvamesh-upgrade", command, "--server",
                               Base(), "--key", Hex(pk_, sizeof pk_), "--ca", identity_.cert, "--model", "m-1",
                               "--serial", "SN1", "--version", "5.2.0", "--build", build});
    return orva::platform::RunProgramCapture(more, out);
  };
  EXPECT_EQ(run("check", "74000", {"--json"}), 0);
  EXPECT_NE(out.find("\"sha256\" : \"" + sha256_ + "\""), std::string::npos) << out;
  EXPECT_EQ(run("check", "75000", {}), 3) << out;
  EXPECT_EQ(run("download", "74000", {"--dir", downloads_}), 0) << out;
  EXPECT_NE(out.find(downloads_ + "/" + sha256_ + ".img"), std::string::npos) << out;
}

}  // namespace
