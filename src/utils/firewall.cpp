#include "orvamesh/utils/firewall.h"

#include <json/json.h>
#include <nftables/libnftables.h>

#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <sstream>
#include <tuple>

#include "orvamesh/base/log.h"
#include "platform/net_if.h"
#include "platform/text.h"

namespace ORVA::MESH::SDK::Utils {
namespace {

// The wired-scan responder answers probes on this UDP port (the scan sender's probe port);
// utils sits below the scan module, so the number is repeated here and a test keeps the two
// equal.
constexpr int kWiredScanProbePort = 7783;
constexpr int kHttpsPort = 443;
constexpr int kSshPort = 22;
constexpr const char* kJumpComment = "orvamesh";
constexpr const char* kRulePrefix = "orvamesh ";

const char* ProtocolName(FirewallProtocol protocol) {
  return protocol == FirewallProtocol::kUdp ? "udp" : "tcp";
}

// Interface names as the kernel allows them, and none that could close the quoted string of
// an nftables command. Empty means every interface.
bool IsInterfaceName(const std::string& name) {
  return name.empty() ||
         (orva::platform::IsInterfaceName(name) && name.find_first_of("\"\\") == std::string::npos);
}

// Names of tables and chains: the same rule keeps them from being read as nftables syntax.
bool IsObjectName(const std::string& name) {
  return !name.empty() && name.size() <= 64 &&
         std::all_of(name.begin(), name.end(),
                     [](unsigned char c) { return std::isalnum(c) || c == '_' || c == '-'; });
}

bool IsValid(const FirewallHook& hook) {
  if (hook.port < 1 || hook.port > 65535) {
    ORVA_LOG_ERR("Firewall port [%d] is outside 1..65535", hook.port);
    return false;
  }
  if (hook.protocol != FirewallProtocol::kTcp && hook.protocol != FirewallProtocol::kUdp) {
    ORVA_LOG_ERR("Firewall protocol [%d] is neither tcp nor udp", static_cast<int>(hook.protocol));
    return false;
  }
  if (!IsInterfaceName(hook.interfaceName)) {
    ORVA_LOG_ERR("Firewall interface [%s] is not an interface name", hook.interfaceName.c_str());
    return false;
  }
  return true;
}

std::string Comment(const FirewallHook& hook) {
  return kRulePrefix + std::string(ProtocolName(hook.protocol)) + " " + std::to_string(hook.port) +
         " " + (hook.interfaceName.empty() ? "*" : hook.interfaceName);
}

// The hook a rule comment names; false for any comment we did not write.
bool ParseComment(const std::string& comment, FirewallHook& hook) {
  if (comment.compare(0, std::char_traits<char>::length(kRulePrefix), kRulePrefix) != 0) return false;
  std::istringstream in(comment.substr(std::char_traits<char>::length(kRulePrefix)));
  std::string protocol, interfaceName, rest;
  int port = 0;
  if (!(in >> protocol >> port >> interfaceName) || (in >> rest)) return false;
  if (protocol != "tcp" && protocol != "udp") return false;
  hook.protocol = protocol == "udp" ? FirewallProtocol::kUdp : FirewallProtocol::kTcp;
  hook.port = port;
  hook.interfaceName = interfaceName == "*" ? "" : interfaceName;
  return IsValid(hook);
}

}  // namespace

bool FirewallHook::operator<(const FirewallHook& other) const {
  return std::tie(protocol, port, interfaceName) < std::tie(other.protocol, other.port, other.interfaceName);
}

bool FirewallHook::operator==(const FirewallHook& other) const {
  return std::tie(protocol, port, interfaceName) == std::tie(other.protocol, other.port, other.interfaceName);
}

std::vector<FirewallHook> MeshServiceHooks(const std::string& interfaceName) {
  return {{FirewallProtocol::kUdp, kWiredScanProbePort, interfaceName},
          {FirewallProtocol::kTcp, kHttpsPort, interfaceName},
          {FirewallProtocol::kTcp, kSshPort, interfaceName}};
}

struct Firewall::Context {
  nft_ctx* ctx = nullptr;
  ~Context() {
    if (ctx != nullptr) nft_ctx_free(ctx);
  }
};

// What the kernel holds in the system's table, as far as it concerns us.
struct Firewall::State {
  bool tableFound = false;
  bool hookChainFound = false;
  bool chainFound = false;
  bool jumpFound = false;
  std::set<FirewallHook> open;
  std::vector<uint64_t> foreignHandles;  // rules in our chain we did not write
};

namespace {

// libnftables ends the whole process when it cannot open its netlink socket (a kernel without
// nf_tables, or an emulator that does not pass the protocol through), so ask the kernel first.
bool NetfilterNetlinkAvailable() {
  const int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_NETFILTER);
  if (fd < 0) {
    ORVA_LOG_ERR("Firewall: no netfilter netlink socket, errno: [%d] %s", errno, std::strerror(errno));
    return false;
  }
  ::close(fd);
  return true;
}

}  // namespace

Firewall::Firewall(FirewallConfig config) : config_(std::move(config)), context_(new Context) {
  if (!NetfilterNetlinkAvailable()) return;
  context_->ctx = nft_ctx_new(NFT_CTX_DEFAULT);
  if (context_->ctx != nullptr) {
    nft_ctx_buffer_output(context_->ctx);
    nft_ctx_buffer_error(context_->ctx);
  }
}

Firewall::~Firewall() = default;

