// What the wired-scan roles refuse before any packet moves, and the listener's bookkeeping,
// on the loopback interface only.
#include <net/if.h>

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "orvamesh/platform/ip_address.h"
#include "orvamesh/scan_wired/probe_packet.h"
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
const unsigned int kNoSuchIndex = 999999;

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

struct Refusal {
  const char* what;
  std::function<void()> construct;
  const char* expected;  // the kind and the end of what()
};

TEST(WiredScanRoles, RefuseUnknownInterfacesAndUnusableAddresses) {
  const IPAddress group("ff02::1");
  const IPAddress linkLocal("fe80::1");
  const std::vector<Refusal> refusals = {
      {"listener, unknown name", [&] { WiredScanListener(group, "nosuch0", 7783); },
       "invalid: scan_wired/scan_listener:WiredScanListener:"},
      {"listener, unknown index", [&] { WiredScanListener(group, kNoSuchIndex, 7783); },
       "Interface with index [999999] does not exist"},
      {"listener, IPv4 group", [&] { WiredScanListener(IPAddress("224.0.0.1"), "lo", 7783); },
       "invalid: scan_wired/scan_listener:ValidateGroup:"},
      {"listener, unicast group", [&] { WiredScanListener(linkLocal, "lo", 7783); },
       "group [fe80::1] is not IPv6 Multicast address"},
      {"receiver, IPv4 address", [&] { WiredScanResponseReceiver(IPAddress("192.0.2.1"), kKey, kKey, "lo", 0); },
       "address [192.0.2.1] is not IPv6 address"},
      {"receiver, short public key",
       [&] { WiredScanResponseReceiver(linkLocal, std::vector<unsigned char>(31), kKey, "lo", 0); },
       "invalid: scan_wired/scan_response_receiver:ValidatePublicKey:"},
      {"receiver, long secret key",
       [&] { WiredScanResponseReceiver(linkLocal, kKey, std::vector<unsigned char>(33), "lo", 0); },
       "Invalid key size"},
      {"sender, unknown name", [&] { WiredScanSender(group, linkLocal, 7783, "nosuch0"); },
       "Interface [nosuch0] does not exist"},
      {"sender, IPv4 source", [&] { WiredScanSender(group, IPAddress("192.0.2.1"), 7783, kLoopbackIndex); },
       "source address [192.0.2.1] is not IPv6 address"},
      {"sender, unicast group", [&] { WiredScanSender(linkLocal, linkLocal, 7783, "lo"); },
       "group [fe80::1] is not IPv6 Multicast address"},
      {"responder, IPv4 destination", [&] { WiredScanResponder(IPAddress("192.0.2.1"), 7784, "lo"); },
       "Currently does not support IPv4 address"},
      {"responder, global destination", [&] { WiredScanResponder(IPAddress("2001:db8::1"), 7784, "lo"); },
       "Address [2001:db8::1] not supported"},
      {"responder, multicast destination", [&] { WiredScanResponder(group, 7784, kLoopbackIndex); },
       "Address [ff02::1] not supported"},
      {"responder, unknown index", [&] { WiredScanResponder(linkLocal, 7784, kNoSuchIndex); },
       "Interface with index [999999] does not exist"},
  };
  for (const auto& refusal : refusals) {
    const std::string message = Message(refusal.construct);
    EXPECT_NE(message.find(refusal.expected), std::string::npos) << refusal.what << ": " << message;
  }
}

TEST(WiredScanResponder, RefusesToSealToAKeyThatIsNot32Bytes) {
  auto payload = std::make_shared<const std::vector<unsigned char>>(3, 1);
  EXPECT_THROW(WiredScanResponder::EncryptPayload(payload, std::vector<unsigned char>(5)), std::exception);
  EXPECT_EQ(WiredScanResponder::EncryptPayload(payload, kKey).size(), 3u + 48u);
}

class ListenerBookkeeping : public ::testing::Test {
 protected:
  WiredScanListener listener_{IPAddress("ff02::1"), "lo", 0};
  static void Ignore(const ProbePacket&, const sockaddr_storage&) {}
};

TEST_F(ListenerBookkeeping, GivesEveryCallbackANewIdAndNeverReusesOne) {
  EXPECT_EQ(listener_.AddCallback(Ignore), 0);
  EXPECT_EQ(listener_.AddCallback(Ignore), 1);
  listener_.DelCallback(1);
  EXPECT_EQ(listener_.AddCallback(Ignore), 2);
}

TEST_F(ListenerBookkeeping, DeletingAnUnknownOrDeletedIdThrowsWithTheCauseNested) {
  const int id = listener_.AddCallback(Ignore);
  listener_.DelCallback(id);
  for (int unknown : {id, 41}) {
    try {
      listener_.DelCallback(unknown);
      ADD_FAILURE() << "no exception for " << unknown;
    } catch (const Exception::RuntimeException& e) {
      const std::string id = std::to_string(unknown);
      EXPECT_NE(std::string(e.what()).find("Fail to delete callback [" + id + "]"), std::string::npos);
      try {
        std::rethrow_if_nested(e);
        ADD_FAILURE() << "no nested cause";
      } catch (const std::exception& cause) {
        EXPECT_NE(std::string(cause.what()).find("callback with id [" + id + "] does not exist"), std::string::npos);
      }
    }
  }
}

TEST_F(ListenerBookkeeping, HasNoPortBeforeStartingOrAfterStopping) {
  EXPECT_THROW(listener_.GetListeningPort(), Exception::RuntimeException);
  listener_.StopListening();  // never started: nothing to do
}

}  // namespace
