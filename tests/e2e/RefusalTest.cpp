#include <gtest/gtest.h>

#include "e2e/HostProcess.h"
#include "e2e/Messages.h"

namespace e2e {
namespace {

struct Refusal {
  std::string request;
  std::string message;
};

const std::string kUnparsable = "Failed to parse request message";
const std::string kNoType = "Request type is missing from the request message";
const std::string kUnknownType = "Unknown request type";
const std::string kNoUser = "User details are missing from the signing request message";
const std::string kNoName = "Name is missing from the signing request message";
const std::string kNoEmail = "Email is missing from the signing request message";
const std::string kNoABN = "ABN is missing from the signing request message";
const std::string kNoAKI = "AKI list is missing from the signing request message";
const std::string kNoArray = "XML data array is missing from the signing request message";
const std::string kEmptyArray = "XML data array from the signing request message is empty";
const std::string kNoObject = "XML data object is missing from the signing request message";
const std::string kNoData = "XML data field is missing from the signing request message";

/** Each of these is answered and then ends the host: it came from something that is not our page. */
void expectFatal(const std::vector<Refusal>& refusals) {
  for (const Refusal& refusal : refusals) {
    Home home("main");
    HostProcess host(home);
    host.send(refusal.request);
    EXPECT_EQ(host.read(), errorBody(101, refusal.message)) << refusal.request;
    EXPECT_EQ(host.readToEnd(), "") << refusal.request;
    EXPECT_EQ(host.waitForExit(), 1) << refusal.request;
  }
}

TEST(Refusals, MalformedRequestsEndTheHost) {
  expectFatal({
      {"", kUnparsable},
      {"version", kUnparsable},
      {"[]", kUnparsable},
      {R"({"type": "version")", kUnparsable},
      {R"({"type": "vers)", kUnparsable},
      {"{\"type\": \"version\", \"x\": \"\xff\"}", kUnparsable},
      {"{\"type\": \"version\"} \xc3", kUnparsable},
      {"{}", kNoType},
      {R"({"Type": "version"})", kNoType},
      {R"({"type": 5})", kNoType},
      {R"({"type": null})", kNoType},
      {R"({"type": ""})", kUnknownType},
      {R"({"type": "version "})", kUnknownType},
  });
}

TEST(Refusals, IncompleteSignRequestsEndTheHost) {
  const std::string user = R"("user_details": {"name": "n", "email": "e", "abn": "a", "aki": []})";
  expectFatal({
      {R"({"type": "sign"})", kNoUser},
      {R"({"type": "sign", "user_details": []})", kNoUser},
      {R"({"type": "sign", "user_details": {}})", kNoName},
      {R"({"type": "sign", "user_details": {"name": 1, "email": "e"}})", kNoName},
      {R"({"type": "sign", "user_details": {"name": "n"}})", kNoEmail},
      {R"({"type": "sign", "user_details": {"name": "n", "email": "e", "abn": 12345678901}})", kNoABN},
      {R"({"type": "sign", "user_details": {"name": "n", "email": "e", "abn": "a", "aki": "k"}})", kNoAKI},
      {R"({"type": "sign", "user_details": {"name": "n", "email": "e", "abn": "a", "aki": ["k", 1]},
           "xml_data": [{"data": ""}]})",
       kNoAKI},
      {R"({"type": "sign", )" + user + "}", kNoArray},
      {R"({"type": "sign", )" + user + R"(, "xml_data": {"data": ""}})", kNoArray},
      {R"({"type": "sign", "signature_algorithm": "none", )" + user + R"(, "xml_data": []})", kEmptyArray},
      {R"({"type": "sign", )" + user + R"(, "xml_data": [""]})", kNoObject},
      {R"({"type": "sign", )" + user + R"(, "xml_data": [{"data": ""}, {"data": 1}]})", kNoData},
      {R"({"type": "sign", )" + user + R"(, "xml_data": [{"id": "x"}, 5]})", kNoData},
  });
}

TEST(Refusals, UserDetailsOfAVersionRequestAreHeldToTheSameRules) {
  expectFatal({
      {R"({"type": "version", "user_details": {}})", kNoName},
      {R"({"type": "version", "user_details": {"name": "n", "abn": "a", "aki": []}})", kNoEmail},
      {R"({"type": "version", "user_details": {"name": "n", "email": "e", "aki": []}})", kNoABN},
      {R"({"type": "version", "user_details": {"name": "n", "email": "e", "abn": "a"}})", kNoAKI},
      {R"({"type": "version", "user_details": {"name": "n", "email": "e", "abn": "a", "aki": [[]]}})",
       kNoAKI},
  });
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
  for (const SignRequest& request :
       {SignRequest{.name = "Nobody"}, SignRequest{.name = "jane citizen"}, SignRequest{.name = "Jane"},
        SignRequest{.email = "june@example.com"}, SignRequest{.abn = "1234567890"}, SignRequest{.aki = "00"},
        SignRequest{.name = "No ABN"}, SignRequest{.name = "No AKI"}, SignRequest{.name = "No Usage"},
        SignRequest{.name = "Other Usage"}}) {
    SignRequest whole = request;
    whole.documents = {{agreement()}};
    EXPECT_EQ(host.ask(whole.json()), errorBody(102, "Certificate not found")) << whole.userDetails();
  }
  host.closeInput();
  EXPECT_EQ(host.waitForExit(), 0);
}

}  // namespace
}  // namespace e2e
