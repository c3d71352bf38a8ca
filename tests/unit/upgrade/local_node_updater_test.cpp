#include <gtest/gtest.h>

#include "orvamesh/upgrade/image_downloader.h"
#include "orvamesh/upgrade/local_node_updater.h"
#include "orvamesh/upgrade/mesh_upgrade_exception.h"
#include "support/fixture_root.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Upgrade;

// The platform's firmware writer cannot run here; a recorder below the fixture root stands in.
TEST(LocalNodeUpdater, RunsTheWriterWithTheVerifiedImageOnlyAndReportsItsFailure) {
  orva::test::FixtureRoot root;
  root.InstallRecorder(LocalNodeUpdater::kDefaultWriter);
  const std::string image = root.WriteFile("images/a.img", "firmware");
  FeedEntry entry;
  entry.sha256 = ImageDownloader::FileSha256(image);
  entry.version.build = 2;
  LocalNodeUpdater updater(FirmwareVersion{"OrvaOS", "5.2.0", 1, 0});
  EXPECT_FALSE(updater.Runs(entry));

  std::vector<Client::UPDATE_STAGE> stages;
  updater.Update(image, entry, [&](Client::UPDATE_STAGE stage, uint8_t) { stages.push_back(stage); });
  EXPECT_EQ(root.Calls(LocalNodeUpdater::kDefaultWriter), (std::vector<std::vector<std::string>>{{image}}));
  EXPECT_EQ(stages.back(), Client::UPDATE_STAGE::REBOOTING);
  EXPECT_TRUE(updater.Runs(entry));

  root.ClearCalls(LocalNodeUpdater::kDefaultWriter);
  root.SetStatus(LocalNodeUpdater::kDefaultWriter, 3);
  EXPECT_THROW(updater.Update(image, entry, {}), NodeUpdateException);
  FeedEntry other = entry;
  other.sha256 = std::string(64, 'f');
  EXPECT_THROW(updater.Update(image, other, {}), NodeUpdateException);
  EXPECT_EQ(root.Calls(LocalNodeUpdater::kDefaultWriter).size(), 1u) << "a changed image never reaches the writer";
}

}  // namespace
