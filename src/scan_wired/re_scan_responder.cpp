#include "orvamesh/scan_wired/re_scan_responder.h"

#include <arpa/inet.h>
#include <netinet/ether.h>
#include <netinet/in.h>

#include <cerrno>
#include <cstring>

#include "orvamesh/scan_wired/probe_packet.h"
#include "orvamesh/scan_wired/scan_listener.h"
#include "orvamesh/scan_wired/scan_responder.h"
#include "orvamesh/utils/address.h"
#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "orvamesh/utils/utils.h"

namespace ORVA::MESH::SDK::ScanWired {

using Exception::IpAddressNotExistException;
using Exception::RuntimeException;

namespace {
const char* const kProbeGroup = "ff02::1";
}  // namespace

REScanResponder::REScanResponder(const ScanResponderInitData& initData, const std::string& interfaceName)
    : interfaceName_(interfaceName), response_(GatherResponseInfo(initData)) {}

REScanResponder::~REScanResponder() {
  try {
    StopListening();
  } catch (...) {
    ORVA_LOG_UNHANDLED_IN_DESTRUCTOR();
  }
}

ResponsePacket REScanResponder::GatherResponseInfo(const ScanResponderInitData& initData) const {
  auto linkLocal = Address::GetInterfaceIPv6LinkLocal(interfaceName_);
  if (!linkLocal) {
    ORVA_THROW(IpAddressNotExistException, "Fail to get [" + interfaceName_ + "] IPv6 link-local address");
  }
  std::string macText;
  if (Utils::GetIfMAC(interfaceName_, macText) != 0) {
    ORVA_THROW(RuntimeException, "Fail to get [" + interfaceName_ + "] MAC address");
  }
  const std::string ipText = linkLocal->ToString();
  in6_addr ipv6{};
  if (::inet_pton(AF_INET6, ipText.c_str(), &ipv6) != 1) {
    ORVA_THROW(RuntimeException, "Ill-formed address [" + ipText + "]");
  }
  ether_addr mac{};
  if (::ether_aton_r(macText.c_str(), &mac) == nullptr) {
    ORVA_THROW(RuntimeException, "Ill-formed address [" + macText + "]");
  }
  return ResponsePacket(initData.os_name, initData.unique, initData.serial, initData.os_version,
                        initData.os_build_num, initData.os_update_num, mac, ipv6, initData.access_port, 0);
}

void REScanResponder::StartListening() {
  if (!Mutex::CallWithLock(mutex_, [&] { _StartListening(); })) {
    ORVA_THROW(RuntimeException, "Fail to start listening");
  }
}

void REScanResponder::StopListening() {
  if (!Mutex::CallWithLock(mutex_, [&] { _StopListening(); })) {
    ORVA_THROW(RuntimeException, "Fail to stop listening");
  }
}

bool REScanResponder::IsListening() const {
  bool listening = false;
  Mutex::CallWithLock(mutex_, [&] { listening = listener_ && listener_->IsReceiving(); });
  return listening;
}

void REScanResponder::_StartListening() {
  if (listener_) return;
  auto listener = std::make_shared<WiredScanListener>(orva::net::utils::IPAddress(kProbeGroup),
                                                      interfaceName_, kProbePort);
  const int id = listener->AddCallback(
      [this](const ProbePacket& probe, const sockaddr_storage& source) { ProbeCallback(probe, source); });
  listener->StartListening();
  listener_ = std::move(listener);
  callbackId_ = id;
}

void REScanResponder::_StopListening() {
  if (!listener_) return;
  auto listener = std::move(listener_);
  listener_.reset();
  listener->StopListening();
  listener->DelCallback(callbackId_);
  callbackId_ = -1;
  answerer_.reset();
}

ResponsePacket REScanResponder::GetUptimeUpdatedResponse() const {
  unsigned long uptime = 0;
  if (Utils::GetSystemUptime(uptime) != 0) ORVA_THROW(RuntimeException, "fail to get system uptime");
  ResponsePacket response = response_;
  response.SetUptime(uptime);
  return response;
}

void REScanResponder::ProbeCallback(const ProbePacket& probe, const sockaddr_storage& source) {
  char text[INET6_ADDRSTRLEN];
  if (source.ss_family == AF_INET) {
    const auto* v4 = reinterpret_cast<const sockaddr_in*>(&source);
    if (::inet_ntop(AF_INET, &v4->sin_addr, text, sizeof(text)) == nullptr) {
      ORVA_THROW(RuntimeException, "inet_ntop failed on IPv4 address");
    }
    ORVA_LOG_ERR("IPv4 currently not supported, received packet from [%s]", text);
    return;
  }
  if (source.ss_family != AF_INET6) {
    ORVA_THROW(RuntimeException, "Unrecognized address family [" + std::to_string(source.ss_family) + "]");
  }
  const auto* v6 = reinterpret_cast<const sockaddr_in6*>(&source);
  if (::inet_ntop(AF_INET6, &v6->sin6_addr, text, sizeof(text)) == nullptr) {
    ORVA_THROW(RuntimeException, "inet_ntop failed on IPv6 address");
  }
  ORVA_LOG_DEBUG("Received probe packet from [%s]", text);
  try {
    if (!answerer_ || std::memcmp(&answererFor_, &v6->sin6_addr, sizeof answererFor_) != 0) {
      answerer_ = std::make_unique<WiredScanResponder>(orva::net::utils::IPAddress(v6->sin6_addr), kResponsePort,
                                                       interfaceName_);
      answererFor_ = v6->sin6_addr;
    }
    answerer_->Respond(GetUptimeUpdatedResponse(), probe.GetPublicKey());
  } catch (const std::exception& e) {
    answerer_.reset();  // the next probe checks the interface again
    ORVA_LOG_ERR("Fail to answer probe from [%s]: %s", text, e.what());
  } catch (...) {
    answerer_.reset();
    ORVA_LOG_ERR("Fail to answer probe from [%s]: unknown exception", text);
  }
}

}  // namespace ORVA::MESH::SDK::ScanWired
