// The RADIUS configuration model: JSON in and out, and which JSON it refuses.
#include <gtest/gtest.h>
#include <json/json.h>

#include "orvamesh/base/exception.h"
#include "orvamesh/radius/radius_config.h"
#include "support/thrown_text.h"

namespace {

using namespace ORVA::MESH::SDK::Radius;
using ORVA::MESH::SDK::Exception::InvalidArgumentException;
using orva::test::ThrownText;

RadiusConfig Sample() {
  RadiusConfig c;
  c.listen.addresses = {"192.168.8.1", "fd00::1"};
  c.listen.authPort = 11812;
  c.listen.acctPort = 0;
  c.clients = {{"aps", "192.168.8.0/24", "s3cr\"et"}};
  c.homeServers = {{"corp1", "10.0.0.5", 1645, HOME_SERVER_TYPE::BOTH, "h$me}", 7, false},
                   {"acct1", "10.0.0.6", 1813, HOME_SERVER_TYPE::ACCT, "x", 20, true}};
  c.pools = {{"corp", POOL_TYPE::LOAD_BALANCE, {"corp1"}}};
  c.realms = {{"corp example", "corp", false}, {"NULL", "", true}};
  return c;
}

TEST(RadiusConfigJson, RoundTripKeepsEveryField) {
  const RadiusConfig c = Sample();
  EXPECT_EQ(RadiusConfig::FromJsonText(c.ToJsonText()), c);
  EXPECT_EQ(RadiusConfig::FromJson(c.ToJson()), c);
}

TEST(RadiusConfigJson, UsesTheDocumentedKeysAndWords) {
  const Json::Value j = Sample().ToJson();
  EXPECT_EQ(j["listen"]["auth_port"].asUInt(), 11812u);
  EXPECT_EQ(j["home_servers"][0]["type"].asString(), "both");
  EXPECT_EQ(j["home_servers"][1]["type"].asString(), "acct");
  EXPECT_EQ(j["home_servers"][0]["response_window"].asUInt(), 7u);
  EXPECT_FALSE(j["home_servers"][0]["status_check"].asBool());
  EXPECT_EQ(j["pools"][0]["type"].asString(), "load-balance");
  EXPECT_EQ(j["realms"][0]["strip"].asBool(), false);
  // A local realm has no pool at all rather than an empty one.
  EXPECT_FALSE(j["realms"][1].isMember("pool"));
}

TEST(RadiusConfigJson, MissingKeysTakeTheDefaults) {
  const RadiusConfig c = RadiusConfig::FromJsonText(
      R"({"home_servers":[{"name":"h","address":"10.0.0.1","secret":"s"}],"realms":[{"name":"r"}],
          "pools":[{"name":"p","members":["h"]}]})");
  EXPECT_EQ(c.listen, ListenSettings{});
  EXPECT_EQ(c.listen.addresses, std::vector<std::string>{"0.0.0.0"});
  EXPECT_EQ(c.homeServers.at(0).port, 1812u);
  EXPECT_EQ(c.homeServers.at(0).type, HOME_SERVER_TYPE::AUTH);
  EXPECT_EQ(c.homeServers.at(0).responseWindow, 20u);
  EXPECT_TRUE(c.homeServers.at(0).statusCheck);
  EXPECT_EQ(c.pools.at(0).type, POOL_TYPE::FAIL_OVER);
  EXPECT_TRUE(c.realms.at(0).strip);
  EXPECT_TRUE(c.realms.at(0).pool.empty());
}

TEST(RadiusConfigJson, BadValuesAreRefusedNamingTheirPlace) {
  const struct {
    const char* json;
    const char* message;
  } cases[] = {
      {"[]", "is not a JSON object"},
      {"", "is not a JSON object"},
      {"{\"clients\": 5}", "[clients] must be an array"},
      {"{\"clients\": [7]}", "[clients[0]] must be an object"},
      {"{\"clients\": [{\"secret\": 5}]}", "[clients[0].secret] must be a string"},
      {"{\"home_servers\": [{}, {\"port\": -1}]}", "[home_servers[1].port] must be a non-negative integer"},
      {"{\"home_servers\": [{\"port\": \"1812\"}]}", "[home_servers[0].port] must be a non-negative integer"},
      {"{\"home_servers\": [{\"type\": \"proxy\"}]}", "Unknown value [proxy] for [home_servers[0].type]"},
      {"{\"home_servers\": [{\"status_check\": 1}]}", "[home_servers[0].status_check] must be true or false"},
      {"{\"pools\": [{\"type\": \"\"}]}", "Unknown value [] for [pools[0].type]"},
      {"{\"pools\": [{\"members\": [\"a\", 1]}]}", "[pools[0].members] must be an array of strings"},
      {"{\"listen\": {\"addresses\": \"0.0.0.0\"}}", "[listen.addresses] must be an array of strings"},
      {"{\"listen\": []}", "[listen] must be an object"},
      {"{\"realms\": [{\"strip\": \"no\"}]}", "[realms[0].strip] must be true or false"},
  };
  for (const auto& c : cases) {
    const std::string text = ThrownText<InvalidArgumentException>([&] { RadiusConfig::FromJsonText(c.json); });
    EXPECT_NE(text.find(c.message), std::string::npos) << c.json << " -> " << text;
  }
  const std::string text = ThrownText<InvalidArgumentException>([] { RadiusConfig::FromJson(Json::Value(3)); });
  EXPECT_NE(text.find("[configuration] must be an object"), std::string::npos) << text;
}

}  // namespace
