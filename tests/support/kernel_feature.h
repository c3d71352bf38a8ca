#pragma once
// Kernel interfaces that an emulator may not pass through. qemu-user, which runs the aarch64
// build's tests on an x86-64 machine, lacks a few; each is probed rather than assumed, so the
// same test program on a real aarch64 board runs everything.
#include <string>

#include <gtest/gtest.h>

namespace orva::test {

enum class KernelFeature {
  kEthtoolIoctl,         // SIOCETHTOOL
  kIpv6MulticastIf,      // setsockopt IPV6_MULTICAST_IF
  kNetfilterNetlink,     // NETLINK_NETFILTER sockets (nftables)
  kBridgeNetlinkEvents,  // AF_BRIDGE link and neighbour messages on NETLINK_ROUTE
};

// Empty when the feature works here; otherwise why the test cannot run.
std::string KernelFeatureMissing(KernelFeature feature);

#define ORVA_REQUIRE_KERNEL_FEATURE(feature)                                                 \
  do {                                                                                       \
    const std::string orvaMissingReason = ::orva::test::KernelFeatureMissing(feature);       \
    if (!orvaMissingReason.empty()) GTEST_SKIP() << orvaMissingReason;                       \
  } while (0)

}  // namespace orva::test
