#pragma once
// The node this program runs on: the platform's firmware writer, a program below the system
// root, is run with the image path as its only argument. The writer schedules its own reboot;
// an exit status of 0 means the image was written.
#include <string>
#include "orvamesh/export.h"
#include "orvamesh/upgrade/node_updater.h"

namespace ORVA::MESH::SDK::Upgrade {

class ORVA_EXPORT LocalNodeUpdater : public NodeUpdater {
 public:
  static constexpr const char* kDefaultWriter = "/usr/sbin/orva-fwwrite";

  explicit LocalNodeUpdater(FirmwareVersion running, std::string writer = kDefaultWriter);
  bool Runs(const FeedEntry& entry) override;
  void Update(const std::string& image, const FeedEntry& entry, const Progress& progress) override;

 private:
  FirmwareVersion running_;
  std::string writer_;
};

}  // namespace ORVA::MESH::SDK::Upgrade
