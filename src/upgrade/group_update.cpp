#include "orvamesh/upgrade/group_update.h"

#include "platform/text.h"

#include <json/json.h>

#include <iterator>
#include <unistd.h>

#include <condition_variable>
#include <fstream>
#include <mutex>
#include <set>
#include <sstream>
#include <thread>
#include "orvamesh/base/log.h"
#include "orvamesh/upgrade/mesh_upgrade_exception.h"
#include "platform/atomic_file.h"

namespace ORVA::MESH::SDK::Upgrade {
namespace {

constexpr const char* kStateNames[] = {"PENDING", "UPDATING", "UPDATED", "FAILED"};

NODE_UPDATE_STATE StateFromString(const std::string& text) {
  for (int i = 0; i < 4; ++i) {
    if (text == kStateNames[i]) return static_cast<NODE_UPDATE_STATE>(i);
  }
  ORVA_THROW_IN(GroupUpdateException, "Status", "unknown node state '" + text + "' in the group-update file");
}

void Save(const std::string& path, const GroupReport& report) {
  Json::Value root(Json::objectValue);
  root["target_sha256"] = report.targetSha256;
  for (const auto& [id, state] : report.nodes) {
    Json::Value& node = root["nodes"][id];
    node["state"] = kStateNames[static_cast<int>(state)];
    const auto error = report.errors.find(id);
    if (error != report.errors.end()) node["error"] = error->second;
  }
  Json::StreamWriterBuilder writer;
  writer["indentation"] = " ";
  if (orva::platform::WriteFileAtomically(path, Json::writeString(writer, root) + "\n", 0644) != 0) {
    const int error = errno;
    ORVA_THROW_IN(GroupUpdateException, "Run", Exception::WithErrno("cannot write " + path, error));
  }
}

// Runs the members' updates on up to `parallel` threads, each member after its children.
class Scheduler {
 public:
  Scheduler(const std::vector<GroupMember>& members, GroupReport& report, const std::string& file, unsigned parallel,
            std::set<std::string> interrupted)
      : members_(members), report_(report), file_(file), parallel_(parallel), interrupted_(std::move(interrupted)) {}

  void Run(const std::string& image, const FeedEntry& entry, const GroupUpdate::Progress& progress) {
    std::unique_lock<std::mutex> lock(mutex_);
    std::vector<std::thread> threads;
    for (;;) {
      while (!stopped_ && running_ < parallel_) {
        const GroupMember* next = Ready();
        if (next == nullptr) break;
        SetState(next->id, NODE_UPDATE_STATE::UPDATING, "");
        ++running_;
        threads.emplace_back([this, next, &image, &entry, &progress] { UpdateOne(*next, image, entry, progress); });
      }
      if (running_ == 0) break;
      changed_.wait(lock);
    }
    lock.unlock();
    for (auto& t : threads) t.join();
  }

 private:
  // A pending member whose children have all been updated.
  const GroupMember* Ready() const {
    for (const auto& m : members_) {
      if (report_.nodes.at(m.id) != NODE_UPDATE_STATE::PENDING) continue;
      bool childrenDone = true;
      for (const auto& c : members_) {
        if (c.parent == m.id && report_.nodes.at(c.id) != NODE_UPDATE_STATE::UPDATED) childrenDone = false;
      }
      if (childrenDone) return &m;
    }
    return nullptr;
  }

  void SetState(const std::string& id, NODE_UPDATE_STATE state, const std::string& error) {
    report_.nodes[id] = state;
    if (state == NODE_UPDATE_STATE::FAILED) report_.errors[id] = error;
    Save(file_, report_);
  }

