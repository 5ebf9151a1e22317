#include <gtest/gtest.h>

#include "e2e/HostProcess.h"
#include "e2e/Messages.h"

namespace e2e {
namespace {

/** Each of these is answered and then ends the host: it came from something that is not our page. */
void expectFatal(const std::string& request, const std::string& message) {
  Home home("main");
  HostProcess host(home);
  host.send(request);
  EXPECT_EQ(host.read(), errorBody(101, message)) << request;
  EXPECT_EQ(host.readToEnd(), "") << request;
  EXPECT_EQ(host.waitForExit(), 1) << request;
}

TEST(Refusals, MalformedRequestsEndTheHost) {
  for (const char* request : {"version", "[]", R"({"type": "version")", R"({"type": "vers)",
                              "{\"type\": \"version\", \"x\": \"\xff\"}", "{\"type\": \"version\"} \xc3"})
    expectFatal(request, "Failed to parse request message");
  for (const char* request : {"{}", R"({"Type": "version"})", R"({"type": 5})", R"({"type": null})"})
    expectFatal(request, "Request type is missing from the request message");
  for (const char* type : {"", "version "})
    expectFatal(std::string(R"({"type": ")") + type + "\"}", "Unknown request type");
}

TEST(Refusals, IncompleteRequestsEndTheHost) {
  const std::string user = R"("user_details": {"name": "n", "email": "e", "abn": "a", "aki": []})";
  const std::string userAndData = user + R"(, "xml_data": )";
  const std::pair<std::string, std::string> cases[] = {
      {R"("type": "Sign")", "User details are"},
      {R"("type": "sign", "user_details": [])", "User details are"},
      {R"("type": "sign", "user_details": {})", "Name is"},
      {R"("type": "sign", "user_details": {"name": 1, "email": "e"})", "Name is"},
      {R"("type": "sign", "user_details": {"name": "n"})", "Email is"},
      {R"("type": "sign", "user_details": {"name": "n", "email": "e", "abn": 12345678901})", "ABN is"},
      {R"("type": "sign", "user_details": {"name": "n", "email": "e", "abn": "a", "aki": "k"})",
       "AKI list is"},
      {R"("type": "sign", "user_details": {"name": "n", "email": "e", "abn": "a", "aki": ["k", 1]},
          "xml_data": [{"data": ""}])",
       "AKI list is"},
      {R"("type": "sign", )" + user, "XML data array is"},
      {R"("type": "sign", )" + userAndData + R"({"data": ""})", "XML data array is"},
      {R"("type": "sign", )" + userAndData + R"([""])", "XML data object is"},
      {R"("type": "sign", )" + userAndData + R"([{"data": ""}, {"data": 1}])", "XML data field is"},
      {R"("type": "sign", )" + userAndData + R"([{"id": "x"}, 5])", "XML data field is"},
      {R"("type": "version", "user_details": {})", "Name is"},
      {R"("type": "version", "user_details": {"name": "n", "abn": "a", "aki": []})", "Email is"},
      {R"("type": "version", "user_details": {"name": "n", "email": "e", "aki": []})", "ABN is"},
      {R"("type": "version", "user_details": {"name": "n", "email": "e", "abn": "a", "aki": [[]]})",
       "AKI list is"},
  };
  for (const auto& [members, what] : cases)
    expectFatal("{" + members + "}", what + " missing from the signing request message");
  expectFatal(R"({"type": "sign", "signature_algorithm": "none", )" + userAndData + "[]}",
              "XML data array from the signing request message is empty");
}

TEST(Refusals, OtherFailuresLeaveTheHostAlive) {
  Home home("main");
  HostProcess host(home);
  for (const char* algorithm : {"rsa_sha256", "RSA_SHA384", "RSA_SHA256 "}) {
    const SignRequest request{.name = "Nobody", .algorithm = algorithm, .documents = {{""}}};
    EXPECT_EQ(host.ask(request.json()),
              errorBody(108, std::string("Unrecognised signature algorithm: ") + algorithm));
  }
  // Each row fails in one of the tests that an identity has to pass.
  for (SignRequest request :
       {SignRequest{.name = "Nobody"}, SignRequest{.name = "jane citizen"}, SignRequest{.name = "Jane"},
        SignRequest{.email = "june@example.com"}, SignRequest{.abn = "1234567890"}, SignRequest{.aki = "00"},
        SignRequest{.name = "No ABN"}, SignRequest{.name = "No AKI"}, SignRequest{.name = "No Usage"},
        SignRequest{.name = "Other Usage"}}) {
    request.documents = {{agreement()}};
    EXPECT_EQ(host.ask(request.json()), errorBody(102, "Certificate not found")) << request.userDetails();
  }
  const std::pair<SignRequest, const char*> reasons[] = {{{.algorithm = "RSA"}, "algorithm-unknown"},
                                                         {{.name = "Nobody"}, "not-found"},
                                                         {{.name = "Late Larry"}, "expired"},
                                                         {{.aki = akiOf("zoe")}, "not-found"},  // both 107
                                                         {{.documents = {{"<a>"}}}, "document-malformed"},
                                                         {{.documents = {{"<a/>"}}}, "document-invalid"}};
  for (auto [request, reason] : reasons) {
    if (request.documents.empty()) request.documents = {{agreement()}};
    request.more = R"("reasons": true, )";
    EXPECT_EQ(text(host.ask(request.json()), "error_reason"), reason);
  }
  host.send(R"({"type": "?", "reasons": true})");
  EXPECT_EQ(text(host.read(), "error_reason"), "request-invalid");
  EXPECT_EQ(host.waitForExit(), 1);
}

}  // namespace
}  // namespace e2e
