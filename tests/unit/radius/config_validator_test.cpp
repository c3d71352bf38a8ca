// Validation of RADIUS configurations: one message per problem, naming the offender and never
// the secret.
#include <gtest/gtest.h>

#include <functional>

#include "orvamesh/base/exception.h"
#include "orvamesh/radius/config_validator.h"
#include "support/thrown_text.h"

namespace {

using namespace ORVA::MESH::SDK::Radius;
using ORVA::MESH::SDK::Exception::InvalidArgumentException;

RadiusConfig Good() {
  RadiusConfig c;
  c.clients = {{"aps", "192.168.8.0/24", "apsecret"}, {"v6", "fd00::/64", "v6secret"}};
  c.homeServers = {{"h1", "10.0.0.5", 1812, HOME_SERVER_TYPE::AUTH, "h1secret", 20, true},
                   {"h2", "fd00:1::5", 1812, HOME_SERVER_TYPE::AUTH, "h2secret", 20, true},
                   {"a1", "10.0.0.7", 1813, HOME_SERVER_TYPE::ACCT, "a1secret", 20, true}};
  c.pools = {{"corp", POOL_TYPE::FAIL_OVER, {"h1", "h2"}}, {"acct", POOL_TYPE::LOAD_BALANCE, {"a1"}}};
  c.realms = {{"corp.example", "corp", true}, {"local", "", true}, {"NULL", "", true}, {"DEFAULT", "corp", true}};
  return c;
}

// Good() itself passes: every case below finds exactly the one problem it makes.
TEST(RadiusValidation, NeighbouringPrefixesDoNotOverlap) {
  RadiusConfig config = Good();
  config.clients = {{"a", "10.0.0.0/25", "s"}, {"b", "10.0.0.128/25", "s"}, {"c", "10.0.1.1", "s"},
                    {"d", "::ffff:10.0.0.1", "s"}};
  EXPECT_TRUE(ConfigValidator::Problems(config).empty());
}

TEST(RadiusValidation, EachProblemIsReportedNamingItsOffender) {
  const struct {
    const char* what;
    std::function<void(RadiusConfig&)> spoil;
    const char* message;
  } cases[] = {
      {"empty secret", [](RadiusConfig& c) { c.clients[0].secret.clear(); }, "Client [aps]: the secret is empty"},
      {"long secret", [](RadiusConfig& c) { c.homeServers[1].secret.assign(129, 'x'); },
       "Home server [h2]: the secret is longer than [128] characters"},
      {"128 is fine, so only the other fails",
       [](RadiusConfig& c) { c.homeServers[1].secret.assign(128, 'x'); c.homeServers[0].secret.clear(); },
       "Home server [h1]: the secret is empty"},
      {"newline in secret", [](RadiusConfig& c) { c.clients[0].secret = "a\nb"; },
       "Client [aps]: the secret holds a control character"},
      {"trailing backslash", [](RadiusConfig& c) { c.homeServers[0].secret = "ab\\"; },
       "Home server [h1]: the secret holds a backslash at its end or before a quote"},
      {"backslash before quote", [](RadiusConfig& c) { c.clients[1].secret = "a\\'b"; },
       "Client [v6]: the secret holds a backslash at its end or before a quote"},
      {"duplicate client", [](RadiusConfig& c) { c.clients[1].name = "aps"; }, "Client [aps]: the name is used twice"},
      {"unknown pool", [](RadiusConfig& c) { c.realms[0].pool = "nope"; },
       "Realm [corp.example]: names an unknown pool [nope]"},
      {"empty pool", [](RadiusConfig& c) { c.pools[1].members.clear(); }, "Pool [acct]: has no members"},
      {"unknown member", [](RadiusConfig& c) { c.pools[0].members.push_back("h9"); },
       "Pool [corp]: names an unknown home server [h9]"},
      {"member twice", [](RadiusConfig& c) { c.pools[0].members.push_back("h1"); },
       "Pool [corp]: lists home server [h1] twice"},
      {"mixed types", [](RadiusConfig& c) { c.pools[0].members.push_back("a1"); },
       "Pool [corp]: mixes home servers of different types"},
      {"host name", [](RadiusConfig& c) { c.homeServers[0].address = "radius.corp"; },
       "Home server [h1]: address [radius.corp] is not an IP address"},
      {"port 0", [](RadiusConfig& c) { c.homeServers[0].port = 0; }, "Home server [h1]: port [0] is out of range"},
      {"auth+acct needs the next port", [](RadiusConfig& c) {
         c.homeServers[0].type = HOME_SERVER_TYPE::BOTH; c.homeServers[0].port = 65535; c.pools[0].members = {"h1"}; },
       "Home server [h1]: port [65536] is out of range"},
      {"response window", [](RadiusConfig& c) { c.homeServers[0].responseWindow = 61; },
       "Home server [h1]: response window [61] is not 1 to 60 seconds"},
      {"bad prefix length", [](RadiusConfig& c) { c.clients[0].address = "192.168.8.0/33"; },
       "Client [aps]: address [192.168.8.0/33] is not an address or prefix"},
      {"overlap", [](RadiusConfig& c) { c.clients[1].address = "192.168.8.77"; },
       "Client [v6]: address [192.168.8.77] overlaps client [aps]"},
      {"overlap v6", [](RadiusConfig& c) { c.clients[0].address = "fd00::/16"; },
       "Client [v6]: address [fd00::/64] overlaps client [aps]"},
      {"no listen address", [](RadiusConfig& c) { c.listen.addresses.clear(); }, "Listen: no address to listen on"},
      {"shared port", [](RadiusConfig& c) { c.listen.acctPort = 1812; },
       "Listen: authentication and accounting share port [1812]"},
  };
  for (const auto& c : cases) {
    RadiusConfig config = Good();
    c.spoil(config);
    const std::vector<std::string> problems = ConfigValidator::Problems(config);
    ASSERT_EQ(problems.size(), 1u) << c.what << ": " << (problems.empty() ? "" : problems[0]);
    EXPECT_EQ(problems[0], c.message) << c.what;
  }
}

TEST(RadiusValidation, CheckThrowsEveryProblemWithoutQuotingSecrets) {
  RadiusConfig config = Good();
  config.clients[0].secret = "top\nsecret";
  config.realms[0].pool = "gone";
  const std::string text = orva::test::ThrownText<InvalidArgumentException>([&] { ConfigValidator::Check(config); });
  EXPECT_NE(text.find("Client [aps]: the secret holds a control character; Realm [corp.example]: names an unknown "
                      "pool [gone]"),
            std::string::npos)
      << text;
  EXPECT_EQ(text.find("top"), std::string::npos);
}

}  // namespace
