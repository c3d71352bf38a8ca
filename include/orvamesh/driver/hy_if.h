#pragma once
// One member interface of the hybrid bridge, as the hybrid daemon helper manages it.
#include <cstdint>
#include <string>
#include <utility>

#include "orvamesh/export.h"
#include "orvamesh/utils/interface.h"

namespace ORVA::MESH::SDK::Driver {

// The member's group, written to hyctl as its decimal number.
enum HY_IF_GRP : int32_t {
  HY_IF_GRP_0 = 0,
  HY_IF_GRP_1 = 1,
};

struct ORVA_EXPORT HyIf {
  HyIf() = default;
  HyIf(std::string name, std::string radioName, Interface::IF_TYPE type, HY_IF_GRP group, bool broadcast, bool relay)
      : name(std::move(name)),
        radioName(std::move(radioName)),
        type(type),
        group(group),
        broadcast(broadcast),
        relay(relay) {}

  std::string name;       // kernel interface name
  std::string radioName;  // Wi-Fi members only: the radio carrying the VAP
  Interface::IF_TYPE type = Interface::IF_TYPE_ETHER;
  HY_IF_GRP group = HY_IF_GRP_0;
  bool broadcast = false;  // "setifbcast" enable/disable
  bool relay = true;       // "setifgrp" r/n; members without relay form the no-relay list

  bool operator==(const HyIf& other) const {
    return name == other.name && radioName == other.radioName && type == other.type && group == other.group &&
           broadcast == other.broadcast && relay == other.relay;
  }
  bool operator!=(const HyIf& other) const { return !(*this == other); }
};

}  // namespace ORVA::MESH::SDK::Driver
