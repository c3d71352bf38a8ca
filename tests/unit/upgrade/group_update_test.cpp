#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <thread>

#include "orvamesh/upgrade/group_update.h"
#include "orvamesh/upgrade/mesh_upgrade_exception.h"
#include "support/temp_dir.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Upgrade;
using S = NODE_UPDATE_STATE;

// Records what the group asked of each node; the real updaters are tested against sshd.
struct Journal {
  std::mutex mutex;
  std::vector<std::string> started;
  int running = 0, mostAtOnce = 0;
};

class RecordingUpdater : public NodeUpdater {
 public:
  RecordingUpdater(std::string id, Journal& journal, bool fails = false, bool runsTarget = false)
      : id_(std::move(id)), journal_(journal), fails_(fails), runsTarget_(runsTarget) {}
  bool Runs(const FeedEntry&) override { return runsTarget_; }
  void Update(const std::string&, const FeedEntry&, const Progress& progress) override {
    {
      std::lock_guard<std::mutex> lock(journal_.mutex);
      journal_.started.push_back(id_);
      journal_.mostAtOnce = std::max(journal_.mostAtOnce, ++journal_.running);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // stands in for the writer
    progress(Client::UPDATE_STAGE::UPGRADING, 50);
    std::lock_guard<std::mutex> lock(journal_.mutex);
    --journal_.running;
    if (fails_) ORVA_THROW(NodeUpdateException, "writer failed on " + id_);
  }

 private:
  std::string id_;
  Journal& journal_;
  bool fails_;
  bool runsTarget_;
};

// cap <- a <- {b, c}, cap <- d
std::vector<GroupMember> Tree(Journal& journal, const std::string& failing = "", const std::string& onTarget = "") {
  std::vector<GroupMember> members;
  for (const auto& [id, parent] : std::vector<std::pair<std::string, std::string>>{
           {"cap", ""}, {"a", "cap"}, {"b", "a"}, {"c", "a"}, {"d", "cap"}}) {
    members.push_back({id, parent, std::make_shared<RecordingUpdater>(id, journal, id == failing, id == onTarget)});
  }
  return members;
}

FeedEntry Target() {
  FeedEntry e;
  e.sha256 = std::string(64, 'c');
  e.version.version = "5.3.0";
  return e;
}

size_t Position(const std::vector<std::string>& order, const std::string& id) {
  return static_cast<size_t>(std::find(order.begin(), order.end(), id) - order.begin());
}

TEST(GroupUpdate, UpdatesEveryNodeAfterTheNodesBelowItAndTheCapLast) {
  orva::test::TempDir dir;
  for (unsigned parallel : {1u, 2u, 4u}) {
    Journal journal;
    const GroupReport report = GroupUpdate(dir.Join("group-" + std::to_string(parallel) + ".json"), parallel)
                                   .Run(Tree(journal), "/image", Target());
    EXPECT_TRUE(report.Complete());
    ASSERT_EQ(journal.started.size(), 5u);
    EXPECT_EQ(journal.started.back(), "cap");
    EXPECT_GT(Position(journal.started, "a"), Position(journal.started, "b"));
    EXPECT_GT(Position(journal.started, "a"), Position(journal.started, "c"));
    EXPECT_LE(journal.mostAtOnce, static_cast<int>(parallel));
    EXPECT_TRUE(parallel == 1 || journal.mostAtOnce > 1) << "branches run together";
  }
}

TEST(GroupUpdate, StopsStartingNodesAtTheFirstFailureAndSaysWhereEachStands) {
  orva::test::TempDir dir;
  Journal journal;
  const std::string file = dir.Join("group.json");
  const GroupReport report = GroupUpdate(file, 1).Run(Tree(journal, "b"), "/image", Target());
  EXPECT_FALSE(report.Complete());
  EXPECT_EQ(report.With(S::FAILED), std::vector<std::string>{"b"});
  EXPECT_NE(report.errors.at("b").find("writer failed on b"), std::string::npos);
  EXPECT_EQ(report.With(S::UPDATED).size() + report.With(S::PENDING).size(), 4u);
  EXPECT_EQ(report.nodes.at("cap"), S::PENDING);
  EXPECT_EQ(report.nodes.at("a"), S::PENDING);
  const GroupReport saved = GroupUpdate::Status(file);
  EXPECT_EQ(saved.nodes, report.nodes);
  EXPECT_EQ(saved.errors, report.errors);
}

TEST(GroupUpdate, ResumesFromItsFileWithoutWritingANodeTwice) {
  orva::test::TempDir dir;
  // A file left by an earlier run towards Target() with these nodes' states.
  const auto leftBehind = [&](const std::string& nodes) {
    return dir.WriteFile("group.json",
                         "{\"target_sha256\": \"" + std::string(64, 'c') + "\", \"nodes\": {" + nodes + "}}");
  };
  // An interrupted node that did not come back with the target is reported, not written again.
  Journal interrupted;
  const std::string file = leftBehind(R"("b": {"state": "UPDATED"}, "c": {"state": "UPDATING"})");
  const GroupReport failed = GroupUpdate(file, 1).Run(Tree(interrupted), "/image", Target());
  EXPECT_EQ(failed.With(S::FAILED), std::vector<std::string>{"c"});
  EXPECT_NE(failed.errors.at("c").find("interrupted"), std::string::npos);
  EXPECT_EQ(Position(interrupted.started, "b"), interrupted.started.size());
  EXPECT_EQ(Position(interrupted.started, "c"), interrupted.started.size());
  EXPECT_EQ(failed.nodes.at("cap"), S::PENDING);

  Journal other;
  FeedEntry newer = Target();
  newer.sha256 = std::string(64, 'd');
  GroupUpdate(file, 2).Run(Tree(other), "/image", newer);
  EXPECT_EQ(other.started.size(), 5u) << "a file about another image is not resumed";
}

TEST(GroupUpdate, RefusesAGroupUpdateFileItCannotRead) {
  orva::test::TempDir dir;
  for (const char* text : {"not json", "{\"nodes\": {\"a\": {\"state\": \"HALFWAY\"}}}"}) {
    const std::string file = dir.WriteFile("bad.json", text);
    EXPECT_THROW(GroupUpdate::Status(file), GroupUpdateException) << text;
  }
  EXPECT_TRUE(GroupUpdate::Status(dir.Join("missing.json")).nodes.empty());
}

}  // namespace
