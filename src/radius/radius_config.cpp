#include "orvamesh/radius/radius_config.h"

#include <json/json.h>

#include <functional>

#include "orvamesh/base/exception.h"
#include "platform/text.h"

namespace ORVA::MESH::SDK::Radius {
namespace {

using Exception::InvalidArgumentException;

// Reads one object's keys, naming the place of a bad value in the message.
class FieldReader {
 public:
  FieldReader(const Json::Value& object, std::string place) : object_(object), place_(std::move(place)) {
    if (!object_.isObject()) Fail("", "an object");
  }

  void String(const char* key, std::string& out) const {
    const Json::Value& v = object_[key];
    if (v.isNull()) return;
    if (!v.isString()) Fail(key, "a string");
    out = v.asString();
  }

  void Port(const char* key, uint32_t& out) const {
    const Json::Value& v = object_[key];
    if (v.isNull()) return;
    // Out-of-range ports are the validator's to report, with the offender's name.
    if (!v.isUInt()) Fail(key, "a non-negative integer");
    out = v.asUInt();
  }

  void Bool(const char* key, bool& out) const {
    const Json::Value& v = object_[key];
    if (v.isNull()) return;
    if (!v.isBool()) Fail(key, "true or false");
    out = v.asBool();
  }

  void Strings(const char* key, std::vector<std::string>& out) const {
    const Json::Value& v = object_[key];
    if (v.isNull()) return;
    if (!v.isArray()) Fail(key, "an array of strings");
    out.clear();
    for (const Json::Value& item : v) {
      if (!item.isString()) Fail(key, "an array of strings");
      out.push_back(item.asString());
    }
  }

  template <typename Enum>
  void Word(const char* key, Enum& out, const std::vector<Enum>& values) const {
    std::string word;
    String(key, word);
    if (word.empty() && object_[key].isNull()) return;
    for (Enum value : values) {
      if (ToString(value) == word) {
        out = value;
        return;
      }
    }
    ORVA_THROW(InvalidArgumentException, "Unknown value [" + word + "] for [" + Place(key) + "]");
  }

  const Json::Value& Get(const char* key) const { return object_[key]; }
  std::string Place(const std::string& key) const {
    if (key.empty()) return place_;
    return place_.empty() ? key : place_ + "." + key;
  }

 private:
  [[noreturn]] void Fail(const std::string& key, const char* expected) const {
    const std::string where = Place(key);
    ORVA_THROW(InvalidArgumentException, "[" + (where.empty() ? std::string("configuration") : where) +
                                             "] must be " + expected);
  }

  const Json::Value& object_;
  std::string place_;
};

template <typename T>
void ReadList(const FieldReader& top, const char* key, std::vector<T>& out,
              const std::function<T(const FieldReader&)>& readOne) {
  const Json::Value& list = top.Get(key);
  if (list.isNull()) return;
  if (!list.isArray()) ORVA_THROW(InvalidArgumentException, "[" + std::string(key) + "] must be an array");
  for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
    out.push_back(readOne(FieldReader(list[i], std::string(key) + "[" + std::to_string(i) + "]")));
  }
}

RadiusClient ReadClient(const FieldReader& in) {
  RadiusClient c;
  in.String("name", c.name);
  in.String("address", c.address);
  in.String("secret", c.secret);
  return c;
}

HomeServer ReadHomeServer(const FieldReader& in) {
  HomeServer h;
  in.String("name", h.name);
  in.String("address", h.address);
  in.Port("port", h.port);
  in.Word("type", h.type, {HOME_SERVER_TYPE::AUTH, HOME_SERVER_TYPE::ACCT, HOME_SERVER_TYPE::BOTH});
  in.String("secret", h.secret);
  in.Port("response_window", h.responseWindow);
  in.Bool("status_check", h.statusCheck);
  return h;
}

HomeServerPool ReadPool(const FieldReader& in) {
  HomeServerPool p;
  in.String("name", p.name);
  in.Word("type", p.type, {POOL_TYPE::FAIL_OVER, POOL_TYPE::LOAD_BALANCE});
  in.Strings("members", p.members);
  return p;
}

Realm ReadRealm(const FieldReader& in) {
  Realm r;
  in.String("name", r.name);
  in.String("pool", r.pool);
  in.Bool("strip", r.strip);
  return r;
}

Json::Value StringArray(const std::vector<std::string>& items) {
  Json::Value out(Json::arrayValue);
  for (const std::string& item : items) out.append(item);
  return out;
}

template <typename T>
Json::Value WriteList(const std::vector<T>& items, const std::function<Json::Value(const T&)>& writeOne) {
  Json::Value out(Json::arrayValue);
  for (const T& item : items) out.append(writeOne(item));
  return out;
}

}  // namespace

