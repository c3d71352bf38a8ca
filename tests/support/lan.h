#pragma once
// A small Ethernet segment for integration tests: a Linux bridge in a namespace of its own
// (the switch) and hosts, each a namespace whose "eth0" is plugged into the bridge. Every host
// sees the others' link-local multicast and unicast exactly as routers on one wire would.
// Needs root (ORVA_REQUIRE_NETNS() first); everything is removed on destruction.
#include <memory>
#include <string>
#include <vector>

#include "support/netns.h"

namespace orva::test {

class Lan {
 public:
  static constexpr const char* kHostInterface = "eth0";

  Lan();
  Lan(const Lan&) = delete;
  Lan& operator=(const Lan&) = delete;

  // A new host plugged into the switch; returns once its eth0 has a usable link-local address.
  const NetNs& AddHost(const std::string& hint);

 private:
  // Declared so that the hosts go first: deleting a namespace removes its veth ends and so the switch's peers.
  std::unique_ptr<NetNs> switch_;
  std::vector<std::unique_ptr<NetNs>> hosts_;
};

}  // namespace orva::test
