#include "orvamesh/monitor/ethernet_uplink_monitor.h"

#include <net/if.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "orvamesh/driver/netlink_receiver.h"
#include "orvamesh/utils/address.h"
#include "orvamesh/utils/ping6.h"

namespace ORVA::MESH::SDK::Monitor {

class EthernetUplinkMonitor::Impl {
 public:
  Impl(std::string port, UplinkMonitorOptions options)
      : port_(std::move(port)), options_(std::move(options)), machine_(options_.missesToLeaveUp, options_.answersToReturn) {
    if (options_.timeout > options_.interval) options_.timeout = options_.interval;
  }

  void Start(Callback callback) {
    index_ = static_cast<int>(::if_nametoindex(port_.c_str()));
    if (index_ == 0) ORVA_THROW(Exception::InvalidArgumentException, "Port [" + port_ + "] does not exist");
    callback_ = std::move(callback);
    stop_ = false;
    receiver_ = std::make_unique<Driver::NetlinkReceiver>(Driver::NetlinkReceiver::kLinks);
    receiver_->OnLink([this](const Driver::LinkEvent& e) {
      if (e.index == index_) Apply([&] { return machine_.Carrier(e.change != Driver::NETLINK_CHANGE::REMOVED && e.carrier); });
    });
    receiver_->Start();
    pinger_ = std::thread([this] { PingLoop(); });
  }

  void Stop() noexcept {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stop_ = true;
    }
    wake_.notify_all();
    if (pinger_.joinable()) pinger_.join();
    if (receiver_) receiver_->Stop();
    receiver_.reset();
  }

  UPLINK_STATE State() const noexcept { return state_.load(); }

 private:
  // Moves the machine and tells the callback, one change at a time and in order.
  template <typename Event>
  void Apply(Event event) {
    std::lock_guard<std::mutex> lock(machineMutex_);
    const std::optional<UplinkChange> change = event();
    if (!change) return;
    state_ = change->to;
    ORVA_LOG_INFO("uplink %s: %s -> %s (%s)", port_.c_str(), UplinkStateToString(change->from),
                  UplinkStateToString(change->to), change->reason.c_str());
    try {
      if (callback_) callback_(*change);
    } catch (const std::exception& e) {
      ORVA_LOG_ERR("uplink callback failed: %s", e.what());
    } catch (...) {
      ORVA_LOG_ERR("uplink callback failed");
    }
  }

  bool WaitInterval() {
    std::unique_lock<std::mutex> lock(mutex_);
    return !wake_.wait_for(lock, options_.interval, [this] { return stop_; });
  }

  bool PingOnce(std::optional<Ping6Session>& session) {
    const auto gateway = options_.gateway ? options_.gateway : Address::GetIPv6DefaultGateway(port_);
    if (!gateway) return false;
    try {
      if (!session) session.emplace(port_);
      return session->Ping(*gateway, Deadline(options_.timeout)).has_value();
    } catch (const std::exception& e) {
      // The port may be gone for a moment (a driver reload); the next ping opens a new socket.
      ORVA_LOG_INFO("uplink %s: ping failed: %s", port_.c_str(), e.what());
      session.reset();
      return false;
    }
  }

  void PingLoop() {
    std::optional<Ping6Session> session;
    while (WaitInterval()) {
      if (State() == UPLINK_STATE::DOWN) continue;
      const bool answered = PingOnce(session);
      Apply([&] { return answered ? machine_.PingAnswered() : machine_.PingMissed(); });
    }
  }

  std::string port_;
  UplinkMonitorOptions options_;
  int index_ = 0;
  Callback callback_;
  std::mutex machineMutex_;
  UplinkState machine_;  // guarded by machineMutex_
  std::atomic<UPLINK_STATE> state_{UPLINK_STATE::DOWN};
  std::mutex mutex_;
  std::condition_variable wake_;
  bool stop_ = false;  // guarded by mutex_
  std::unique_ptr<Driver::NetlinkReceiver> receiver_;
  std::thread pinger_;
};

EthernetUplinkMonitor::EthernetUplinkMonitor(std::string port, UplinkMonitorOptions options)
    : impl_(std::make_unique<Impl>(std::move(port), std::move(options))) {}

EthernetUplinkMonitor::~EthernetUplinkMonitor() { Stop(); }

void EthernetUplinkMonitor::Start(Callback callback) {
  impl_->Stop();
  impl_->Start(std::move(callback));
}

void EthernetUplinkMonitor::Stop() noexcept { impl_->Stop(); }

UPLINK_STATE EthernetUplinkMonitor::GetState() const noexcept { return impl_->State(); }

}  // namespace ORVA::MESH::SDK::Monitor
