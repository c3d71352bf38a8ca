#pragma once
// The wireless library's Wi-Fi client service, reduced to what the mesh needs: it knows the
// local node's regulatory country and tells whether a remote node, by the country-code
// capability it reports, may serve in that country.
//
// Local country. Read from the file "/etc/orvawifi/region.conf" below the system root
// (WifiClient::kDefaultConfigPath), afresh on every query so a region change applies at
// once. The file holds key=value lines; blank lines and lines starting with "#" are skipped,
// spaces around keys and values and a pair of double quotes around a value are dropped, the
// last occurrence of a key counts and other keys are ignored. The key used is
//   country_code=<ISO 3166-1 alpha-2 code>      e.g. country_code=US   (either case)
// A missing file, a missing key or a value that is not two letters means the local country is
// unknown, and nothing is then compatible.
//
// Capability string. What a node reports about its radios: the comma-separated ISO 3166-1
// alpha-2 codes of the countries it is certified for, either case, spaces around entries
// allowed, or "*" among them for a world-wide unit: "US,CA,PR", "DE, FR, IT", "*". An empty
// string, an empty entry ("US,,CA") or an entry that is neither two letters nor "*" makes the
// whole string malformed, which is never compatible.
//
// A remote node is compatible when its capability lists the local country (or "*"). The
// remote model must be one of the known WIFI_MODEL values; an unknown value is never
// compatible. Every negative answer caused by bad input is logged at error priority.
#include <memory>
#include <string>
#include <vector>

#include "orvamesh/export.h"
#include "orvamesh/platform/wifi_model.h"

namespace ORVA::Wifi {

class ORVA_EXPORT WifiClient {
 public:
  static constexpr const char* kDefaultConfigPath = "/etc/orvawifi/region.conf";

  // `configPath` is a system path, resolved below the system root at every read.
  explicit WifiClient(std::string configPath = kDefaultConfigPath);

  const std::string& GetConfigPath() const noexcept { return configPath_; }
  // 0 and the local country code in upper case, or -1 with one log line.
  int GetLocalCountryCode(std::string& out) const;
  bool IsCountryCodeCompatible(const std::string& remoteCapability, WIFI_MODEL remoteModel) const;

  // 0 and the entries (upper case, "*" kept) of a capability string, or -1 when malformed.
  static int ParseCountryCodeCapability(const std::string& capability, std::vector<std::string>& codes);

 private:
  std::string configPath_;
};

class ORVA_EXPORT WifiClientFactory {
 public:
  // The process's one client for `configPath`, made on first use.
  static std::shared_ptr<WifiClient> GetInstance(const std::string& configPath);
};

class ORVA_EXPORT WifiClientFactoryForMesh {
 public:
  // The client over the mesh's region file (kDefaultConfigPath).
  static std::shared_ptr<WifiClient> GetInstance();
};

}  // namespace ORVA::Wifi
