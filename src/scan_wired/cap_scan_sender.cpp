#include "orvamesh/scan_wired/cap_scan_sender.h"

#include <sodium.h>

#include <optional>

#include "orvamesh/compatibility/wifi_compatibility.h"
#include "orvamesh/mac.h"
#include "orvamesh/platform/ip_address.h"
#include "orvamesh/scan_wired/probe_packet.h"
#include "orvamesh/scan_wired/response_packet.h"
#include "orvamesh/scan_wired/scan_response_receiver.h"
#include "orvamesh/scan_wired/scan_sender.h"
#include "orvamesh/utils/address.h"
#include "orvamesh/base/exception.h"
#include "orvamesh/base/log.h"
#include "scan_wired/wired_scan_packet.h"

namespace ORVA::MESH::SDK::ScanWired {

using Exception::RuntimeException;
using orva::net::utils::IPAddress;

namespace {
const char* const kProbeGroup = "ff02::1";
}  // namespace

CAPScanSender::CAPScanSender(const std::string& interfaceName, const std::string& sourceAddress)
    : interfaceName_(interfaceName), sourceAddress_(sourceAddress) {}

CAPScanSender::~CAPScanSender() {
  try {
    StopScan();
  } catch (...) {
    ORVA_LOG_UNHANDLED_IN_DESTRUCTOR();
  }
}

void CAPScanSender::GenKeypair(std::vector<unsigned char>& publicKey, std::vector<unsigned char>& secretKey) const {
  publicKey.assign(crypto_box_PUBLICKEYBYTES, 0);
  secretKey.assign(crypto_box_SECRETKEYBYTES, 0);
  InitSodium();
  if (crypto_box_keypair(publicKey.data(), secretKey.data()) != 0) {
    ORVA_THROW(RuntimeException, "Fail to generate key pair");
  }
}

void CAPScanSender::StartScan() {
  if (!Mutex::CallWithLock(mutex_, [&] { _StartScan(); })) ORVA_THROW(RuntimeException, "Fail to start scan");
}

void CAPScanSender::StopScan() {
  if (!Mutex::CallWithLock(mutex_, [&] { _StopScan(); })) ORVA_THROW(RuntimeException, "Fail to stop scan");
}

std::map<std::string, EthernetScanReplyEntry> CAPScanSender::GetScanResult() const {
  return _GetScanResult();
}

void CAPScanSender::_StartScan() {
  // A receiver of an earlier scan still holds the response port.
  _StopScan();

  const std::optional<IPAddress> source = Address::GetInterfaceIPv6LinkLocal(interfaceName_);
  if (!source) ORVA_THROW(RuntimeException, "Fail to get [" + interfaceName_ + "] IPv6 link-local address");

  std::vector<unsigned char> publicKey;
  std::vector<unsigned char> secretKey;
  GenKeypair(publicKey, secretKey);
  if (!Mutex::CallWithLock(resultMutex_, [&] { result_.clear(); })) {
    ORVA_THROW(RuntimeException, "Fail to clear scan result");
  }

  auto receiver = std::make_shared<WiredScanResponseReceiver>(*source, publicKey, secretKey, interfaceName_,
                                                              kResponsePort);
  sodium_memzero(secretKey.data(), secretKey.size());
  const int id = receiver->AddCallback(
      [this](const ResponsePacket& response, const sockaddr_storage& from) { ResponseCallback(response, from); });
  // Receiving before probing, so that no early answer is lost.
  receiver->StartReceiving();
  receiver_ = receiver;
  callbackId_ = id;
  try {
    WiredScanSender sender(IPAddress(kProbeGroup), *source, kProbePort, interfaceName_);
    sender.SendProbe(ProbePacket(publicKey));
  } catch (...) {
    _StopScan();
    throw;
  }
}

void CAPScanSender::_StopScan() {
  if (!receiver_) return;
  auto receiver = std::move(receiver_);
  receiver_.reset();
  receiver->StopReceiving();
  receiver->DelCallback(callbackId_);
  callbackId_ = -1;
}

std::map<std::string, EthernetScanReplyEntry> CAPScanSender::_GetScanResult() const {
  std::map<std::string, EthernetScanReplyEntry> copy;
  if (!Mutex::CallWithLock(resultMutex_, [&] { copy = result_; })) {
    ORVA_THROW(RuntimeException, "Fail to copy scan result");
  }
  return copy;
}

void CAPScanSender::ResponseCallback(const ResponsePacket& response, const sockaddr_storage& source) {
  // A response has no field of its own for the country-code capability; the serial is what the
  // Wi-Fi rule is given in its place (see the class comment).
  const bool compatible =
      Compatibility::WifiCompatibility::IsRegionCompatibleWithLocal(response.GetSerial(), response.GetUnique());
  EthernetScanReplyEntry entry(response, compatible);
  std::string key;
  Mac::MacToStr(response.GetMacAddress(), key);
  bool inserted = false;
  if (!Mutex::CallWithLock(resultMutex_, [&] { inserted = result_.emplace(key, std::move(entry)).second; }) ||
      !inserted) {
    ORVA_THROW(RuntimeException, "Fail to insert response into vector");
  }
}

}  // namespace ORVA::MESH::SDK::ScanWired
