#pragma once
// Puts a verified image onto one node. The group update drives any mix of implementations
// through this interface: the local node, a node over SSH, or a daemon's own.
#include <cstdint>
#include <functional>
#include <string>
#include "orvamesh/client/mesh_records.h"
#include "orvamesh/export.h"
#include "orvamesh/upgrade/update_feed.h"

namespace ORVA::MESH::SDK::Upgrade {

class ORVA_EXPORT NodeUpdater {
 public:
  // Every step of an update: a stage of Client::SystemUpdateProgress and the node's percent.
  using Progress = std::function<void(Client::UPDATE_STAGE stage, uint8_t percent)>;

  virtual ~NodeUpdater() = default;
  // True when the node already runs the entry's version, so that a resumed group update never
  // writes a node twice. May throw NodeUpdateException when the node cannot be asked.
  virtual bool Runs(const FeedEntry& entry) = 0;
  // For a node whose update was interrupted (the daemon died while it was being written): true
  // once it runs the entry's version, false when it does not within the time a reboot takes.
  // The group update never writes such a node again on its own.
  virtual bool AwaitTarget(const FeedEntry& entry) { return Runs(entry); }
  // Writes `image` (verified against entry.sha256) onto the node and returns once the node
  // runs it, or throws NodeUpdateException naming the step that failed.
  virtual void Update(const std::string& image, const FeedEntry& entry, const Progress& progress) = 0;
};

}  // namespace ORVA::MESH::SDK::Upgrade
