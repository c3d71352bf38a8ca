// What the wired-scan roles refuse before any packet moves, and the listener's bookkeeping,
// on the loopback interface only.
#include <net/if.h>

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvamesh/platform/ip_address.h"
#include "orvamesh/scan_wired/scan_listener.h"
#include "orvamesh/scan_wired/scan_responder.h"
#include "orvamesh/scan_wired/scan_response_receiver.h"
#include "orvamesh/scan_wired/scan_sender.h"
#include "orvamesh/base/exception.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::ScanWired;
using orva::net::utils::IPAddress;

const std::vector<unsigned char> kKey(32, 7);
const unsigned int kLoopbackIndex = ::if_nametoindex("lo");

// The kind of the exception and its text.
std::string Message(const std::function<void()>& action) {
  try {
    action();
  } catch (const Exception::InvalidArgumentException& e) {
    return std::string("invalid: ") + e.what();
  } catch (const std::exception& e) {
    return std::string("other: ") + e.what();
  }
  return "no exception";
}

TEST(WiredScanRoles, RefuseUnknownInterfacesAndUnusableAddresses) {
  const IPAddress group("ff02::1"), linkLocal("fe80::1"), v4("192.0.2.1");
  const std::vector<unsigned char> shortKey(31);
  const struct { const char* what; std::function<void()> construct; const char* expected; } refusals[] = {
      {"listener, unknown name", [&] { WiredScanListener(group, "nosuch0", 7783); },
       "invalid: scan_wired/scan_listener:WiredScanListener:"},
      {"listener, unknown index", [&] { WiredScanListener(group, 999999u, 7783); },
       "Interface with index [999999] does not exist"},
      {"listener, unicast group", [&] { WiredScanListener(linkLocal, "lo", 7783); },
       "group [fe80::1] is not IPv6 Multicast address"},
      {"receiver, IPv4 address", [&] { WiredScanResponseReceiver(v4, kKey, kKey, "lo", 0); },
       "address [192.0.2.1] is not IPv6 address"},
      {"receiver, short public key", [&] { WiredScanResponseReceiver(linkLocal, shortKey, kKey, "lo", 0); },
       "invalid: scan_wired/scan_response_receiver:ValidatePublicKey:"},
      {"sender, IPv4 source", [&] { WiredScanSender(group, v4, 7783, kLoopbackIndex); },
       "source address [192.0.2.1] is not IPv6 address"},
      {"sender, unicast group", [&] { WiredScanSender(linkLocal, linkLocal, 7783, "lo"); },
       "group [fe80::1] is not IPv6 Multicast address"},
      {"responder, IPv4 destination", [&] { WiredScanResponder(v4, 7784, "lo"); },
       "Currently does not support IPv4 address"},
  };
  for (const auto& refusal : refusals) {
    const std::string message = Message(refusal.construct);
    EXPECT_NE(message.find(refusal.expected), std::string::npos) << refusal.what << ": " << message;
  }
}

TEST(WiredScanListener, NumbersCallbacksWithoutReuse) {
  WiredScanListener listener(IPAddress("ff02::1"), "lo", 0);
  const auto ignore = [](const ProbePacket&, const sockaddr_storage&) {};
  EXPECT_EQ(listener.AddCallback(ignore), 0);
  EXPECT_EQ(listener.AddCallback(ignore), 1);
  listener.DelCallback(1);
  EXPECT_EQ(listener.AddCallback(ignore), 2);
  EXPECT_THROW(listener.DelCallback(1), Exception::RuntimeException) << "deleted already";
}

}  // namespace
