#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sodium.h>

#include <sstream>
#include <string>
#include <vector>

#include "orvamesh/upgrade/mesh_upgrade_exception.h"
#include "orvamesh/upgrade/update_feed.h"
#include "platform/process_runner.h"
#include "support/thrown_text.h"

namespace {

using namespace ORVA::MESH::SDK::Upgrade;

std::string Hex(const unsigned char* bytes, size_t size) {
  std::string out(2 * size + 1, '\0');
  sodium_bin2hex(out.data(), out.size(), bytes, size);
  out.pop_back();
  return out;
}

struct Signer {
  unsigned char pk[crypto_sign_PUBLICKEYBYTES];
  unsigned char sk[crypto_sign_SECRETKEYBYTES];
  Signer() {
    if (sodium_init() < 0) throw std::runtime_error("sodium");
    crypto_sign_keypair(pk, sk);
  }
  std::string PublicHex() const { return Hex(pk, sizeof pk); }
  std::string Sign(const std::string& feed) const {
    unsigned char sig[crypto_sign_BYTES];
    crypto_sign_detached(sig, nullptr, reinterpret_cast<const unsigned char*>(feed.data()), feed.size(), sk);
    return Hex(sig, sizeof sig);
  }
};

std::string Item(const std::string& model, const std::string& version, unsigned build, unsigned update,
                 const std::string& extra = "") {
  return "<item><title>OrvaOS " + version + "</title><description>Fixes.</description>"
         "<enclosure url=\"https://u.example/images/plain/" + version + ".img\" length=\"4096\" type=\"application/octet-stream\"/>"
         "<o:model>" + model + "</o:model><o:osName>OrvaOS</o:osName><o:version>" + version + "</o:version>"
         "<o:build>" + std::to_string(build) + "</o:build><o:update>" + std::to_string(update) + "</o:update>"
         "<o:sha256>" + std::string(64, 'a') + "</o:sha256>" + extra + "</item>";
}

std::string Feed(const std::string& items) {
  return "<?xml version=\"1.0\"?><rss version=\"2.0\" xmlns:o=\"urn:orvamesh:update:1\"><channel><title>t</title>" +
         items + "</channel></rss>";
}

TEST(UpdateFeed, ReadsTheItemsOfAFeedSignedByThePinnedKey) {
  const Signer signer;
  const std::string feed = Feed(Item("m-1", "5.3.0", 75000, 2) + Item("m-2", "5.4.0", 76000, 0));
  const auto entries = UpdateFeed::Verify(feed, signer.Sign(feed), signer.PublicHex());
  ASSERT_EQ(entries.size(), 2u);
  const FeedEntry& e = entries[0];
  EXPECT_EQ(e.modelUnique + " " + e.version.osName + " " + e.version.version + " " + std::to_string(e.version.build) +
                "." + std::to_string(e.version.update) + " " + e.imageUrl + " " + std::to_string(e.size) + " " +
                e.sha256 + " " + e.releaseNotes,
            "m-1 OrvaOS 5.3.0 75000.2 https://u.example/images/plain/5.3.0.img 4096 " + std::string(64, 'a') +
                " Fixes.");
  EXPECT_EQ(entries[1].modelUnique + " " + entries[1].version.version, "m-2 5.4.0");
}

TEST(UpdateFeed, RefusesEveryFeedItCannotTrust) {
  const Signer signer;
  const std::string feed = Feed(Item("m-1", "5.3.0", 75000, 2));
  std::string changed = feed;
  changed[changed.find("75000")] = '8';
  const std::string notXml = "not a feed";
  const std::string noSha = Feed("<item><o:model>m</o:model></item>");
  std::string badBuild = Feed(Item("m", "1", 1, 1));
  badBuild.replace(badBuild.find("<o:build>1"), 10, "<o:build>x");
  struct Case { std::string feed, signature, key, needle; };
  const std::vector<Case> cases = {
      {feed, "", signer.PublicHex(), "not signed"},
      {changed, signer.Sign(feed), signer.PublicHex(), "does not match"},
      {feed, signer.Sign(feed).substr(2), signer.PublicHex(), "signature is not 128 hex digits"},
      {feed, signer.Sign(feed), "zz" + signer.PublicHex().substr(2), "key is not 64 hex digits"},
      {notXml, signer.Sign(notXml), signer.PublicHex(), "not an RSS 2.0 document"},
      {noSha, signer.Sign(noSha), signer.PublicHex(), "has no <"},
      {badBuild, signer.Sign(badBuild), signer.PublicHex(), "build 'x"},
  };
  for (const auto& c : cases) {
    EXPECT_THAT(orva::test::ThrownText<FeedException>([&] { UpdateFeed::Verify(c.feed, c.signature, c.key); }),
                testing::HasSubstr(c.needle));
  }
}

TEST(UpdateFeed, AcceptsASignatureMadeByAnIndependentEd25519) {
  const std::string feed = Feed(Item("m-1", "5.3.0", 75000, 2));
  const char* script =
      "import sys, nacl.signing\n"
      "k = nacl.signing.SigningKey.generate()\n"
      "print(k.verify_key.encode().hex())\n"
      "print(k.sign(sys.argv[1].encode()).signature.hex())\n";
  std::string out, key, signature;
  ASSERT_EQ(orva::platform::RunProgramCapture({"/usr/bin/python3", "-c", script, feed}, out), 0);
  std::istringstream(out) >> key >> signature;
  EXPECT_EQ(UpdateFeed::Verify(feed, signature, key).size(), 1u);
}

TEST(UpdateFeed, OffersOnlyTheNewestNewerImageOfTheNodesModel) {
  const auto Entry = [](const std::string& model, unsigned build, unsigned update) {
    FeedEntry e;
    e.modelUnique = model;
    e.version.build = build;
    e.version.update = static_cast<uint8_t>(update);
    return e;
  };
  const std::vector<FeedEntry> entries = {Entry("m", 100, 0), Entry("m", 100, 3), Entry("m", 99, 9), Entry("other", 500, 0)};
  struct Case { unsigned build, update; bool force; std::optional<std::pair<unsigned, unsigned>> offered; };
  const std::vector<Case> cases = {
      {100, 0, false, std::make_pair(100u, 3u)},
      {100, 3, false, std::nullopt},
      {101, 0, false, std::nullopt},
      {101, 0, true, std::make_pair(100u, 3u)},
  };
  for (const auto& c : cases) {
    NodeIdentity node;
    node.modelUnique = "m";
    node.running.build = c.build;
    node.running.update = static_cast<uint8_t>(c.update);
    const auto offer = UpdateFeed::Offer(entries, node, c.force);
    ASSERT_EQ(offer.has_value(), c.offered.has_value()) << c.build << "." << c.update;
    if (offer) {
      EXPECT_EQ(std::make_pair(offer->version.build, unsigned{offer->version.update}), *c.offered);
    }
  }
}

}  // namespace
