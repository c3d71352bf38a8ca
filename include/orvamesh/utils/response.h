#pragma once
// One answer of the web API. Two documents are well formed: {"success": true, "data": {...}}
// (data optional) and {"success": false, "error": {"code": n, ...}}. Nothing here throws on
// bad input: a malformed answer is simply not valid, and the getters return false.
#include <json/value.h>

#include <string>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK {

class Request;

class ORVA_EXPORT Response {
 public:
  // Not valid, not successful, error code 0, null body.
  Response() = default;
  Response(const Json::Value& body, const std::string& api, const int& version, std::string method);
  Response(const Json::Value& body, const Request& req);
  // The body is parsed from text; text that does not parse leaves the answer invalid.
  Response(const std::string& bodyText, const std::string& api, const int& version,
           std::string method);
  Response(const std::string& bodyText, const Request& req);
  Response(const Response&) = default;
  Response& operator=(const Response&) = default;
  virtual ~Response() = default;

  virtual bool CheckValid() const;
  virtual bool CheckSuccess() const;
  virtual bool CheckHaveData() const;

  bool IsValid() const { return valid_; }
  bool IsSuccess() const { return success_; }
  int GetErrorCode() const { return errorCode_; }
  const std::string& GetAPI() const { return api_; }
  const std::string& GetMethod() const { return method_; }
  int GetVersion() const { return version_; }
  const Json::Value& GetBody() const { return body_; }

  // body["error"]["code"] when it is an integer, else 0.
  int ExtractErrorCode() const;
  // Copies body["data"] when the answer is valid, successful and carries a data object.
  bool GetData(Json::Value& out) const;

  // data[name] of a valid successful answer, when present with the right type; otherwise
  // false and `out` is left alone.
  bool GetIntField(const std::string& name, int& out) const;
  bool GetBoolField(const std::string& name, bool& out) const;
  bool GetDoubleField(const std::string& name, double& out) const;
  bool GetStringField(const std::string& name, std::string& out) const;
  bool GetObjectField(const std::string& name, Json::Value& out) const;
  bool GetArrayField(const std::string& name, Json::Value& out) const;

  // True when `obj` is an object holding `name` with that type. Any number passes the double
  // check; the int check takes only values within the signed 32-bit range.
  static bool CheckIntMember(const Json::Value& obj, const std::string& name);
  static bool CheckBoolMember(const Json::Value& obj, const std::string& name);
  static bool CheckDoubleMember(const Json::Value& obj, const std::string& name);
  static bool CheckStringMember(const Json::Value& obj, const std::string& name);
  static bool CheckObjectMember(const Json::Value& obj, const std::string& name);
  static bool CheckArrayMember(const Json::Value& obj, const std::string& name);

 protected:
  // Sets valid, success and error code from the body, using this object's CheckValid.
  void Init();
  void SetValid(bool valid) { valid_ = valid; }

 private:
  void ParseText(const std::string& bodyText);

  bool valid_ = false;
  bool success_ = false;
  int errorCode_ = 0;
  std::string api_;
  std::string method_;
  int version_ = 0;
  Json::Value body_;
};

}  // namespace ORVA::MESH::SDK