bool ListenSettings::operator==(const ListenSettings& o) const {
  return addresses == o.addresses && authPort == o.authPort && acctPort == o.acctPort;
}
bool RadiusClient::operator==(const RadiusClient& o) const {
  return name == o.name && address == o.address && secret == o.secret;
}
bool HomeServer::operator==(const HomeServer& o) const {
  return name == o.name && address == o.address && port == o.port && type == o.type && secret == o.secret &&
         responseWindow == o.responseWindow && statusCheck == o.statusCheck;
}
bool HomeServerPool::operator==(const HomeServerPool& o) const {
  return name == o.name && type == o.type && members == o.members;
}
bool Realm::operator==(const Realm& o) const { return name == o.name && pool == o.pool && strip == o.strip; }
bool RadiusConfig::operator==(const RadiusConfig& o) const {
  return listen == o.listen && clients == o.clients && homeServers == o.homeServers && pools == o.pools &&
         realms == o.realms;
}

std::string ToString(HOME_SERVER_TYPE type) {
  switch (type) {
    case HOME_SERVER_TYPE::AUTH: return "auth";
    case HOME_SERVER_TYPE::ACCT: return "acct";
    case HOME_SERVER_TYPE::BOTH: return "both";
  }
  return "auth";
}

std::string ToString(POOL_TYPE type) {
  return type == POOL_TYPE::LOAD_BALANCE ? "load-balance" : "fail-over";
}

RadiusConfig RadiusConfig::FromJson(const Json::Value& json) {
  const FieldReader top(json, "");
  RadiusConfig config;
  if (!top.Get("listen").isNull()) {
    const FieldReader listen(top.Get("listen"), "listen");
    listen.Strings("addresses", config.listen.addresses);
    listen.Port("auth_port", config.listen.authPort);
    listen.Port("acct_port", config.listen.acctPort);
  }
  ReadList<RadiusClient>(top, "clients", config.clients, ReadClient);
  ReadList<HomeServer>(top, "home_servers", config.homeServers, ReadHomeServer);
  ReadList<HomeServerPool>(top, "pools", config.pools, ReadPool);
  ReadList<Realm>(top, "realms", config.realms, ReadRealm);
  return config;
}

RadiusConfig RadiusConfig::FromJsonText(const std::string& text) {
  Json::Value json;
  if (!orva::platform::ParseJsonText(text, json) || !json.isObject()) {
    ORVA_THROW(InvalidArgumentException, "The RADIUS configuration is not a JSON object");
  }
  return FromJson(json);
}

Json::Value RadiusConfig::ToJson() const {
  Json::Value out(Json::objectValue);
  out["listen"]["addresses"] = StringArray(listen.addresses);
  out["listen"]["auth_port"] = listen.authPort;
  out["listen"]["acct_port"] = listen.acctPort;
  out["clients"] = WriteList<RadiusClient>(clients, [](const RadiusClient& c) {
    Json::Value v;
    v["name"] = c.name;
    v["address"] = c.address;
    v["secret"] = c.secret;
    return v;
  });
  out["home_servers"] = WriteList<HomeServer>(homeServers, [](const HomeServer& h) {
    Json::Value v;
    v["name"] = h.name;
    v["address"] = h.address;
    v["port"] = h.port;
    v["type"] = ToString(h.type);
    v["secret"] = h.secret;
    v["response_window"] = h.responseWindow;
    v["status_check"] = h.statusCheck;
    return v;
  });
  out["pools"] = WriteList<HomeServerPool>(pools, [](const HomeServerPool& p) {
    Json::Value v;
    v["name"] = p.name;
    v["type"] = ToString(p.type);
    v["members"] = StringArray(p.members);
    return v;
  });
  out["realms"] = WriteList<Realm>(realms, [](const Realm& r) {
    Json::Value v;
    v["name"] = r.name;
    if (!r.pool.empty()) v["pool"] = r.pool;
    v["strip"] = r.strip;
    return v;
  });
  return out;
}

std::string RadiusConfig::ToJsonText() const {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  return Json::writeString(builder, ToJson());
}

const HomeServer* RadiusConfig::FindHomeServer(const std::string& name) const {
  for (const HomeServer& h : homeServers) {
    if (h.name == name) return &h;
  }
  return nullptr;
}

const HomeServerPool* RadiusConfig::FindPool(const std::string& name) const {
  for (const HomeServerPool& p : pools) {
    if (p.name == name) return &p;
  }
  return nullptr;
}

}  // namespace ORVA::MESH::SDK::Radius
