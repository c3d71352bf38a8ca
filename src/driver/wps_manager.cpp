#include "orvamesh/driver/wps_manager.h"

#include "orvamesh/mac.h"
#include "orvamesh/base/log.h"

namespace ORVA::MESH::SDK::Driver {
namespace {

WPSManager* gInstance = nullptr;

// Holds a plain mutex for one scope.
class Hold {
 public:
  explicit Hold(pthread_mutex_t& mutex) : mutex_(mutex), locked_(pthread_mutex_lock(&mutex) == 0) {}
  ~Hold() {
    if (locked_) pthread_mutex_unlock(&mutex_);
  }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;
  bool Locked() const { return locked_; }

 private:
  pthread_mutex_t& mutex_;
  bool locked_;
};

}  // namespace

WPSManager* WPSManager::GetInstance() {
  if (gInstance == nullptr) gInstance = new WPSManager();
  return gInstance;
}

WPSManager::WPSManager() {
  pthread_mutex_init(&mutex_, nullptr);
  pthread_mutex_init(&mapMutex_, nullptr);
}

WPSManager::~WPSManager() {
  pthread_mutex_destroy(&mutex_);
  pthread_mutex_destroy(&mapMutex_);
}

HostapHelper* WPSManager::FindHostapHelper(const std::string& ifname) {
  auto found = hostapHelpers_.find(ifname);
  if (found != hostapHelpers_.end()) return found->second;
  auto* helper = new HostapHelper(ifname);
  if (!helper->IsHostapdReady()) {
    delete helper;
    return nullptr;
  }
  hostapHelpers_.emplace(ifname, helper);
  return helper;
}

WPAHelper* WPSManager::FindWPAHelper(const std::string& ifname) {
  auto found = wpaHelpers_.find(ifname);
  if (found != wpaHelpers_.end()) return found->second;
  auto* helper = new WPAHelper(ifname);
  if (!helper->IsWPASupplicantReady()) {
    delete helper;
    return nullptr;
  }
  wpaHelpers_.emplace(ifname, helper);
  return helper;
}

template <typename Helper>
int WPSManager::Run(const std::string& ifname, Helper* (WPSManager::*find)(const std::string&), int notReady,
                    const std::string& cmd, const std::vector<std::string>& args) {
  Hold hold(mutex_);
  if (!hold.Locked()) return -1;
  Helper* helper = (this->*find)(ifname);
  if (helper == nullptr) return notReady;
  std::string result;
  int rc = helper->SendCommand(cmd, args, result, false);
  return rc < 0 ? rc : 0;
}

int WPSManager::StartOnHostap(const std::string& ifname) {
  return Run(ifname, &WPSManager::FindHostapHelper, HostapHelper::kNotReady, "wps_pbc", {});
}

int WPSManager::StopOnHostap(const std::string& ifname) {
  return Run(ifname, &WPSManager::FindHostapHelper, HostapHelper::kNotReady, "wps_cancel", {});
}

int WPSManager::StartOnWPA(const std::string& ifname) {
  Hold hold(mutex_);
  if (!hold.Locked()) return -1;
  WPAHelper* helper = FindWPAHelper(ifname);
  if (helper == nullptr) {
    ORVA_LOG_ERR("wpa_supplicant is not ready");
    return WPAHelper::kNotReady;
  }
  std::string result;
  int rc = helper->SendCommand("wps_pbc", {}, result, false);
  if (rc < 0) {
    ORVA_LOG_ERR("Failed to start wps on %s", ifname.c_str());
    return rc;
  }
  return 0;
}

int WPSManager::StopOnWPA(const std::string& ifname) {
  return Run(ifname, &WPSManager::FindWPAHelper, WPAHelper::kNotReady, "wps_cancel", {});
}

int WPSManager::StartOnRemoteSTA(const std::string& ifname, const ether_addr& sta) {
  std::string address;
  if (Mac::MacToStr(sta, address) != 0) return -2;
  int rc = Run(ifname, &WPSManager::FindWPAHelper, WPAHelper::kNotReady, "orvastartwps", {"orvawpsaddr=" + address});
  if (rc == 0) ORVA_LOG_DEBUG("Started remote WPS on vap %s, %s", ifname.c_str(), address.c_str());
  return rc;
}

}  // namespace ORVA::MESH::SDK::Driver
