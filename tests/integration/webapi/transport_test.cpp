#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <chrono>
#include <string>
#include <vector>

#include "integration/webapi/webapi_env.h"
#include "orvamesh/utils/compound_request.h"
#include "orvamesh/utils/compound_response.h"
#include "support/log_capture.h"

namespace {

using ORVA::MESH::SDK::CompoundRequest;
using ORVA::MESH::SDK::CompoundResponse;
using ORVA::MESH::SDK::RemoteRequest;
using ORVA::MESH::SDK::Request;
using ORVA::MESH::SDK::Response;
using ORVA::MESH::SDK::UploadDesc;
using namespace ORVA::MESH::SDK::Webapi;
using orva::test::LogCapture;
using orva::test::WebapiEnv;
using testing::Contains;

// The text of every captured error line without its "file:line " prefix.
std::vector<std::string> Messages(const LogCapture& capture) {
  std::vector<std::string> out;
  for (const auto& line : capture.Lines()) {
    if (line.priority == LOG_ERR) out.push_back(line.text.substr(line.text.find(' ') + 1));
  }
  return out;
}

// One word per answer: "S" for success, "F<code>" for a failure the server reported, "I" for
// an answer that is not valid.
std::string States(const std::vector<Response>& answers) {
  std::string out;
  for (const Response& a : answers) {
    out += std::string(out.empty() ? "" : " ") +
           (!a.IsValid() ? "I" : a.IsSuccess() ? "S" : "F" + std::to_string(a.GetErrorCode()));
  }
  return out;
}

using WebapiTransport = WebapiEnv;

TEST_F(WebapiTransport, ABatchGetsOneAnswerPerCallInOrder) {
  std::vector<Response> answers;
  const std::vector<RemoteRequest> batch = {Call("Node.A", Params(R"({"n": 1})")), Call("Node.B"),
                                            Call("Node.C")};
  ASSERT_EQ(SendWebAPIs(batch, answers, "lo"), 0);
  ASSERT_EQ(States(answers), "S S S");
  // Each answer is filed under its call's name and is the server's echo of that very call.
  std::string apis;
  for (const Response& a : answers) apis += a.GetAPI() + "=" + a.GetBody()["data"]["api"].asString() + " ";
  EXPECT_EQ(apis, "Node.A=Node.A Node.B=Node.B Node.C=Node.C ");
  EXPECT_EQ(answers[0].GetBody()["data"]["params"]["n"], 1);
  const auto calls = server_->Calls();
  ASSERT_EQ(calls.size(), 3u);
  for (const auto& call : calls) EXPECT_EQ(call["user"], "admin");
}

// A refused log-in ("stale") is a failed answer; a session without credentials ("nobody") is
// never sent.
TEST_F(WebapiTransport, ReportsEachFailedIllFormedOrRefusedAnswerAndStillFillsTheOthers) {
  LogCapture capture;
  std::vector<Response> answers;
  const std::vector<RemoteRequest> batch = {
      Call("Test.Fail", Params(R"({"code": 42})")), Call("Node.Ok"), Call("Test.IllFormed"),
      Call("Test.Status", Params(R"({"status": 500, "body": "oops"})")),
      Call("Test.Status", Params(R"({"status": 503, "body": "{\"success\": false, \"error\": {\"code\": 503}}"})")),
      Call("Node.Ok", Json::Value(), "stale"), Call("Node.Ok", Json::Value(), "nobody")};
  EXPECT_EQ(SendWebAPIs(batch, answers, "lo"), -1);
  EXPECT_EQ(States(answers), "F42 S I I F503 F401 I");
  const auto errors = Messages(capture);
  EXPECT_THAT(errors, Contains("[::1][Test.Fail][1][get] webapi request failed: [42]"));
  EXPECT_THAT(errors, Contains("Ill-formed webapi response from [::1][Test.IllFormed][1][get] : this is not json"));
  EXPECT_THAT(errors, Contains("Fail to add [[::1][Node.Ok][1][get]] to webapiMgr: [1002]"));
  EXPECT_EQ(server_->CountCalls("Node.Ok"), 2u);
}

TEST_F(WebapiTransport, RetryResendsOnlyTheCallsThatFailedAndGivesUpAfterTheLastPass) {
  std::vector<Response> answers;
  const std::vector<RemoteRequest> batch = {
      Call("Node.First"), Call("Test.FailTimes", Params(R"({"key": "second", "times": 2})")), Call("Node.Third")};
  EXPECT_EQ(SendWebAPIsRetry(batch, answers, 2, "lo"), 0);
  EXPECT_EQ(States(answers), "S S S");
  EXPECT_EQ(Counts({"Node.First", "Test.FailTimes", "Node.Third"}), "1 3 1");

  // A call that keeps failing is given up after the last pass.
  EXPECT_EQ(SendWebAPIsRetry({Call("Node.Ok"), Call("Test.Fail")}, answers, 1, "lo"), -1);
  EXPECT_EQ(States(answers), "S F1");
  EXPECT_EQ(Counts({"Node.Ok", "Test.Fail"}), "1 2");

  // The largest retry count sends nothing, yet the two forms disagree on whether that failed.
  Response single;
  EXPECT_EQ(SendWebAPIRetry(Call("Node.Ok"), single, 4294967295u, "lo"), -1);
  EXPECT_EQ(SendWebAPIsRetry({Call("Node.Ok"), Call("Node.Ok")}, answers, 4294967295u, "lo"), 0);
  EXPECT_EQ(States(answers), "I I");
  EXPECT_EQ(Counts({"Node.Ok"}), "1");
}

TEST_F(WebapiTransport, ACallReachesTheServerOncePerAttemptEvenOverADyingPooledConnection) {
  LogCapture capture;
  // Idle connections in the pool, then a server that reads the call and hangs up unanswered.
  std::vector<Response> answers;
  ASSERT_EQ(SendWebAPIs({Call("Node.Ok"), Call("Node.Ok"), Call("Node.Ok")}, answers, "lo"), 0);
  Response single;
  EXPECT_EQ(SendWebAPIRetry(Call("Test.Drop"), single, 0, "lo"), -1);
  EXPECT_EQ(server_->CountCalls("Test.Drop"), 1u);
  EXPECT_FALSE(single.IsValid());
  EXPECT_EQ(SendWebAPIRetry(Call("Test.Drop"), single, 2, "lo"), -1);
  EXPECT_EQ(server_->CountCalls("Test.Drop"), 4u);
}

TEST_F(WebapiTransport, RefusesAnEmptyBatchOrInterfaceBeforeSendingAnything) {
  LogCapture capture;
  std::vector<Response> answers(2);
  EXPECT_EQ(SendWebAPIs({}, answers, "lo"), -1);
  EXPECT_TRUE(answers.empty());
  EXPECT_EQ(Messages(capture), std::vector<std::string>{"Empty webapi request"});
  EXPECT_EQ(SendWebAPIs({Call("Node.Ok"), Call("Node.Ok")}, answers, ""), -1);
  EXPECT_EQ(answers.size(), 2u);
  EXPECT_THAT(Messages(capture), Contains("Cannot pass empty string as interface name"));
  Response single;
  EXPECT_EQ(SendWebAPIRetry(Call("Node.Ok"), single, 2, ""), -1);
  EXPECT_EQ(States({single}), "I");
  EXPECT_TRUE(server_->Calls().empty());
}

TEST_F(WebapiTransport, StillSendsWithoutInitialisation) {
  ASSERT_EQ(OrvaCredCleanUp(), 0);
  Response answer;
  EXPECT_EQ(SendWebAPI(Call("Node.Ok"), answer, "lo"), 0);
}

TEST_F(WebapiTransport, UploadsTravelAsFormPartsBesideTheCallAndARefusedOneAbortsTheWholeBatch) {
  const std::string patch = dir_.WriteFile("patch.bin", "firmware-bytes");
  const RemoteRequest upload("::1", server_->Port(), "mesh", "Upgrade.Patch", 1, "upload",
                             Params(R"({"node": 3})"), 5, {UploadDesc("file", patch)});
  Response answer;
  LogCapture capture;
  ASSERT_EQ(SendWebAPI(upload, answer, "lo"), 0) << ::testing::PrintToString(capture.Texts());
  EXPECT_EQ(answer.GetBody()["data"]["uploads"]["file"]["text"], "firmware-bytes");
  EXPECT_EQ(answer.GetBody()["data"]["params"]["node"], 3);
  EXPECT_EQ(server_->Calls().size(), 1u);

  // A refused upload aborts the whole batch.
  const RemoteRequest missing("::1", server_->Port(), "mesh", "Upgrade.Patch", 1, "upload", Json::Value(), 5,
                              {UploadDesc("file", dir_.Join("missing.bin"))});
  std::vector<Response> answers;
  EXPECT_EQ(SendWebAPIs({Call("Node.Ok"), missing, Call("Node.Ok")}, answers, "lo"), -1);
  EXPECT_EQ(answers.size(), 3u);
  EXPECT_THAT(Messages(capture), Contains("Fail to set upload file [file][" + dir_.Join("missing.bin") +
                                          "] for [[::1][Upgrade.Patch][1][upload]]"));
  EXPECT_EQ(server_->Calls().size(), 1u);
}

TEST_F(WebapiTransport, LateMissingAndUnreachableAnswersFailWithoutHoldingUpTheOthers) {
  LogCapture capture;
  std::vector<Response> answers;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(SendWebAPIs({Call("Test.Delay", Params(R"({"ms": 4000})"), "mesh", 1),
                         Call("Test.Never", Json::Value(), "mesh", 1), Call("Node.Ok", Json::Value(), "mesh", 1)},
                        answers, "lo"),
            -1);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3900));
  EXPECT_EQ(States(answers), "I I S");
  EXPECT_THAT(Messages(capture), Contains("Fail to send webapi, webapiMgr error code: [28]"));

