// The RADIUS configuration model: JSON in and out, and which JSON it refuses.
#include <gtest/gtest.h>
#include <json/json.h>

#include "orvamesh/base/exception.h"
#include "orvamesh/radius/radius_config.h"
#include "support/json_text.h"
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

TEST(RadiusConfigJson, WritesEveryFieldWithTheDocumentedKeysAndWordsAndReadsItBack) {
  EXPECT_EQ(RadiusConfig::FromJsonText(Sample().ToJsonText()), Sample());
  EXPECT_EQ(RadiusConfig::FromJson(Sample().ToJson()), Sample());
  // Read back as text, since jsoncpp tells signed from unsigned numbers. A local realm has no
  // pool at all rather than an empty one.
  EXPECT_EQ(orva::test::ParseJson(Sample().ToJsonText()), orva::test::ParseJson(R"({
      "listen": {"addresses": ["192.168.8.1", "fd00::1"], "auth_port": 11812, "acct_port": 0},
      "clients": [{"name": "aps", "address": "192.168.8.0/24", "secret": "s3cr\"et"}],
      "home_servers": [
          {"name": "corp1", "address": "10.0.0.5", "port": 1645, "type": "both", "secret": "h$me}",
           "response_window": 7, "status_check": false},
          {"name": "acct1", "address": "10.0.0.6", "port": 1813, "type": "acct", "secret": "x",
           "response_window": 20, "status_check": true}],
      "pools": [{"name": "corp", "type": "load-balance", "members": ["corp1"]}],
      "realms": [{"name": "corp example", "pool": "corp", "strip": false}, {"name": "NULL", "strip": true}]})"));
}

TEST(RadiusConfigJson, BadValuesAreRefusedNamingTheirPlace) {
  const struct {
    const char* json;
    const char* message;
  } cases[] = {
      {"[]", "is not a JSON object"},
      {"{\"clients\": 5}", "[clients] must be an array"},
      {"{\"clients\": [7]}", "[clients[0]] must be an object"},
      {"{\"clients\": [{\"secret\": 5}]}", "[clients[0].secret] must be a string"},
      {"{\"home_servers\": [{}, {\"port\": -1}]}", "[home_servers[1].port] must be a non-negative integer"},
      {"{\"home_servers\": [{\"type\": \"proxy\"}]}", "Unknown value [proxy] for [home_servers[0].type]"},
      {"{\"home_servers\": [{\"status_check\": 1}]}", "[home_servers[0].status_check] must be true or false"},
      {"{\"pools\": [{\"members\": [\"a\", 1]}]}", "[pools[0].members] must be an array of strings"},
      {"{\"listen\": {\"addresses\": \"0.0.0.0\"}}", "[listen.addresses] must be an array of strings"},
      {"{\"listen\": []}", "[listen] must be an object"},
  };
  for (const auto& c : cases) {
    const std::string text = ThrownText<InvalidArgumentException>([&] { RadiusConfig::FromJsonText(c.json); });
    EXPECT_NE(text.find(c.message), std::string::npos) << c.json << " -> " << text;
  }
  const std::string text = ThrownText<InvalidArgumentException>([] { RadiusConfig::FromJson(Json::Value(3)); });
  EXPECT_NE(text.find("[configuration] must be an object"), std::string::npos) << text;
}

}  // namespace
