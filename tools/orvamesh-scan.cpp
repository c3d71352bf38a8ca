// orvamesh-scan: the wired discovery from the command line, for debugging a mesh on a bench.
//
//   orvamesh-scan cap IFACE [--wait MS] [--json]
//       Runs one scan on IFACE: sends one probe, collects answers for MS milliseconds (default
//       1000) and prints one line per RE, sorted by MAC; with --json one JSON object per line.
//   orvamesh-scan re IFACE [--unique U] [--serial S] [--name N] [--version V] [--build B]
//                          [--update U] [--port P]
//       Answers probes on IFACE as an RE until SIGINT or SIGTERM. The identity comes from the
//       node's identity file; flags override single fields. Without the file, --unique and
//       --serial are required.
//
// Exit status: 0 done, 1 other failure, 2 bad command line, 3 no such interface, 4 no IPv6
// link-local address on it, 5 insufficient privileges, 6 the scan port is already taken.
#include <arpa/inet.h>
#include <net/if.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <json/json.h>

#include "orvamesh/orvamesh.h"
#include "common/front_door.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::ScanWired;

enum ExitCode { kOk = 0, kFailure = 1, kUsage = 2, kNoInterface = 3, kNoLinkLocal = 4, kNoPrivilege = 5, kPortBusy = 6 };

const char* const kUsageText =
    "Usage: orvamesh-scan cap IFACE [--wait MS] [--json]\n"
    "       orvamesh-scan re IFACE [--unique U] [--serial S] [--name N] [--version V] [--build B]\n"
    "                              [--update U] [--port P]\n"
    "       orvamesh-scan --help | --version\n";

struct UsageError {
  std::string message;
};

unsigned long ParseNumber(const std::string& option, const std::string& text, unsigned long max) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos || text.size() > 10) {
    throw UsageError{option + " needs a number, got \"" + text + "\""};
  }
  unsigned long value = std::stoul(text);
  if (value > max) throw UsageError{option + " must be at most " + std::to_string(max)};
  return value;
}

// Options after the interface: "--name value" pairs and flags.
std::map<std::string, std::string> ParseOptions(int argc, char** argv, const std::vector<std::string>& valued,
                                                const std::vector<std::string>& flags) {
  std::map<std::string, std::string> options;
  for (int i = 3; i < argc; ++i) {
    const std::string name = argv[i];
    bool isValued = false;
    for (const auto& v : valued) isValued = isValued || v == name;
    bool isFlag = false;
    for (const auto& f : flags) isFlag = isFlag || f == name;
    if (isFlag) {
      options[name] = "";
    } else if (isValued) {
      if (i + 1 >= argc) throw UsageError{name + " needs a value"};
      options[name] = argv[++i];
    } else {
      throw UsageError{"unknown option \"" + name + "\""};
    }
  }
  return options;
}

// Library errors carry the errno in their text; the few that a person at the bench can fix
// get an exit status of their own.
int Classify(const std::exception& e, const std::string& interfaceName, unsigned short port) {
  const std::string text = e.what();
  std::cerr << "orvamesh-scan: " << text << "\n";
  if (text.find("errno: [" + std::to_string(EPERM) + "]") != std::string::npos ||
      text.find("errno: [" + std::to_string(EACCES) + "]") != std::string::npos) {
    std::cerr << "orvamesh-scan: insufficient privileges (run as root or with CAP_NET_ADMIN)\n";
    return kNoPrivilege;
  }
  if (text.find("errno: [" + std::to_string(EADDRINUSE) + "]") != std::string::npos) {
    std::cerr << "orvamesh-scan: UDP port " << port << " on " << interfaceName
              << " is already in use (another scan or responder running?)\n";
    return kPortBusy;
  }
  return kFailure;
}

int CheckInterface(const std::string& interfaceName) {
  if (::if_nametoindex(interfaceName.c_str()) == 0) {
    std::cerr << "orvamesh-scan: interface " << interfaceName << " does not exist\n";
    return kNoInterface;
  }
  if (!Address::GetInterfaceIPv6LinkLocal(interfaceName)) {
    std::cerr << "orvamesh-scan: interface " << interfaceName << " has no usable IPv6 link-local address\n";
    return kNoLinkLocal;
  }
  return kOk;
}

std::string Describe(const std::string& mac, const EthernetScanReplyEntry& entry) {
  char address[INET6_ADDRSTRLEN] = "?";
  ::inet_ntop(AF_INET6, &entry.GetIpv6Address(), address, sizeof(address));
  return mac + "  " + address + "  " + entry.GetUnique() + "  serial=" + entry.GetSerial() + "  " +
         entry.GetOsName() + " " + entry.GetOsVersion() + " build " + std::to_string(entry.GetOsBuildNum()) +
         " update " + std::to_string(entry.GetOsUpdateNum()) + "  port=" + std::to_string(entry.GetAccessPort()) +
         "  uptime=" + std::to_string(entry.GetUptime()) + "s  region=" +
         (entry.GetCountryCompatibility() ? "compatible" : "incompatible");
}

