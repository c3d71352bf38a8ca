#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "orvamesh/utils/compound_request.h"
#include "orvamesh/utils/compound_response.h"
#include "orvamesh/utils/request.h"
#include "orvamesh/utils/response.h"
#include "support/json_text.h"
#include "support/log_capture.h"

namespace {

using ORVA::MESH::SDK::CompoundRequest;
using ORVA::MESH::SDK::CompoundResponse;
using ORVA::MESH::SDK::Request;
using ORVA::MESH::SDK::Response;
using ORVA::MESH::SDK::UploadDesc;
using orva::test::LogCapture;

constexpr auto Parse = orva::test::ParseJson;

Request Call(const std::string& api, const Json::Value& params = Json::Value(Json::objectValue),
             std::vector<UploadDesc> uploads = {}) {
  return Request(api, 2, "get", params, uploads);
}

TEST(Request, WritesItselfForLogsAndBatches) {
  const Request request("ORVA.Core.Test", 3, "set", Parse(R"({"api": "spoofed", "x": 1})"), {});
  EXPECT_EQ(request.ToString(), "[ORVA.Core.Test][3][set]");
  EXPECT_EQ(request.ToJSON(),
            Parse(R"({"api": "ORVA.Core.Test", "version": 3, "method": "set", "x": 1})"));
  EXPECT_EQ(request.ToDebugString(), "[ORVA.Core.Test][3][set][{\n   \"api\" : \"spoofed\",\n   \"x\" : 1\n}][uploadFiles:0]");
}

TEST(Response, JudgesTheShapeOfTheAnswer) {
  const struct { std::string body; bool valid, success; int errorCode; } cases[] = {
      {R"({"success": true, "data": {"a": 1}})", true, true, 0},
      {R"({"success": true})", true, true, 0},
      {R"({"success": true, "data": []})", false, true, 0},
      {R"({"success": false, "error": {"code": 105}})", true, false, 105},
      {R"({"success": false, "error": {"code": "105"}})", false, false, 0},
      {R"({"success": false, "error": {"code": 2147483648}})", false, false, 0},
      {R"({"success": false, "error": 105})", false, false, 0},
      {R"({"success": false})", false, false, 0},
      {R"({"success": 1, "data": {}})", false, false, 0},
      {R"({"data": {}})", false, false, 0},
      {R"([true])", false, false, 0},
      {"", false, false, 0},
  };
  for (const auto& c : cases) {
    const Response response(c.body, "A", 7, "m");
    EXPECT_EQ(response.IsValid(), c.valid) << c.body;
    EXPECT_EQ(response.IsSuccess(), c.success) << c.body;
    EXPECT_EQ(response.GetErrorCode(), c.errorCode) << c.body;
  }
}

TEST(Response, AnAnswerNestedTooDeepIsAFailedAnswerNotAnException) {
  const auto nested = [](int depth) {
    return R"({"success": true, "data": {"a": )" + std::string(depth, '[') + std::string(depth, ']') + "}}";
  };
  EXPECT_TRUE(Response(nested(50), "A", 1, "m").IsValid());
  for (int depth : {64, 1001, 100000}) {
    EXPECT_NO_THROW({
      const Response response(nested(depth), "A", 1, "m");
      EXPECT_FALSE(response.IsValid()) << depth;
      EXPECT_FALSE(response.IsSuccess()) << depth;
    });
  }
}

TEST(Response, TypedGettersNeedASuccessfulAnswerAndTheRightType) {
  const Response ok(Parse(R"({"success": true, "data": {"i": 7, "big": 3000000000, "r": 1.5,
      "b": true, "s": "txt", "o": {"k": 1}, "a": [1]}})"), "A", 1, "m");
  // What a getter gives for a member as compact JSON: "-" when it refuses and leaves its output alone.
  const auto get = [&ok](const std::string& kind, const std::string& name) {
    int i = -1;
    double d = -1;
    bool b = false, got = false;
    std::string text = "-";
    Json::Value out = "-";
    if (kind == "int") got = ok.GetIntField(name, i), out = got ? Json::Value(i) : out;
    if (kind == "double") got = ok.GetDoubleField(name, d), out = got ? Json::Value(d) : out;
    if (kind == "bool") got = ok.GetBoolField(name, b), out = got ? Json::Value(b) : out;
    if (kind == "string") got = ok.GetStringField(name, text), out = got ? Json::Value(text) : out;
    if (kind == "object") got = ok.GetObjectField(name, out);
    if (kind == "array") got = ok.GetArrayField(name, out);
    if (!got) return std::string(out == "-" && i == -1 && d == -1 && text == "-" ? "-" : "changed");
    Json::StreamWriterBuilder compact;
    compact["indentation"] = "";
    return Json::writeString(compact, out);
  };
  const std::pair<std::string, std::string> cases[] = {  // the members i big r b s o a missing
      {"int", "7 - - - - - - -"},           {"double", "7.0 3000000000.0 1.5 - - - - -"},
      {"bool", "- - - true - - - -"},       {"string", "- - - - \"txt\" - - -"},
      {"object", "- - - - - {\"k\":1} - -"}, {"array", "- - - - - - [1] -"}};
  for (const auto& [kind, expected] : cases) {
    std::string row;
    for (const char* name : {"i", "big", "r", "b", "s", "o", "a", "missing"}) {
      row += (row.empty() ? "" : " ") + get(kind, name);
    }
    EXPECT_EQ(row, expected) << kind;
  }
  for (const char* body : {R"({"success": true})", R"({"success": false, "error": {"code": 1}, "data": {"i": 1}})",
                           R"({"success": true, "data": [1]})"}) {
    const Response answer(Parse(body), "A", 1, "m");
    Json::Value data = "untouched";
    EXPECT_FALSE(answer.GetData(data)) << body;
    EXPECT_EQ(data, Json::Value("untouched"));
    int i = 0;
    EXPECT_FALSE(answer.GetIntField("i", i)) << body;
  }
}

