#include "orvamesh/driver/netlink_receiver.h"

#include <linux/if_addr.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netlink/errno.h>
#include <netlink/msg.h>
#include <netlink/netlink.h>
#include <netlink/route/addr.h>
#include <netlink/route/link.h>
#include <netlink/route/neighbour.h>
#include <netlink/route/rtnl.h>
#include <netlink/socket.h>
#include <sys/socket.h>

#include <cstring>
#include <deque>
#include <optional>
#include <set>
#include <utility>

#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "utils/guarded_call.h"
#include "utils/receive_loop.h"

namespace ORVA::MESH::SDK::Driver {
namespace {

using orva::net::utils::IPAddress;

// IFF_LOWER_UP: the driver sees a carrier. <linux/if.h>, which names it, clashes with <net/if.h>.
constexpr unsigned kLowerUp = 1u << 16;

Mac MacOf(nl_addr* address) {
  if (address == nullptr || nl_addr_get_len(address) != 6) return Mac();
  ether_addr bytes;
  std::memcpy(bytes.ether_addr_octet, nl_addr_get_binary_addr(address), 6);
  return Mac(bytes);
}

IPAddress IpOf(nl_addr* address) {
  if (address == nullptr) return IPAddress();
  if (nl_addr_get_family(address) == AF_INET6 && nl_addr_get_len(address) == sizeof(in6_addr)) {
    in6_addr a;
    std::memcpy(&a, nl_addr_get_binary_addr(address), sizeof a);
    return IPAddress(a);
  }
  if (nl_addr_get_family(address) == AF_INET && nl_addr_get_len(address) == sizeof(in_addr)) {
    in_addr a;
    std::memcpy(&a, nl_addr_get_binary_addr(address), sizeof a);
    return IPAddress(a);
  }
  return IPAddress();
}

template <typename Event>
void Deliver(const std::function<void(const Event&)>& callback, const Event& event) {
  Detail::GuardedCall(callback, event, "netlink");
}

}  // namespace

const char* NetlinkChangeToString(NETLINK_CHANGE change) {
  switch (change) {
    case NETLINK_CHANGE::ADDED: return "ADDED";
    case NETLINK_CHANGE::CHANGED: return "CHANGED";
    case NETLINK_CHANGE::REMOVED: return "REMOVED";
  }
  return "";
}

bool AddressEvent::Tentative() const noexcept { return (flags & IFA_F_TENTATIVE) != 0; }
bool AddressEvent::Deprecated() const noexcept { return (flags & IFA_F_DEPRECATED) != 0; }

class NetlinkReceiver::Impl {
 public:
  explicit Impl(unsigned groups) : groups_(groups) {}

  unsigned groups_;
  std::function<void(const LinkEvent&)> onLink;
  std::function<void(const AddressEvent&)> onAddress;
  std::function<void(const NeighbourEvent&)> onNeighbour;
  std::function<void(const BridgePortEvent&)> onBridgePort;
  std::function<void(const FdbEvent&)> onFdb;

  void Start();
  void Stop() noexcept {
    loop_.Stop();
    socket_.reset();
  }
  bool IsRunning() const noexcept { return loop_.IsRunning(); }

 private:
  struct Dump {
    int type;
    int family;
  };

  void Subscribe();
  void QueueFullDump();
  void NextDump();
  bool OnReadable();
  static int OnValid(nl_msg* msg, void* self);
  static int OnFinish(nl_msg* msg, void* self);
  static void OnObject(nl_object* object, void* self);
  void Link(rtnl_link* link);
  void BridgePort(rtnl_link* link);
  void Address(rtnl_addr* address);
  void Neighbour(rtnl_neigh* neighbour);
  void EndOfLinkDump();

