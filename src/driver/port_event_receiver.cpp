#include "orvamesh/driver/port_event_receiver.h"

#include <map>

#include "orvamesh/base/log.h"
#include "orvamesh/driver/ioctl_helper.h"
#include "orvamesh/driver/netlink_receiver.h"

namespace ORVA::MESH::SDK::Driver {

class PortEventReceiver::Impl {
 public:
  explicit Impl(std::set<std::string> ports) : ports_(std::move(ports)) {}

  void Start(std::function<void(const PortEvent&)> callback) {
    callback_ = std::move(callback);
    last_.clear();
    receiver_ = std::make_unique<NetlinkReceiver>(NetlinkReceiver::kLinks);
    receiver_->OnLink([this](const LinkEvent& e) { OnLink(e); });
    receiver_->Start();
  }

  void Stop() noexcept {
    if (receiver_) receiver_->Stop();
    receiver_.reset();
  }

 private:
  void OnLink(const LinkEvent& e) {
    if (e.change == NETLINK_CHANGE::REMOVED) {
      last_.erase(e.name);
      return;
    }
    if (!ports_.empty() && ports_.count(e.name) == 0) return;
    PortEvent event{e.name, e.carrier, 0, false};
    if (e.carrier) {
      try {
        const EthernetLinkSettings link = IOCTLHelper::GetEthernetLink(e.name);
        event.speedMbps = link.speedMbps;
        event.fullDuplex = link.fullDuplex;
      } catch (const std::exception& ex) {
        // Not every interface speaks ethtool (a bridge, a tunnel): its carrier is still news.
        ORVA_LOG_DEBUG("no link settings for %s: %s", e.name.c_str(), ex.what());
      }
    }
    const auto known = last_.find(e.name);
    if (known != last_.end() && known->second.carrier == event.carrier && known->second.speedMbps == event.speedMbps &&
        known->second.fullDuplex == event.fullDuplex) {
      return;
    }
    last_[e.name] = event;
    if (callback_) callback_(event);
  }

  std::set<std::string> ports_;
  std::function<void(const PortEvent&)> callback_;
  std::map<std::string, PortEvent> last_;  // touched by the receiver's thread only
  std::unique_ptr<NetlinkReceiver> receiver_;
};

PortEventReceiver::PortEventReceiver(std::set<std::string> ports) : impl_(std::make_unique<Impl>(std::move(ports))) {}

PortEventReceiver::~PortEventReceiver() { Stop(); }

void PortEventReceiver::Start(std::function<void(const PortEvent&)> callback) {
  impl_->Stop();
  impl_->Start(std::move(callback));
}

void PortEventReceiver::Stop() noexcept { impl_->Stop(); }

}  // namespace ORVA::MESH::SDK::Driver
