#include "orvamesh/upgrade/update_feed.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <sodium.h>

#include <cstring>
#include <limits>
#include <memory>
#include "orvamesh/base/log.h"
#include "orvamesh/upgrade/mesh_upgrade_exception.h"
#include "upgrade/feed_parser.h"
#include "upgrade/http_get.h"

namespace ORVA::MESH::SDK::Upgrade {
namespace {

// A feed lists a handful of images; anything this large is not one.
constexpr size_t kMaxFeedBytes = 1 << 20;

std::string Hex2Bin(const std::string& hex, size_t expected, const char* what) {
  std::string bytes(expected, '\0');
  size_t length = 0;
  if (hex.size() != 2 * expected ||
      sodium_hex2bin(reinterpret_cast<unsigned char*>(bytes.data()), expected, hex.c_str(), hex.size(), nullptr,
                     &length, nullptr) != 0 ||
      length != expected) {
    ORVA_THROW_IN(FeedException, "Verify", std::string(what) + " is not " + std::to_string(2 * expected) + " hex digits");
  }
  return bytes;
}

std::string Text(xmlNode* node) {
  std::unique_ptr<xmlChar, decltype(xmlFree)> content(xmlNodeGetContent(node), xmlFree);
  return content ? reinterpret_cast<const char*>(content.get()) : "";
}

bool Is(xmlNode* node, const char* name, const char* ns) {
  if (node->type != XML_ELEMENT_NODE || xmlStrcmp(node->name, BAD_CAST name) != 0) return false;
  if (ns == nullptr) return node->ns == nullptr;
  return node->ns != nullptr && xmlStrcmp(node->ns->href, BAD_CAST ns) == 0;
}

xmlNode* Child(xmlNode* parent, const char* name, const char* ns) {
  for (xmlNode* c = parent->children; c != nullptr; c = c->next) {
    if (Is(c, name, ns)) return c;
  }
  return nullptr;
}

std::string Required(xmlNode* item, const char* name, const char* ns) {
  xmlNode* node = Child(item, name, ns);
  if (node == nullptr) ORVA_THROW_IN(FeedException, "Verify", std::string("a feed item has no <") + name + ">");
  return Text(node);
}

uint64_t Number(const std::string& text, const char* what, uint64_t max) {
  if (text.empty() || text.size() > 20 || text.find_first_not_of("0123456789") != std::string::npos ||
      std::stoull(text) > max) {
    ORVA_THROW_IN(FeedException, "Verify", std::string("a feed item's ") + what + " '" + text + "' is not a number in range");
  }
  return std::stoull(text);
}

FeedEntry ReadItem(xmlNode* item) {
  const char* ns = UpdateFeed::kNamespace;
  FeedEntry entry;
  entry.modelUnique = Required(item, "model", ns);
  entry.version.osName = Required(item, "osName", ns);
  entry.version.version = Required(item, "version", ns);
  entry.version.build = static_cast<uint32_t>(Number(Required(item, "build", ns), "build", 0xFFFFFF));
  entry.version.update = static_cast<uint8_t>(Number(Required(item, "update", ns), "update", 0xFF));
  entry.sha256 = Required(item, "sha256", ns);
  if (entry.sha256.size() != 64 || entry.sha256.find_first_not_of("0123456789abcdef") != std::string::npos) {
    ORVA_THROW_IN(FeedException, "Verify", "a feed item's sha256 is not 64 lower-case hex digits");
  }
  xmlNode* enclosure = Child(item, "enclosure", nullptr);
  if (enclosure == nullptr) ORVA_THROW_IN(FeedException, "Verify", "a feed item has no <enclosure>");
  std::unique_ptr<xmlChar, decltype(xmlFree)> url(xmlGetProp(enclosure, BAD_CAST "url"), xmlFree);
  std::unique_ptr<xmlChar, decltype(xmlFree)> length(xmlGetProp(enclosure, BAD_CAST "length"), xmlFree);
  if (!url || !length) ORVA_THROW_IN(FeedException, "Verify", "a feed item's <enclosure> lacks url or length");
  entry.imageUrl = reinterpret_cast<const char*>(url.get());
  entry.size = Number(reinterpret_cast<const char*>(length.get()), "length", std::numeric_limits<int64_t>::max());
  if (xmlNode* notes = Child(item, "description", nullptr)) entry.releaseNotes = Text(notes);
  return entry;
}

}  // namespace

std::vector<FeedEntry> ParseFeed(const std::string& feed) {
  // No network, no entity substitution, no DTD loading: the feed is data, nothing more.
  std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> doc(
      xmlReadMemory(feed.data(), static_cast<int>(feed.size()), "feed.xml", nullptr,
                    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING),
      &xmlFreeDoc);
  xmlNode* rss = doc ? xmlDocGetRootElement(doc.get()) : nullptr;
  xmlNode* channel = rss != nullptr && Is(rss, "rss", nullptr) ? Child(rss, "channel", nullptr) : nullptr;
  if (channel == nullptr) ORVA_THROW_IN(FeedException, "Verify", "the feed is not an RSS 2.0 document");
  std::vector<FeedEntry> entries;
  for (xmlNode* c = channel->children; c != nullptr; c = c->next) {
    if (Is(c, "item", nullptr)) entries.push_back(ReadItem(c));
  }
  return entries;
}

std::vector<FeedEntry> UpdateFeed::Verify(const std::string& feed, const std::string& signatureHex,
                                          const std::string& publicKeyHex) {
  if (sodium_init() < 0) ORVA_THROW(FeedException, "cannot initialise libsodium");
  const std::string key = Hex2Bin(publicKeyHex, crypto_sign_PUBLICKEYBYTES, "the pinned feed key");
  if (signatureHex.empty()) ORVA_THROW(FeedException, "the feed is not signed");
  const std::string signature = Hex2Bin(signatureHex, crypto_sign_BYTES, "the feed signature");
  if (crypto_sign_verify_detached(reinterpret_cast<const unsigned char*>(signature.data()),
                                  reinterpret_cast<const unsigned char*>(feed.data()), feed.size(),
                                  reinterpret_cast<const unsigned char*>(key.data())) != 0) {
    ORVA_THROW(FeedException, "the feed's signature does not match the pinned key");
  }
  return ParseFeed(feed);
}

std::vector<FeedEntry> UpdateFeed::Fetch(const FeedSource& source, const NodeIdentity& node) {
  const std::string url = source.server + "/autoupdate/genRSS.php?model=" + QueryEscape(node.modelUnique) +
                          "&version=" + QueryEscape(node.running.version) + "&build=" +
                          std::to_string(node.running.build) + "&update=" + std::to_string(node.running.update) +
                          "&serial=" + QueryEscape(node.serial);
  std::string feed;
  const HttpGetResult result = HttpGet(url, {source.caFile, source.timeoutMs, 0}, [&](const char* data, size_t size) {
    feed.append(data, size);
    return feed.size() <= kMaxFeedBytes;
  });
  if (!result.error.empty() || result.status != 200) {
    ORVA_THROW(FeedException, "cannot fetch the update feed from " + source.server + ": " +
                                  (result.error.empty() ? "HTTP status " + std::to_string(result.status) : result.error));
  }
  const auto signature = result.headers.find("x-orva-feed-signature");
  return Verify(feed, signature == result.headers.end() ? "" : signature->second, source.publicKeyHex);
}

std::optional<FeedEntry> UpdateFeed::Offer(const std::vector<FeedEntry>& entries, const NodeIdentity& node, bool force) {
  std::optional<FeedEntry> best;
  for (const auto& entry : entries) {
    if (entry.modelUnique != node.modelUnique) continue;
    const auto offered = entry.version.ToVersionInfo();
    // Offered only when the running version is not already at least as new.
    if (!force && Compatibility::VersionCompatibility::IsCompatible(node.running.ToVersionInfo(), offered)) continue;
    if (!best || offered.version > best->version.ToVersionInfo().version) best = entry;
  }
  return best;
}

}  // namespace ORVA::MESH::SDK::Upgrade