TEST(CompoundRequest, PacksTheCallsAndLeavesOutThoseWithUploads) {
  LogCapture capture;
  const std::vector<Request> calls = {Call("A.One"), Call("A.Two", Json::Value(), {UploadDesc("file", "/p")}),
                                      Call("A.Three", Parse(R"({"k": 1})"))};
  const CompoundRequest batch(calls, true);
  EXPECT_EQ(batch.ToString(), "[ORVA.Entry.Request][1][request]");
  EXPECT_TRUE(batch.GetUploadFiles().empty());
  EXPECT_EQ(batch.GetParam(), Parse(R"({"stop_when_error": true, "compound": [
      {"api": "A.One", "version": 2, "method": "get"},
      {"api": "A.Three", "version": 2, "method": "get", "k": 1}]})"));
  EXPECT_TRUE(
      capture.Contains("CompoundRequest cannot handle request with upload, ignoring [[A.Two][2][get]]"));
  const CompoundRequest onlyUploads({calls[1]}, false);
  EXPECT_EQ(onlyUploads.GetParam(), Parse(R"({"stop_when_error": false, "compound": []})"));
}

TEST(CompoundResponse, StopsAtTheFirstBadElementKeepingThoseBefore) {
  const std::string cases[] = {
      R"({"api": "B", "method": "m", "success": true})",
      R"({"api": "B", "version": 1, "success": true})",
      R"({"api": "B", "method": "m", "version": 1, "success": "yes"})",
      R"({"api": "B", "method": "m", "version": 1, "success": false, "error": {}})",
  };
  for (const auto& bad : cases) {
    const std::string body = R"({"success": true, "data": {"has_fail": false, "result": [
        {"api": "A", "method": "m", "version": 1, "success": true}, )" + bad +
                             R"(, {"api": "C", "method": "m", "version": 1, "success": true}]}})";
    const CompoundResponse batch(body, "ORVA.Entry.Request", 1, "request");
    EXPECT_FALSE(batch.IsValid()) << bad;
    EXPECT_EQ(batch.GetResponses().size(), 1u) << bad;
  }
}

TEST(CompoundResponse, NeedsResultAndHasFailOnlyWhenSuccessful) {
  const std::vector<std::pair<std::string, bool>> cases = {
      {R"({"success": true, "data": {"has_fail": false, "result": []}})", true},
      {R"({"success": true, "data": {"result": []}})", false},
      {R"({"success": true, "data": {"has_fail": false, "result": {}}})", false},
      {R"({"success": true})", false},
      {R"({"success": false, "error": {"code": 3}})", true},
      {R"({"success": false})", false},
  };
  for (const auto& [body, valid] : cases) {
    const CompoundResponse batch(body, CompoundRequest({}, false));
    EXPECT_EQ(batch.IsValid(), valid) << body;
    EXPECT_TRUE(batch.GetResponses().empty()) << body;
  }
  CompoundResponse batch;
  EXPECT_FALSE(batch.ParseResponses(Parse(R"({"a": 1})")));
  EXPECT_TRUE(batch.ParseResponses(Parse("[]")));
  EXPECT_TRUE(batch.GetResponses().empty());
}

}  // namespace
