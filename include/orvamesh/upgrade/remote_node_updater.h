#pragma once
// Another node of the mesh, over SSH: copy the image, check its SHA-256 on the node, run the
// node's firmware writer, then wait until the node answers again with the new version.
#include <netinet/in.h>

#include <chrono>
#include <string>
#include "orvamesh/export.h"
#include "orvamesh/upgrade/node_updater.h"

namespace ORVA::MESH::SDK::Upgrade {

struct ORVA_EXPORT RemoteNode {
  sockaddr_in6 address{};
  std::string user;
  std::string password;
};

struct ORVA_EXPORT RemoteUpdateOptions {
  std::string directory = "/tmp";                 // where the image is copied on the node
  std::string writer = "/usr/sbin/orva-fwwrite";  // the node's firmware writer
  // Prints the running version ("5.3.0") on the node.
  std::string versionCommand = "cat /etc/orva_version";
  // From the writer's success until the node runs the new version.
  std::chrono::milliseconds comeBack{std::chrono::minutes(5)};
  std::chrono::milliseconds retryInterval{std::chrono::seconds(2)};
};

class ORVA_EXPORT RemoteNodeUpdater : public NodeUpdater {
 public:
  RemoteNodeUpdater(RemoteNode node, RemoteUpdateOptions options = {});
  bool Runs(const FeedEntry& entry) override;
  bool AwaitTarget(const FeedEntry& entry) override;
  void Update(const std::string& image, const FeedEntry& entry, const Progress& progress) override;

 private:
  std::string RunningVersion() const;
  // Empty once the node runs the entry's version; otherwise what it last said, at the deadline.
  std::string WaitForVersion(const FeedEntry& entry) const;

  RemoteNode node_;
  RemoteUpdateOptions options_;
};

}  // namespace ORVA::MESH::SDK::Upgrade
