#pragma once
// The signed update feed: which images the update server offers for a model. Nothing in a feed
// is used before its signature has been checked against the key pinned in the node's
// configuration.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>
#include "orvamesh/export.h"
#include "orvamesh/upgrade/firmware_version.h"

namespace ORVA::MESH::SDK::Upgrade {

struct ORVA_EXPORT FeedEntry {
  std::string modelUnique;
  FirmwareVersion version;
  std::string imageUrl;
  uint64_t size = 0;
  std::string sha256;  // 64 lower-case hex digits
  std::string releaseNotes;
};

struct ORVA_EXPORT FeedSource {
  // "https://update.example.net" (scheme, host and optional port; the path is fixed).
  std::string server;
  // The Ed25519 public key that signs the feed, 64 hex digits.
  std::string publicKeyHex;
  // A CA bundle to trust instead of the system's; empty for the system's.
  std::string caFile;
  long timeoutMs = 30000;
};

class ORVA_EXPORT UpdateFeed {
 public:
  // The response header that carries the feed's detached signature (128 hex digits).
  static constexpr const char* kSignatureHeader = "X-Orva-Feed-Signature";
  // The namespace of our own child elements in the feed's items.
  static constexpr const char* kNamespace = "urn:orvamesh:update:1";

  // Fetches the feed for `node` from "/autoupdate/genRSS.php" on the source's server and returns
  // its entries. Throws FeedException when it cannot be fetched, carries no valid signature by
  // the pinned key, or cannot be parsed.
  static std::vector<FeedEntry> Fetch(const FeedSource& source, const NodeIdentity& node);
  // Checks the signature over the exact feed bytes, then parses them.
  static std::vector<FeedEntry> Verify(const std::string& feed, const std::string& signatureHex,
                                       const std::string& publicKeyHex);
  // The newest entry for the node's model that is newer than what it runs (or, forced, the
  // newest for its model at all).
  static std::optional<FeedEntry> Offer(const std::vector<FeedEntry>& entries, const NodeIdentity& node,
                                        bool force = false);
};

}  // namespace ORVA::MESH::SDK::Upgrade