  void UpdateOne(const GroupMember& m, const std::string& image, const FeedEntry& entry,
                 const GroupUpdate::Progress& progress) {
    std::string error;
    try {
      if (interrupted_.count(m.id) != 0) {
        // Written when the last run died, maybe still rebooting: never written twice.
        if (!m.updater->AwaitTarget(entry)) {
          error = "the update was interrupted and the node does not run " + entry.version.version +
                  "; check the node before updating it again";
        }
      } else if (!m.updater->Runs(entry)) {
        // A resumed update may find the node already on the target: it is not written again.
        m.updater->Update(image, entry, [&](Client::UPDATE_STAGE stage, uint8_t percent) {
          if (progress) progress(m.id, stage, percent);
        });
      }
    } catch (const std::exception& e) {
      error = e.what();
    }
    std::lock_guard<std::mutex> lock(mutex_);
    try {
      SetState(m.id, error.empty() ? NODE_UPDATE_STATE::UPDATED : NODE_UPDATE_STATE::FAILED, error);
    } catch (const std::exception& e) {
      ORVA_LOG_ERR("%s", e.what());
    }
    if (!error.empty()) {
      ORVA_LOG_ERR("update of node %s failed: %s", m.id.c_str(), error.c_str());
      stopped_ = true;
    }
    if (progress) progress(m.id, error.empty() ? Client::UPDATE_STAGE::DONE : Client::UPDATE_STAGE::FAILED, 100);
    --running_;
    changed_.notify_all();
  }

  const std::vector<GroupMember>& members_;
  GroupReport& report_;
  const std::string& file_;
  unsigned parallel_;
  std::mutex mutex_;
  std::condition_variable changed_;
  const std::set<std::string> interrupted_;
  unsigned running_ = 0;
  bool stopped_ = false;  // guarded by mutex_
};

}  // namespace

const char* NodeUpdateStateToString(NODE_UPDATE_STATE state) { return kStateNames[static_cast<int>(state) & 3]; }

std::vector<std::string> GroupReport::With(NODE_UPDATE_STATE state) const {
  std::vector<std::string> ids;
  for (const auto& [id, s] : nodes) {
    if (s == state) ids.push_back(id);
  }
  return ids;
}

bool GroupReport::Complete() const { return !nodes.empty() && With(NODE_UPDATE_STATE::UPDATED).size() == nodes.size(); }

GroupUpdate::GroupUpdate(std::string stateFile, unsigned parallel)
    : stateFile_(std::move(stateFile)), parallel_(parallel == 0 ? 1 : parallel) {}

std::vector<GroupMember> GroupUpdate::FromTopology(const Scan::Topology& topology,
                                                   const std::function<std::shared_ptr<NodeUpdater>(const Mac&)>& make) {
  std::vector<GroupMember> members;
  for (const auto& [mac, node] : topology.GetNodes()) {
    members.push_back({mac.ToString(), mac == topology.GetRoot() ? "" : node.parent.ToString(), make(mac)});
  }
  return members;
}

GroupReport GroupUpdate::Status(const std::string& stateFile) {
  GroupReport report;
  std::ifstream in(stateFile);
  if (!in) return report;
  Json::Value root;
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (!orva::platform::ParseJsonText(text, root) || !root.isObject() || !root["nodes"].isObject()) {
    ORVA_THROW(GroupUpdateException, "the group-update file " + stateFile + " is not readable");
  }
  report.targetSha256 = root["target_sha256"].asString();
  for (const auto& id : root["nodes"].getMemberNames()) {
    const Json::Value& node = root["nodes"][id];
    report.nodes[id] = StateFromString(node["state"].asString());
    if (node.isMember("error")) report.errors[id] = node["error"].asString();
  }
  return report;
}

GroupReport GroupUpdate::Run(const std::vector<GroupMember>& members, const std::string& image, const FeedEntry& entry,
                             const Progress& progress) {
  GroupReport previous = Status(stateFile_);
  const bool resume = previous.targetSha256 == entry.sha256;
  GroupReport report;
  report.targetSha256 = entry.sha256;
  std::set<std::string> interrupted;
  for (const auto& m : members) {
    if (!m.updater) ORVA_THROW(GroupUpdateException, "member " + m.id + " has no updater");
    const auto before = previous.nodes.find(m.id);
    const bool known = resume && before != previous.nodes.end();
    report.nodes[m.id] = known && before->second == NODE_UPDATE_STATE::UPDATED ? NODE_UPDATE_STATE::UPDATED : NODE_UPDATE_STATE::PENDING;
    if (known && before->second == NODE_UPDATE_STATE::UPDATING) interrupted.insert(m.id);
  }
  Save(stateFile_, report);
  Scheduler(members, report, stateFile_, parallel_, std::move(interrupted)).Run(image, entry, progress);
  return report;
}

}  // namespace ORVA::MESH::SDK::Upgrade