int RunCap(int argc, char** argv) {
  const std::string interfaceName = argv[2];
  auto options = ParseOptions(argc, argv, {"--wait"}, {"--json"});
  const unsigned long waitMs = options.count("--wait") ? ParseNumber("--wait", options["--wait"], 3600000) : 1000;
  if (int status = CheckInterface(interfaceName); status != kOk) return status;

  std::map<std::string, EthernetScanReplyEntry> result;
  try {
    CAPScanSender scan(interfaceName, "");
    scan.StartScan();
    std::this_thread::sleep_for(std::chrono::milliseconds(waitMs));
    scan.StopScan();
    result = scan.GetScanResult();
  } catch (const std::exception& e) {
    return Classify(e, interfaceName, CAPScanSender::kResponsePort);
  }
  Json::StreamWriterBuilder compact;
  compact["indentation"] = "";
  for (const auto& [mac, entry] : result) {
    if (options.count("--json")) {
      std::cout << Json::writeString(compact, entry.ToJson()) << "\n";
    } else {
      std::cout << Describe(mac, entry) << "\n";
    }
  }
  if (!options.count("--json")) std::cerr << result.size() << " RE(s) answered on " << interfaceName << "\n";
  return kOk;
}

int RunRe(int argc, char** argv) {
  const std::string interfaceName = argv[2];
  auto options = ParseOptions(argc, argv, {"--unique", "--serial", "--name", "--version", "--build", "--update", "--port"}, {});
  ScanResponderInitData identity;
  ORVA::MESH::SDK::Utils::NodeIdentity node;
  const bool fromFile = ORVA::MESH::SDK::Utils::GetNodeIdentity(node) == 0;
  if (!fromFile && (!options.count("--unique") || !options.count("--serial"))) {
    throw UsageError{"re needs --unique and --serial (no readable identity file at " +
                     ORVA::MESH::SDK::Utils::IdentityFilePath() + ")"};
  }
  if (fromFile) identity = ScanResponderInitData::FromNodeIdentity(node);
  if (options.count("--unique")) identity.unique = options["--unique"];
  if (options.count("--serial")) identity.serial = options["--serial"];
  if (options.count("--name")) identity.os_name = options["--name"];
  if (options.count("--version")) identity.os_version = options["--version"];
  if (options.count("--build")) identity.os_build_num = ParseNumber("--build", options["--build"], 0xffffffffUL);
  if (options.count("--update")) identity.os_update_num = ParseNumber("--update", options["--update"], 255);
  if (options.count("--port")) identity.access_port = ParseNumber("--port", options["--port"], 65535);
  if (int status = CheckInterface(interfaceName); status != kOk) return status;

  // Every thread, the library's IO thread included, leaves SIGINT and SIGTERM to sigwait.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
  try {
    REScanResponder responder(identity, interfaceName);
    responder.StartListening();
    std::cout << "answering probes on " << interfaceName << " as " << identity.unique << " serial "
              << identity.serial << "; stop with Ctrl-C" << std::endl;
    // A datagram the protocol does not allow ends the listener's thread (by design); a bench
    // RE must not go silent for good, so the listener is restarted when that happens.
    int received = -1;
    const timespec watch{1, 0};
    while ((received = sigtimedwait(&stopSignals, nullptr, &watch)) < 0) {
      if (!responder.IsListening()) {
        std::cerr << "orvamesh-scan: the listener on " << interfaceName << " stopped; restarting it" << std::endl;
        responder.StopListening();
        responder.StartListening();
      }
    }
    responder.StopListening();
    std::cout << "stopped by signal " << received << std::endl;
  } catch (const Exception::IpAddressNotExistException& e) {
    std::cerr << "orvamesh-scan: " << e.what() << "\n";
    return kNoLinkLocal;
  } catch (const std::exception& e) {
    return Classify(e, interfaceName, REScanResponder::kProbePort);
  }
  return kOk;
}

}  // namespace

int main(int argc, char** argv) {
  // Errors go to the terminal; with ORVAMESH_SCAN_VERBOSE set, everything the library logs.
  const bool verbose = std::getenv("ORVAMESH_SCAN_VERBOSE") != nullptr;
  Log::SetSink([verbose](int priority, const std::string& line) {
    if (verbose || priority <= LOG_ERR) std::cerr << "orvamesh-scan: " << line << "\n";
  });
  int status = kOk;
  if (orvatools::AnswerFrontDoor(argc, argv, "orvamesh-scan", "wired discovery between CAP and range extenders", kUsageText, status)) return status;
  try {
    if (argc < 3) throw UsageError{""};
    const std::string role = argv[1];
    if (role == "cap") return orvatools::FinishOutput("orvamesh-scan", RunCap(argc, argv));
    if (role == "re") return RunRe(argc, argv);
    throw UsageError{"unknown role \"" + role + "\""};
  } catch (const UsageError& e) {
    if (!e.message.empty()) std::cerr << "orvamesh-scan: " << e.message << "\n";
    std::cerr << kUsageText;
    return kUsage;
  }
}
