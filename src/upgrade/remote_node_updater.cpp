#include "orvamesh/upgrade/remote_node_updater.h"

#include <thread>
#include "orvamesh/base/log.h"
#include "orvamesh/upgrade/mesh_upgrade_exception.h"
#include "orvamesh/utils/deadline.h"
#include "orvamesh/utils/ssh_wrapper.h"

namespace ORVA::MESH::SDK::Upgrade {
namespace {

constexpr const char* kWriterDone = "orvamesh-writer-done";

// For the node's shell: the paths are ours, but a directory name with a blank must still work.
std::string Quoted(const std::string& text) {
  std::string out = "'";
  for (char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

std::string Trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

}  // namespace

RemoteNodeUpdater::RemoteNodeUpdater(RemoteNode node, RemoteUpdateOptions options)
    : node_(std::move(node)), options_(std::move(options)) {}

std::string RemoteNodeUpdater::RunningVersion() const {
  const SSHWrapper ssh(node_.address, node_.user, node_.password);
  return Trimmed(ssh.Execute(options_.versionCommand));
}

bool RemoteNodeUpdater::Runs(const FeedEntry& entry) {
  try {
    return RunningVersion() == entry.version.version;
  } catch (const std::exception& e) {
    ORVA_THROW(NodeUpdateException, std::string("cannot ask the node for its version: ") + e.what());
  }
}

std::string RemoteNodeUpdater::WaitForVersion(const FeedEntry& entry) const {
  const Deadline deadline(options_.comeBack);
  std::string last = "no answer";
  while (!deadline.Expired()) {
    try {
      const std::string version = RunningVersion();
      if (version == entry.version.version) return "";
      last = "still runs '" + version + "'";
    } catch (const std::exception& e) {
      last = "no answer";  // rebooting: sshd is down or not yet up
    }
    std::this_thread::sleep_for(std::min<Deadline::Clock::duration>(options_.retryInterval, deadline.Remaining()));
  }
  return last;
}

bool RemoteNodeUpdater::AwaitTarget(const FeedEntry& entry) { return WaitForVersion(entry).empty(); }

void RemoteNodeUpdater::Update(const std::string& image, const FeedEntry& entry, const Progress& progress) {
  const std::string remote = options_.directory + "/" + entry.sha256 + ".img";
  try {
    const SSHWrapper ssh(node_.address, node_.user, node_.password);
    if (progress) progress(Client::UPDATE_STAGE::UPGRADING, 10);
    ssh.CopyFileToRemote(image, remote);
    if (progress) progress(Client::UPDATE_STAGE::UPGRADING, 40);
    const std::string sum = Trimmed(ssh.Execute("sha256sum " + Quoted(remote)));
    if (sum.substr(0, 64) != entry.sha256) {
      ssh.Execute("rm -f " + Quoted(remote));
      ORVA_THROW(NodeUpdateException, "the image arrived changed on the node");
    }
    if (progress) progress(Client::UPDATE_STAGE::UPGRADING, 60);
    const std::string out = ssh.Execute(Quoted(options_.writer) + " " + Quoted(remote) + " && echo " + kWriterDone);
    if (out.find(kWriterDone) == std::string::npos) {
      ORVA_THROW(NodeUpdateException, "the firmware writer failed on the node: " + Trimmed(out));
    }
  } catch (const NodeUpdateException&) {
    throw;
  } catch (const std::exception& e) {
    ORVA_THROW(NodeUpdateException, std::string("cannot update the node: ") + e.what());
  }
  if (progress) progress(Client::UPDATE_STAGE::REBOOTING, 70);
  const std::string last = WaitForVersion(entry);
  if (!last.empty()) {
    ORVA_THROW(NodeUpdateException, "the node did not come back with " + entry.version.version + " in time (" + last + ")");
  }
  if (progress) progress(Client::UPDATE_STAGE::DONE, 100);
}

}  // namespace ORVA::MESH::SDK::Upgrade