  std::unique_ptr<nl_sock, decltype(&nl_socket_free)> socket_{nullptr, &nl_socket_free};
  Detail::ReceiveLoop loop_;
  std::deque<Dump> dumps_;
  bool dumping_ = false;
  bool removal_ = false;        // the message being parsed removes what it names
  bool bridgeMessage_ = false;  // it reports a bridge port
  std::optional<Dump> current_;
  std::set<int> links_, ports_, seenLinks_, seenPorts_;
};

void NetlinkReceiver::Impl::Start() {
  socket_.reset(nl_socket_alloc());
  if (!socket_) ORVA_THROW(Exception::RuntimeException, "Fail to allocate a netlink socket");
  nl_socket_disable_seq_check(socket_.get());
  nl_socket_modify_cb(socket_.get(), NL_CB_VALID, NL_CB_CUSTOM, &Impl::OnValid, this);
  nl_socket_modify_cb(socket_.get(), NL_CB_FINISH, NL_CB_CUSTOM, &Impl::OnFinish, this);
  const int rc = nl_connect(socket_.get(), NETLINK_ROUTE);
  if (rc < 0) {
    socket_.reset();
    ORVA_THROW(Exception::RuntimeException, std::string("Fail to connect to routing netlink: ") + nl_geterror(rc));
  }
  // Room for a burst of events (a bridge with many ports going down at once).
  nl_socket_set_buffer_size(socket_.get(), 1 << 20, 0);
  nl_socket_set_nonblocking(socket_.get());
  Subscribe();
  links_.clear();
  ports_.clear();
  QueueFullDump();
  loop_.Start(nl_socket_get_fd(socket_.get()), [this](uint32_t) { return OnReadable(); });
}

void NetlinkReceiver::Impl::Subscribe() {
  if (groups_ & (kLinks | kBridge)) nl_socket_add_memberships(socket_.get(), RTNLGRP_LINK, 0);
  if (groups_ & kAddresses) nl_socket_add_memberships(socket_.get(), RTNLGRP_IPV4_IFADDR, RTNLGRP_IPV6_IFADDR, 0);
  if (groups_ & (kNeighbours | kBridge)) nl_socket_add_memberships(socket_.get(), RTNLGRP_NEIGH, 0);
}

void NetlinkReceiver::Impl::QueueFullDump() {
  dumps_.clear();
  if (groups_ & kLinks) dumps_.push_back({RTM_GETLINK, AF_UNSPEC});
  if (groups_ & kBridge) dumps_.push_back({RTM_GETLINK, AF_BRIDGE});
  if (groups_ & kAddresses) dumps_.push_back({RTM_GETADDR, AF_UNSPEC});
  if (groups_ & kNeighbours) dumps_.push_back({RTM_GETNEIGH, AF_UNSPEC});
  if (groups_ & kBridge) dumps_.push_back({RTM_GETNEIGH, AF_BRIDGE});
  dumping_ = false;
  NextDump();
}

// One dump at a time: the kernel refuses a second on the same socket while one runs.
void NetlinkReceiver::Impl::NextDump() {
  if (dumping_ || dumps_.empty()) return;
  current_ = dumps_.front();
  dumps_.pop_front();
  seenLinks_.clear();
  seenPorts_.clear();
  const int rc = nl_rtgen_request(socket_.get(), current_->type, current_->family, NLM_F_DUMP);
  if (rc < 0) {
    ORVA_LOG_ERR("netlink dump request failed: %s", nl_geterror(rc));
    current_.reset();
    return;
  }
  dumping_ = true;
}

bool NetlinkReceiver::Impl::OnReadable() {
  // Drain what is there; the loop calls again when more arrives.
  for (int round = 0; round < 64; ++round) {
    const int rc = nl_recvmsgs_default(socket_.get());
    if (rc >= 0) continue;
    if (rc == -NLE_AGAIN) return true;
    if (rc == -NLE_NOMEM || rc == -NLE_DUMP_INTR) {
      // The socket overran (ENOBUFS) or a dump raced a change: events are lost, so the whole
      // state is asked for again.
      ORVA_LOG_INFO("netlink events were lost (%s); dumping the state again", nl_geterror(rc));
      QueueFullDump();
      return true;
    }
    if (rc == -NLE_BAD_SOCK) return false;
    ORVA_LOG_ERR("netlink receive failed: %s", nl_geterror(rc));
    return true;
  }
  return true;
}

int NetlinkReceiver::Impl::OnValid(nl_msg* msg, void* self) {
  auto* impl = static_cast<Impl*>(self);
  const int type = nlmsg_hdr(msg)->nlmsg_type;
  impl->removal_ = type == RTM_DELLINK || type == RTM_DELADDR || type == RTM_DELNEIGH;
  impl->bridgeMessage_ = false;
  if ((type == RTM_NEWLINK || type == RTM_DELLINK) && nlmsg_datalen(nlmsg_hdr(msg)) >= static_cast<int>(sizeof(ifinfomsg))) {
    impl->bridgeMessage_ = static_cast<const ifinfomsg*>(nlmsg_data(nlmsg_hdr(msg)))->ifi_family == AF_BRIDGE;
  }
  nl_msg_parse(msg, &Impl::OnObject, self);
  return NL_OK;
}

int NetlinkReceiver::Impl::OnFinish(nl_msg*, void* self) {
  auto* impl = static_cast<Impl*>(self);
  if (impl->current_ && impl->current_->type == RTM_GETLINK) impl->EndOfLinkDump();
  impl->dumping_ = false;
  impl->current_.reset();
  impl->NextDump();
  return NL_OK;
}

void NetlinkReceiver::Impl::OnObject(nl_object* object, void* self) {
  auto* impl = static_cast<Impl*>(self);
  const std::string type = nl_object_get_type(object);
  if (type == "route/link") {
    auto* link = reinterpret_cast<rtnl_link*>(object);
    // The message's own family tells a bridge port's report from a link's; libnl marks a
    // bridge device itself with AF_BRIDGE too.
    if (impl->bridgeMessage_) {
      if (impl->groups_ & kBridge) impl->BridgePort(link);
    } else if (impl->groups_ & kLinks) {
      impl->Link(link);
    }
  } else if (type == "route/addr" && (impl->groups_ & kAddresses)) {
    impl->Address(reinterpret_cast<rtnl_addr*>(object));
  } else if (type == "route/neigh") {
    impl->Neighbour(reinterpret_cast<rtnl_neigh*>(object));
  }
}

void NetlinkReceiver::Impl::Link(rtnl_link* link) {
  LinkEvent event;
  event.index = rtnl_link_get_ifindex(link);
  if (const char* name = rtnl_link_get_name(link)) event.name = name;
  const unsigned flags = rtnl_link_get_flags(link);
  event.up = (flags & IFF_UP) != 0;
  event.carrier = (flags & kLowerUp) != 0;
  event.operState = rtnl_link_get_operstate(link);
  event.mtu = rtnl_link_get_mtu(link);
  event.mac = MacOf(rtnl_link_get_addr(link));
  event.master = rtnl_link_get_master(link);
  if (removal_) {
    event.change = NETLINK_CHANGE::REMOVED;
    links_.erase(event.index);
  } else {
    event.change = links_.insert(event.index).second ? NETLINK_CHANGE::ADDED : NETLINK_CHANGE::CHANGED;
    seenLinks_.insert(event.index);
  }
  Deliver(onLink, event);
}

void NetlinkReceiver::Impl::BridgePort(rtnl_link* link) {
  BridgePortEvent event;
  event.index = rtnl_link_get_ifindex(link);
  if (const char* name = rtnl_link_get_name(link)) event.name = name;
  event.bridge = rtnl_link_get_master(link);
  event.carrier = (rtnl_link_get_flags(link) & kLowerUp) != 0;
  // The bridge itself is reported in the same family; it is no port of itself.
  if (event.bridge == 0 || event.bridge == event.index) return;
  if (removal_) {
    event.change = NETLINK_CHANGE::REMOVED;
    if (ports_.erase(event.index) == 0) return;
  } else {
    event.change = ports_.insert(event.index).second ? NETLINK_CHANGE::ADDED : NETLINK_CHANGE::CHANGED;
    seenPorts_.insert(event.index);
  }
  Deliver(onBridgePort, event);
}

// After a dump that followed lost events, whatever was known and is no longer there went
// away unseen.
void NetlinkReceiver::Impl::EndOfLinkDump() {
  const bool bridge = current_->family == AF_BRIDGE;
  std::set<int>& known = bridge ? ports_ : links_;
  const std::set<int>& seen = bridge ? seenPorts_ : seenLinks_;
  for (auto it = known.begin(); it != known.end();) {
    if (seen.count(*it) != 0) {
      ++it;
      continue;
    }
    if (bridge) {
      BridgePortEvent event;
      event.change = NETLINK_CHANGE::REMOVED;
      event.index = *it;
      Deliver(onBridgePort, event);
    } else {
      LinkEvent event;
      event.change = NETLINK_CHANGE::REMOVED;
      event.index = *it;
      Deliver(onLink, event);
    }
    it = known.erase(it);
  }
}

void NetlinkReceiver::Impl::Address(rtnl_addr* address) {
  AddressEvent event;
  event.change = removal_ ? NETLINK_CHANGE::REMOVED : NETLINK_CHANGE::ADDED;
  event.index = rtnl_addr_get_ifindex(address);
  event.address = IpOf(rtnl_addr_get_local(address));
  event.prefixLength = static_cast<uint8_t>(rtnl_addr_get_prefixlen(address));
  event.scope = static_cast<uint8_t>(rtnl_addr_get_scope(address));
  event.flags = rtnl_addr_get_flags(address);
  Deliver(onAddress, event);
}

void NetlinkReceiver::Impl::Neighbour(rtnl_neigh* neighbour) {
  const NETLINK_CHANGE change = removal_ ? NETLINK_CHANGE::REMOVED : NETLINK_CHANGE::ADDED;
  if (rtnl_neigh_get_family(neighbour) == AF_BRIDGE) {
    if (!(groups_ & kBridge)) return;
    FdbEvent event{change, rtnl_neigh_get_ifindex(neighbour), rtnl_neigh_get_master(neighbour),
                   MacOf(rtnl_neigh_get_lladdr(neighbour))};
    Deliver(onFdb, event);
    return;
  }
  if (!(groups_ & kNeighbours)) return;
  NeighbourEvent event;
  event.change = change;
  event.index = rtnl_neigh_get_ifindex(neighbour);
  event.address = IpOf(rtnl_neigh_get_dst(neighbour));
  event.mac = MacOf(rtnl_neigh_get_lladdr(neighbour));
  event.state = static_cast<uint16_t>(rtnl_neigh_get_state(neighbour));
  Deliver(onNeighbour, event);
}

NetlinkReceiver::NetlinkReceiver(unsigned groups) : impl_(std::make_unique<Impl>(groups)) {}

NetlinkReceiver::~NetlinkReceiver() { Stop(); }

#define ORVA_NETLINK_SETTER(Name, member, Event)                                                  \
  void NetlinkReceiver::Name(std::function<void(const Event&)> callback) {                        \
    if (impl_->IsRunning()) ORVA_THROW(Exception::LogicException, "Callbacks are set before Start"); \
    impl_->member = std::move(callback);                                                         \
  }
ORVA_NETLINK_SETTER(OnLink, onLink, LinkEvent)
ORVA_NETLINK_SETTER(OnAddress, onAddress, AddressEvent)
ORVA_NETLINK_SETTER(OnNeighbour, onNeighbour, NeighbourEvent)
ORVA_NETLINK_SETTER(OnBridgePort, onBridgePort, BridgePortEvent)
ORVA_NETLINK_SETTER(OnFdb, onFdb, FdbEvent)
#undef ORVA_NETLINK_SETTER

void NetlinkReceiver::Start() {
  if (impl_->IsRunning()) return;
  impl_->Stop();
  impl_->Start();
}

void NetlinkReceiver::Stop() noexcept { impl_->Stop(); }

bool NetlinkReceiver::IsRunning() const noexcept { return impl_->IsRunning(); }

}  // namespace ORVA::MESH::SDK::Driver