bool Firewall::Run(const std::string& commands, std::string* output) {
  nft_ctx* ctx = context_->ctx;
  if (ctx == nullptr) {
    ORVA_LOG_ERR("Firewall: no nftables context");
    return false;
  }
  nft_ctx_output_set_flags(ctx, output != nullptr ? NFT_CTX_OUTPUT_JSON : 0);
  const int rc = nft_run_cmd_from_buffer(ctx, commands.c_str());
  const char* out = nft_ctx_get_output_buffer(ctx);  // also resets the buffer for the next run
  const char* err = nft_ctx_get_error_buffer(ctx);
  if (rc != 0) {
    if (output == nullptr) ORVA_LOG_ERR("Firewall change refused: %s", err ? err : "");
    return false;
  }
  if (output != nullptr) *output = out ? out : "";
  return true;
}

bool Firewall::ReadState(State& state, bool logMissing) {
  state = State();
  // Without a context nothing can be read, which must not pass for an empty table.
  if (context_->ctx == nullptr) return Run("", nullptr);
  std::string text;
  if (!Run("list table " + config_.family + " " + config_.table, &text)) {
    if (logMissing) {
      ORVA_LOG_ERR("Firewall: table [%s %s] does not exist", config_.family.c_str(), config_.table.c_str());
    }
    return true;
  }
  Json::Value doc;
  if (!orva::platform::ParseJsonText(text, doc) || !doc["nftables"].isArray()) {
    ORVA_LOG_ERR("Firewall: nftables listed its table in a form we cannot read");
    return false;
  }
  state.tableFound = true;
  for (const Json::Value& item : doc["nftables"]) {
    if (item.isMember("chain")) {
      const std::string name = item["chain"]["name"].asString();
      state.hookChainFound |= name == config_.hookChain;
      state.chainFound |= name == config_.chain;
      continue;
    }
    const Json::Value& rule = item["rule"];
    if (!rule.isObject()) continue;
    const std::string chain = rule["chain"].asString();
    const std::string comment = rule["comment"].asString();
    if (chain == config_.hookChain && comment == kJumpComment) state.jumpFound = true;
    if (chain != config_.chain) continue;
    FirewallHook hook;
    if (ParseComment(comment, hook)) {
      state.open.insert(hook);
    } else {
      state.foreignHandles.push_back(rule["handle"].asUInt64());
    }
  }
  return true;
}

std::string Firewall::RuleCommand(const FirewallHook& hook) const {
  std::string rule = "add rule " + config_.family + " " + config_.table + " " + config_.chain + " ";
  if (!hook.interfaceName.empty()) rule += "iifname \"" + hook.interfaceName + "\" ";
  return rule + ProtocolName(hook.protocol) + " dport " + std::to_string(hook.port) +
         " accept comment \"" + Comment(hook) + "\"\n";
}

int Firewall::Change(const std::vector<FirewallHook>& open, const std::vector<FirewallHook>& close,
                     bool all) {
  if (!IsObjectName(config_.family) || !IsObjectName(config_.table) || !IsObjectName(config_.hookChain) ||
      !IsObjectName(config_.chain)) {
    ORVA_LOG_ERR("Firewall: family, table and chain names must be plain names");
    return -1;
  }
  for (const auto* list : {&open, &close}) {
    for (const FirewallHook& hook : *list) {
      if (!IsValid(hook)) return -1;
    }
  }
  std::lock_guard<std::mutex> lock(mutex_);
  State state;
  if (!ReadState(state, true)) return -1;
  if (!state.tableFound || !state.hookChainFound) {
    ORVA_LOG_ERR("Firewall: the system's chain [%s %s %s] does not exist", config_.family.c_str(),
                 config_.table.c_str(), config_.hookChain.c_str());
    return -1;
  }
  // Our rules as they should be after this call; after a flush, what we had open comes back.
  std::set<FirewallHook> target = state.chainFound && state.jumpFound ? state.open : wanted_;
  if (all) target.clear();
  for (const FirewallHook& hook : close) target.erase(hook);
  for (const FirewallHook& hook : open) target.insert(hook);
  const bool intact = state.chainFound && state.jumpFound && state.foreignHandles.empty();
  if (intact && target == state.open) {
    wanted_ = target;
    return 0;
  }
  const std::string where = config_.family + " " + config_.table + " ";
  std::string script = "add chain " + where + config_.chain + "\nflush chain " + where + config_.chain + "\n";
  if (!state.jumpFound) {
    script += "insert rule " + where + config_.hookChain + " jump " + config_.chain + " comment \"" +
              kJumpComment + "\"\n";
  }
  for (const FirewallHook& hook : target) script += RuleCommand(hook);
  if (!Run(script, nullptr)) return -1;
  wanted_ = std::move(target);
  return 0;
}

int Firewall::Open(const FirewallHook& hook) { return Change({hook}, {}, false); }
int Firewall::Open(const std::vector<FirewallHook>& hooks) { return Change(hooks, {}, false); }
int Firewall::Close(const FirewallHook& hook) { return Change({}, {hook}, false); }
int Firewall::CloseAll() { return Change({}, {}, true); }

int Firewall::List(std::vector<FirewallHook>& hooks) {
  std::lock_guard<std::mutex> lock(mutex_);
  State state;
  if (!ReadState(state, true)) return -1;
  hooks.assign(state.open.begin(), state.open.end());
  return 0;
}

}  // namespace ORVA::MESH::SDK::Utils
