#pragma once
// The one place through which the mesh daemon starts and stops push-button WPS: on an AP
// interface through hostapd, on a station interface through wpa_supplicant, or towards one
// remote station. It keeps one helper per interface, made the first time the daemon behind
// the interface answers, and runs every WPS action of the process under one lock.
//
// GetInstance creates the instance on first use without a lock: make the first call before
// threads compete for it. The instance lives for the whole process; its helpers are never
// freed.
#include <net/ethernet.h>
#include <pthread.h>

#include <map>
#include <string>
#include <vector>

#include "orvamesh/driver/hostap_helper.h"
#include "orvamesh/driver/wpa_helper.h"
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Driver {

class ORVA_EXPORT WPSManager {
 public:
  static WPSManager* GetInstance();

  // 0, -101 / -201 when the interface's daemon does not answer, or the helper's code.
  int StartOnHostap(const std::string& ifname);
  int StopOnHostap(const std::string& ifname);
  int StartOnWPA(const std::string& ifname);
  int StopOnWPA(const std::string& ifname);
  // WPS towards `sta` ("orvastartwps orvawpsaddr=<mac>"); -2 when the address has no text.
  int StartOnRemoteSTA(const std::string& ifname, const ether_addr& sta);

  // The interface's helper, made and remembered when its daemon answers; null otherwise.
  // Call with the lock held (the operations above do).
  HostapHelper* FindHostapHelper(const std::string& ifname);
  WPAHelper* FindWPAHelper(const std::string& ifname);

  WPSManager(const WPSManager&) = delete;
  WPSManager& operator=(const WPSManager&) = delete;

 private:
  WPSManager();
  ~WPSManager();

  template <typename Helper>
  int Run(const std::string& ifname, Helper* (WPSManager::*find)(const std::string&), int notReady,
          const std::string& cmd, const std::vector<std::string>& args);

  pthread_mutex_t mutex_;
  // Reserved for the maps alone; every operation above holds mutex_, which also guards them.
  pthread_mutex_t mapMutex_;
  std::map<std::string, HostapHelper*> hostapHelpers_;
  std::map<std::string, WPAHelper*> wpaHelpers_;
};

}  // namespace ORVA::MESH::SDK::Driver
