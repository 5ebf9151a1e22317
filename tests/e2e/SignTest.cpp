#include <gtest/gtest.h>

#include "e2e/HostProcess.h"
#include "e2e/Messages.h"

namespace e2e {
namespace {

/** The only document of an answer, signed and decoded. */
std::string signedXml(const std::string& answer) {
  return fromBase64(text(answer, "data"));
}

void expectBothVerify(const Home& home, const std::string& xml, Trust trust = Trust::certificateChain) {
  EXPECT_TRUE(verifies(home, xml, "CounterpartData", trust)) << xml;
  EXPECT_TRUE(verifies(home, xml, "RenderedData", trust)) << xml;
}

TEST(Sign, EveryAlgorithmAndKeySizeVerifies) {
  const std::string dsig = "http://www.w3.org/2000/09/xmldsig#";
  const std::string more = "http://www.w3.org/2001/04/xmldsig-more#";
  const std::string encryption = "http://www.w3.org/2001/04/xmlenc#";
  struct Case {
    const char* name;
    const char* algorithm;
    std::string signature;
    std::string digest;
    const char* more = "";
  };
  Home home("main");
  HostProcess host(home);
  for (const Case& c :
       {Case{"Jane Citizen", "", more + "rsa-sha256", encryption + "sha256"},
        Case{"Jane Citizen", "", more + "rsa-sha256", encryption + "sha256", R"("signature_algorithm": 5, )"},
        Case{"Jane Citizen", "RSA_SHA1", dsig + "rsa-sha1", dsig + "sha1"},
        Case{"Jane Citizen", "RSA_SHA256", more + "rsa-sha256", encryption + "sha256"},
        Case{"Jane Citizen", "RSA_SHA512", more + "rsa-sha512", encryption + "sha512"},
        Case{"Key 3072", "RSA_SHA512", more + "rsa-sha512", encryption + "sha512"},
        Case{"Key 4096", "RSA_SHA512", more + "rsa-sha512", encryption + "sha512"},
        Case{"Key 8192", "RSA_SHA512", more + "rsa-sha512", encryption + "sha512"}}) {
    const SignRequest request{
        .name = c.name, .algorithm = c.algorithm, .documents = {{agreement()}}, .more = c.more};
    const std::string answer = host.ask(request.json());
    ASSERT_EQ(text(answer, "result"), "ok") << answer;
    const std::string xml = signedXml(answer);
    EXPECT_NE(xml.find("SignatureMethod Algorithm=\"" + c.signature + "\""), std::string::npos) << xml;
    EXPECT_NE(xml.find("DigestMethod Algorithm=\"" + c.digest + "\""), std::string::npos) << xml;
    const std::size_t value = xml.find("<SignatureValue>");
    EXPECT_GT(xml.find('\n', value), xml.find("</Signature>", value)) << "base64 has no line breaks: " << xml;
    expectBothVerify(home, xml);
    expectBothVerify(home, xml, Trust::keyValue);
  }
}

TEST(Sign, DocumentsComeBackInOrderUnderTheirIds) {
  Home home("main");
  HostProcess host(home);
  const SignRequest request{
      .documents = {
          {agreement("one"), "b/1"}, {agreement("two")}, {agreement("three"), "a"}, {agreement("four"), ""}}};
  const std::string answer = host.ask(request.json());
  EXPECT_EQ(texts(answer, "id"), (std::vector<std::string>{"b/1", "a", ""}));
  const std::vector<std::string> data = texts(answer, "data");
  ASSERT_EQ(data.size(), 4U) << answer;
  const std::vector<std::string> words = {"one", "two", "three", "four"};
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string xml = fromBase64(data[i]);
    EXPECT_NE(xml.find("<CounterpartData>" + words[i] + "<"), std::string::npos);
    expectBothVerify(home, xml);
  }
  const auto item = [&data](std::size_t i, const std::string& id) {
    return "\t\t{\n\t\t\t\"data\": " + quoted(data[i]) + id + " \n\t\t}";
  };
  const std::string id = ",\n\t\t\t\"id\": ";
  EXPECT_EQ(answer,
            "{\n\t\"cert_expiry\": " + quoted(text(answer, "cert_expiry")) +
                ",\n\t\"cert_issuer\": \"Test Authority\",\n\t\"cert_serial\": \"1920354224474384430\",\n"
                "\t\"result\": \"ok\",\n\t\"signed_data\": [\n" +
                item(0, id + "\"b\\/1\"") + ",\n" + item(1, "") + ",\n" + item(2, id + "\"a\"") + ",\n" +
                item(3, id + "\"\"") + " \n\t] \n} \n");
}

TEST(Sign, LongestLastingIdentityOfTheUserIsTaken) {
  Home home("main");
  HostProcess host(home, {.environment = {"TZ=AEST-10"}});
  const SignRequest several{.name = "Max Several", .email = "JANE@example.com", .documents = {{agreement()}}};
  const std::string answer = host.ask(several.json());
  EXPECT_EQ(text(answer, "cert_serial"), "3");
  EXPECT_EQ(text(answer, "cert_expiry"), "2045-01-01T10:00:00.000Z");

  const SignRequest foreign{.name = "Zoë Müller", .aki = akiOf("zoe"), .documents = {{agreement()}}};
  const std::string other = host.ask(foreign.json());
  EXPECT_EQ(text(other, "cert_issuer"), "Prüfstelle Süd");
  EXPECT_EQ(text(other, "cert_serial"), "127");
  expectBothVerify(home, signedXml(other), Trust::keyValue);
}

TEST(Sign, ExpiredCertificateIsNamedButDoesNotSign) {
  Home home("main");
  HostProcess host(home, {.environment = {"TZ=UTC0"}});
  const SignRequest late{.name = "Late Larry", .documents = {{agreement()}}};
  const std::string refusal = errorBody(107, "Certificate expired",
                                        {{"cert_expiry", "2011-02-03T04:05:06.000Z"},
                                         {"cert_issuer", "Test Authority"},
                                         {"cert_serial", "00 FF EE DD CC BB AA 99 88 77 66"}});
  EXPECT_EQ(host.ask(late.json()), refusal);
  EXPECT_EQ(host.ask(late.json()), refusal);
}

/** What stays selected when a later search finds the name, but no identity that passes. */
TEST(Sign, FailedSearchLeavesTheEarlierCertificateExpired) {
  Home home("main");
  HostProcess host(home, {.environment = {"TZ=UTC0"}});
  const SignRequest jane{.documents = {{agreement()}}};
  const SignRequest nobody{.name = "Nobody", .documents = {{agreement()}}};
  SignRequest foreign = jane;
  foreign.aki = akiOf("zoe");
  const std::string expired =
      errorBody(107, "Certificate expired",
                {{"cert_expiry", "2001-01-01T00:00:00.000Z"}, {"cert_issuer", ""}, {"cert_serial", ""}});

  EXPECT_EQ(errorCode(host.ask(foreign.json())), 102);
  EXPECT_EQ(errorCode(host.ask(jane.json())), 0);
  EXPECT_EQ(errorCode(host.ask(nobody.json())), 102);
  EXPECT_EQ(host.ask(foreign.json()), expired);
  EXPECT_EQ(host.ask(foreign.json()), expired) << "taken for a repeat";
  EXPECT_EQ(errorCode(host.ask(jane.json())), 0);
}

}  // namespace
}  // namespace e2e
