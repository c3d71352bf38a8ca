#include "support/lan.h"

namespace orva::test {

constexpr const char* kBridge = "br0";

Lan::Lan() : switch_(std::make_unique<NetNs>("switch")) { AddBridge(*switch_, kBridge); }

const NetNs& Lan::AddHost(const std::string& hint) {
  auto host = std::make_unique<NetNs>(hint);
  const std::string port = "p" + std::to_string(hosts_.size());
  AddVeth(host.get(), kHostInterface, switch_.get(), port);
  AttachToBridge(*switch_, port, kBridge);
  host->LinkLocal(kHostInterface);
  hosts_.push_back(std::move(host));
  return *hosts_.back();
}

}  // namespace orva::test
