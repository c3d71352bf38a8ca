#include "orvamesh/monitor/bridge_monitor.h"

#include <net/if.h>

#include <mutex>

#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "orvamesh/driver/netlink_receiver.h"
#include "monitor/fdb_moves.h"
#include "utils/guarded_call.h"

namespace ORVA::MESH::SDK::Monitor {
namespace {

template <typename Event>
void Deliver(const std::function<void(const Event&)>& callback, const Event& event) {
  Detail::GuardedCall(callback, event, "bridge monitor");
}

}  // namespace

class BridgeMonitor::Impl {
 public:
  Impl(std::string bridge, std::chrono::milliseconds loopWindow) : bridge_(std::move(bridge)), moves_(loopWindow) {}

  std::function<void(const Driver::BridgePortEvent&)> onPort;
  std::function<void(const MacMove&)> onMove;

  void Start() {
    index_ = static_cast<int>(::if_nametoindex(bridge_.c_str()));
    if (index_ == 0) ORVA_THROW(Exception::InvalidArgumentException, "Bridge [" + bridge_ + "] does not exist");
    receiver_ = std::make_unique<Driver::NetlinkReceiver>(Driver::NetlinkReceiver::kBridge);
    receiver_->OnBridgePort([this](const Driver::BridgePortEvent& e) { Port(e); });
    receiver_->OnFdb([this](const Driver::FdbEvent& e) { Fdb(e); });
    receiver_->Start();
  }

  void Stop() noexcept {
    if (receiver_) receiver_->Stop();
    receiver_.reset();
  }

  std::map<int, BridgePortState> Ports() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return ports_;
  }

  std::map<Mac, int> Fdb() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::map<Mac, int> out;
    for (const auto& [mac, port] : moves_.Entries()) out[mac] = static_cast<int>(port);
    return out;
  }

 private:
  void Port(const Driver::BridgePortEvent& e) {
    // A port that left is reported without its bridge; it was ours if we knew it.
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (e.change == Driver::NETLINK_CHANGE::REMOVED) {
        if (ports_.erase(e.index) == 0) return;
        moves_.PortLeft(static_cast<uint32_t>(e.index));
      } else {
        if (e.bridge != index_) return;
        ports_[e.index] = {e.name, e.carrier};
      }
    }
    Deliver(onPort, e);
  }

  void Fdb(const Driver::FdbEvent& e) {
    if (e.bridge != index_ || e.port == index_ || !e.mac.IsValid()) return;
    std::optional<FdbMove> move;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (ports_.count(e.port) == 0) return;
      if (e.change == Driver::NETLINK_CHANGE::REMOVED) {
        moves_.Forgotten(e.mac, static_cast<uint32_t>(e.port));
        return;
      }
      move = moves_.Learned(e.mac, static_cast<uint32_t>(e.port), FdbMoves::Clock::now());
    }
    if (!move) return;
    if (move->possibleLoop) {
      ORVA_LOG_ERR("bridge %s: %s moved from port %u to %u at once: possible loop", bridge_.c_str(),
                   move->mac.ToString().c_str(), move->fromPort, move->toPort);
    }
    Deliver(onMove, MacMove{move->mac, static_cast<int>(move->fromPort), static_cast<int>(move->toPort), move->possibleLoop});
  }

  std::string bridge_;
  int index_ = 0;
  mutable std::mutex mutex_;
  std::map<int, BridgePortState> ports_;  // guarded by mutex_
  FdbMoves moves_;                        // guarded by mutex_
  std::unique_ptr<Driver::NetlinkReceiver> receiver_;
};

BridgeMonitor::BridgeMonitor(std::string bridge, std::chrono::milliseconds loopWindow)
    : impl_(std::make_unique<Impl>(std::move(bridge), loopWindow)) {}

BridgeMonitor::~BridgeMonitor() { Stop(); }

void BridgeMonitor::OnPort(std::function<void(const Driver::BridgePortEvent&)> callback) { impl_->onPort = std::move(callback); }

void BridgeMonitor::OnMove(std::function<void(const MacMove&)> callback) { impl_->onMove = std::move(callback); }

void BridgeMonitor::Start() {
  impl_->Stop();
  impl_->Start();
}

void BridgeMonitor::Stop() noexcept { impl_->Stop(); }

std::map<int, BridgePortState> BridgeMonitor::Ports() const { return impl_->Ports(); }

std::map<Mac, int> BridgeMonitor::Fdb() const { return impl_->Fdb(); }

}  // namespace ORVA::MESH::SDK::Monitor
