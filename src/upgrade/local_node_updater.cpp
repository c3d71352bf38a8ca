#include "orvamesh/upgrade/local_node_updater.h"

#include "orvamesh/upgrade/image_downloader.h"
#include "orvamesh/upgrade/mesh_upgrade_exception.h"
#include "platform/process_runner.h"

namespace ORVA::MESH::SDK::Upgrade {

LocalNodeUpdater::LocalNodeUpdater(FirmwareVersion running, std::string writer)
    : running_(std::move(running)), writer_(std::move(writer)) {}

bool LocalNodeUpdater::Runs(const FeedEntry& entry) {
  return running_.ToVersionInfo().version == entry.version.ToVersionInfo().version;
}

void LocalNodeUpdater::Update(const std::string& image, const FeedEntry& entry, const Progress& progress) {
  if (progress) progress(Client::UPDATE_STAGE::UPGRADING, 0);
  // Checked again here: the file may have been replaced since it was downloaded.
  if (ImageDownloader::FileSha256(image) != entry.sha256) {
    ORVA_THROW(NodeUpdateException, "the image " + image + " does not match its SHA-256");
  }
  // The runner finds the writer below the system root.
  const int status = orva::platform::RunProgram({writer_, image});
  if (status != 0) {
    ORVA_THROW(NodeUpdateException, "the firmware writer failed with status " + std::to_string(status));
  }
  running_ = entry.version;
  if (progress) progress(Client::UPDATE_STAGE::REBOOTING, 100);
}

}  // namespace ORVA::MESH::SDK::Upgrade
