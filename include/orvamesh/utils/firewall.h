#pragma once
// Opens the node's ports for the mesh's own services (the wired-scan responder, the web API,
// SSH) without owning the node's firewall. The system keeps its ruleset; the library owns one
// chain in the system's table and reaches it through one jump rule, inserted once at the head
// of the system's input chain, and never touches another rule.
//
//   family inet, table "filter", hook chain "input"  (the system's, must exist)
//   chain "orvamesh_input"                          (ours: one accept rule per opened port)
//
// Each rule carries the comment "orvamesh <protocol> <port> <interface|*>", which is how the
// library recognises its own rules when it reads the ruleset back. Every change is one nftables
// transaction: it applies whole or not at all. Repeating a call changes nothing. When someone
// else has flushed the ruleset (our chain or the jump has gone), the next call puts back every
// port this object had open before it applies its own change.
//
// libnftables rather than the nft program: one netlink conversation in the caller's network
// namespace, no process per change, and errors come back as text we can log.
// Functions return 0 on success and -1 with one log line on failure. Thread-safe.
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Utils {

enum class FirewallProtocol { kTcp, kUdp };

// One opened port: a protocol, a port 1..65535 and an interface ("" for every interface).
struct ORVA_EXPORT FirewallHook {
  FirewallProtocol protocol = FirewallProtocol::kTcp;
  int port = 0;
  std::string interfaceName;

  bool operator<(const FirewallHook& other) const;
  bool operator==(const FirewallHook& other) const;
};

struct ORVA_EXPORT FirewallConfig {
  std::string family = "inet";
  std::string table = "filter";
  std::string hookChain = "input";
  std::string chain = "orvamesh_input";
};

// The hooks for the mesh's services on one interface: the wired-scan responder's UDP port, the
// web API's HTTPS port and SSH.
ORVA_EXPORT std::vector<FirewallHook> MeshServiceHooks(const std::string& interfaceName);

class ORVA_EXPORT Firewall {
 public:
  explicit Firewall(FirewallConfig config = FirewallConfig());
  ~Firewall();
  Firewall(const Firewall&) = delete;
  Firewall& operator=(const Firewall&) = delete;

  int Open(const FirewallHook& hook);
  int Close(const FirewallHook& hook);
  // Opens several ports in one transaction.
  int Open(const std::vector<FirewallHook>& hooks);
  // The ports open in our chain now, read back from the kernel.
  int List(std::vector<FirewallHook>& hooks);
  // Empties our chain (the chain and the jump stay).
  int CloseAll();

 private:
  struct State;
  int Change(const std::vector<FirewallHook>& open, const std::vector<FirewallHook>& close, bool all);
  bool ReadState(State& state, bool logMissing);
  bool Run(const std::string& commands, std::string* output);
  std::string RuleCommand(const FirewallHook& hook) const;

  FirewallConfig config_;
  std::mutex mutex_;
  struct Context;
  std::unique_ptr<Context> context_;
  std::set<FirewallHook> wanted_;  // what this object has opened, for repair after a flush
};

}  // namespace ORVA::MESH::SDK::Utils
