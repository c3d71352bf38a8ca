#pragma once
// Updates every node of the mesh: leaves first and the CAP last, a node only after every node
// below it in the topology tree, up to a number of nodes at once. The first failure stops new
// starts. Every change of a node's state is written to the group-update file (atomically,
// synced), so a daemon that restarts resumes the same update or reports it, and never writes
// a node that already runs the target twice.
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>
#include "orvamesh/export.h"
#include "orvamesh/scan/topology.h"
#include "orvamesh/upgrade/node_updater.h"

namespace ORVA::MESH::SDK::Upgrade {

enum class NODE_UPDATE_STATE : uint8_t { PENDING = 0, UPDATING = 1, UPDATED = 2, FAILED = 3 };

ORVA_EXPORT const char* NodeUpdateStateToString(NODE_UPDATE_STATE state);

struct ORVA_EXPORT GroupMember {
  std::string id;      // how reports name the node (its MAC, say)
  std::string parent;  // the member it hangs off; empty for the CAP
  std::shared_ptr<NodeUpdater> updater;
};

struct ORVA_EXPORT GroupReport {
  std::string targetSha256;
  std::map<std::string, NODE_UPDATE_STATE> nodes;
  std::map<std::string, std::string> errors;  // of the failed nodes

  std::vector<std::string> With(NODE_UPDATE_STATE state) const;
  bool Complete() const;  // every node updated
};

class ORVA_EXPORT GroupUpdate {
 public:
  using Progress = std::function<void(const std::string& id, Client::UPDATE_STAGE stage, uint8_t percent)>;

  GroupUpdate(std::string stateFile, unsigned parallel = 2);

  // The members of a topology tree, each node's updater made by `make`.
  static std::vector<GroupMember> FromTopology(const Scan::Topology& topology,
                                               const std::function<std::shared_ptr<NodeUpdater>(const Mac&)>& make);
  // Runs (or resumes, when the file describes the same image) the update of every member.
  // Throws GroupUpdateException when the file cannot be written or names the members wrongly.
  GroupReport Run(const std::vector<GroupMember>& members, const std::string& image, const FeedEntry& entry,
                  const Progress& progress = {});
  // What the group-update file says; an empty report when there is none.
  static GroupReport Status(const std::string& stateFile);

 private:
  std::string stateFile_;
  unsigned parallel_;
};

}  // namespace ORVA::MESH::SDK::Upgrade