  const RemoteRequest down = Call("Node.Ok", Json::Value(), "mesh", 2);
  server_.reset();  // Nobody listens on its port any more.
  Response answer;
  EXPECT_EQ(SendWebAPI(down, answer, "lo"), -1);
  EXPECT_FALSE(answer.IsValid());
  EXPECT_THAT(Messages(capture), Contains("Fail to send webapi, webapiMgr error code: [7]"));
}

TEST_F(WebapiTransport, ABatchCallTravelsAsOneEntryRequest) {
  const CompoundRequest batch({Request("Node.A", 1, "get", Json::Value(), {}),
                               Request("Test.Fail", 2, "set", Params(R"({"code": 5})"), {})},
                              false);
  Response plain;
  EXPECT_EQ(SendWebAPI(RemoteRequest("::1", server_->Port(), "mesh", batch, 5), plain, "lo"), 0);
  const CompoundResponse answer(plain);
  ASSERT_TRUE(answer.IsValid());
  EXPECT_TRUE(answer.HasFail());
  ASSERT_EQ(States(answer.GetResponses()), "S F5");
  EXPECT_EQ(answer.GetResponses()[1].GetVersion(), 2);
  EXPECT_EQ(server_->CountCalls("ORVA.Entry.Request"), 1u);
}

}  // namespace
