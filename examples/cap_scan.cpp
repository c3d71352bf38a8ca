// Looks for range extenders on one interface, as the CAP's daemon does before adding nodes,
// and prints each answer as JSON.
//   ./cap_scan eth0 [MILLISECONDS]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <thread>

#include <json/json.h>
#include <orvamesh/orvamesh.h>

int main(int argc, char** argv) {
  using namespace ORVA::MESH::SDK;
  if (argc < 2 || argc > 3) {
    std::fprintf(stderr, "Usage: cap_scan IFACE [MILLISECONDS]\n");
    return 2;
  }
  const long wait = argc == 3 ? std::atol(argv[2]) : 1000;
  try {
    ScanWired::CAPScanSender scan(argv[1], "");
    scan.StartScan();  // one probe; answers are collected until StopScan
    std::this_thread::sleep_for(std::chrono::milliseconds(wait));
    scan.StopScan();
    Json::StreamWriterBuilder compact;
    compact["indentation"] = "";
    for (const auto& [mac, entry] : scan.GetScanResult()) {
      std::cout << Json::writeString(compact, entry.ToJson()) << "\n";
    }
    return 0;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
  }
}
