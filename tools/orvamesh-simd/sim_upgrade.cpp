#include "sim_upgrade.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

#include "orvamesh/upgrade/group_update.h"
#include "orvamesh/upgrade/mesh_upgrade_exception.h"

namespace orvasim {
namespace {

namespace Upgrade = ORVA::MESH::SDK::Upgrade;
using ORVA::MESH::SDK::Client::UPDATE_STAGE;

// A node whose writer takes five steps and which then runs the target.
class SimNodeUpdater : public Upgrade::NodeUpdater {
 public:
  explicit SimNodeUpdater(SimUpgrade& upgrade) : upgrade_(upgrade) {}
  bool Runs(const Upgrade::FeedEntry&) override { return false; }
  void Update(const std::string&, const Upgrade::FeedEntry&, const Progress& progress) override {
    for (uint8_t percent = 20; percent <= 100; percent = static_cast<uint8_t>(percent + 20)) {
      if (!upgrade_.Step()) throw std::runtime_error("the daemon stopped");
      progress(percent < 80 ? UPDATE_STAGE::UPGRADING : UPDATE_STAGE::REBOOTING, percent);
    }
  }

 private:
  SimUpgrade& upgrade_;
};

}  // namespace

SimUpgrade::SimUpgrade(const std::vector<Node>& nodes, const std::string& targetVersion, std::chrono::milliseconds step)
    : step_(step) {
  const char* tmp = std::getenv("TMPDIR");
  std::string pattern = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/orvamesh-simd-update.XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot create a directory for the update");
  directory_ = pattern;
  for (const auto& node : nodes) percent_[node.id] = 0;
  thread_ = std::thread([this, nodes, targetVersion] { Run(nodes, targetVersion); });
}

SimUpgrade::~SimUpgrade() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  stopped_.notify_all();
  thread_.join();
  std::remove((directory_ + "/group.json").c_str());
  ::rmdir(directory_.c_str());
}

bool SimUpgrade::Step() {
  std::unique_lock<std::mutex> lock(mutex_);
  return !stopped_.wait_for(lock, step_, [this] { return stop_; });
}

std::map<ORVA::MESH::SDK::Client::NodeId, uint8_t> SimUpgrade::NodePercent() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return percent_;
}

void SimUpgrade::Run(const std::vector<Node>& nodes, const std::string& targetVersion) {
  std::vector<Upgrade::GroupMember> members;
  for (const auto& node : nodes) {
    members.push_back({std::to_string(node.id), node.uplink == 0 ? "" : std::to_string(node.uplink),
                       std::make_shared<SimNodeUpdater>(*this)});
  }
  Upgrade::FeedEntry entry;
  entry.version.version = targetVersion;
  entry.sha256 = std::string(64, '0');
  try {
    Upgrade::GroupUpdate(directory_ + "/group.json", 2)
        .Run(members, "", entry, [this](const std::string& id, UPDATE_STAGE, uint8_t percent) {
          std::lock_guard<std::mutex> lock(mutex_);
          percent_[static_cast<ORVA::MESH::SDK::Client::NodeId>(std::stoul(id))] = percent;
        });
  } catch (const Upgrade::MeshUpgradeException&) {
    // Nothing to report to: the simulated daemon shows the nodes where they stopped.
  }
  finished_ = true;
}

}  // namespace orvasim
