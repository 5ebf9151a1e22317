#include <regex>
#include <sstream>

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

TEST(Sign, EveryAlgorithmVerifies) {
  const std::string dsig = "http://www.w3.org/2000/09/xmldsig#";
  const std::string more = "http://www.w3.org/2001/04/xmldsig-more#";
  const std::string encryption = "http://www.w3.org/2001/04/xmlenc#";
  struct Case {
    std::string algorithm;
    std::string signature;
    std::string digest;
  };
  Home home("main");
  HostProcess host(home);
  for (const Case& c : {Case{"", more + "rsa-sha256", encryption + "sha256"},
                        Case{"RSA_SHA1", dsig + "rsa-sha1", dsig + "sha1"},
                        Case{"RSA_SHA512", more + "rsa-sha512", encryption + "sha512"},
                        Case{"RSA_SHA256", more + "rsa-sha256", encryption + "sha256"}}) {
    const SignRequest request{.algorithm = c.algorithm, .documents = {{agreement()}}};
    const std::string answer = host.ask(request.json());
    ASSERT_EQ(text(answer, "result"), "ok") << answer;
    const std::string xml = signedXml(answer);
    EXPECT_NE(xml.find("SignatureMethod Algorithm=\"" + c.signature + "\""), std::string::npos) << xml;
    EXPECT_NE(xml.find("DigestMethod Algorithm=\"" + c.digest + "\""), std::string::npos) << xml;
    expectBothVerify(home, xml);
    expectBothVerify(home, xml, Trust::keyValue);
  }
}

/** The elements of a document in order, one dot before a name for every level, and their Algorithm
 * attributes. */
std::vector<std::string> outline(const std::string& xml) {
  const std::regex tag(R"re(<(/?)([\w:]+)(?:[^>]*Algorithm="([^"]*)")?[^>]*?(/?)>)re");
  std::vector<std::string> result;
  std::size_t depth = 0;
  for (std::sregex_iterator at(xml.begin(), xml.end(), tag), end; at != end; ++at) {
    const std::smatch& match = *at;
    if (match.length(1) > 0) {
      --depth;
      continue;
    }
    result.push_back(std::string(depth, '.') + match.str(2) +
                     (match.length(3) > 0 ? " " + match.str(3) : ""));
    depth += match.length(4) > 0 ? 0 : 1;
  }
  return result;
}

TEST(Sign, SignatureIsTheLastChildAndLaidOutAsReceiversExpect) {
  Home home("main");
  HostProcess host(home);
  const SignRequest request{.documents = {{agreement("<Sum>12</Sum> ")}}};
  const std::string xml = signedXml(host.ask(request.json()));
  EXPECT_TRUE(xml.starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\"")) << xml;

  const std::string c14n = "http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments";
  const std::vector<std::string> signature = {
      "..Signature",
      "...SignedInfo",
      "....CanonicalizationMethod " + c14n,
      "....SignatureMethod http://www.w3.org/2001/04/xmldsig-more#rsa-sha256",
      "....Reference",
      ".....Transforms",
      "......Transform http://www.w3.org/2002/06/xmldsig-filter2",
      ".......XPath",
      "......Transform http://www.w3.org/2000/09/xmldsig#enveloped-signature",
      "......Transform " + c14n,
      ".....DigestMethod http://www.w3.org/2001/04/xmlenc#sha256",
      ".....DigestValue",
      "...SignatureValue",
      "...KeyInfo",
      "....KeyValue",
      ".....RSAKeyValue",
      "......Modulus",
      "......Exponent",
      "....X509Data",
      ".....X509Certificate"};
  std::vector<std::string> expected = {"Agreement", ".CounterpartData", "..Sum"};
  expected.insert(expected.end(), signature.begin(), signature.end());
  expected.push_back(".RenderedData");
  expected.insert(expected.end(), signature.begin(), signature.end());
  EXPECT_EQ(outline(xml), expected) << xml;

  EXPECT_NE(xml.find("<CounterpartData><Sum>12</Sum> <Signature "), std::string::npos) << xml;
  EXPECT_NE(xml.find("<RenderedData>Page<Signature "), std::string::npos) << xml;
  EXPECT_TRUE(
      std::regex_search(xml, std::regex("<XPath [^>]*Filter=\"intersect\"[^>]*>//CounterpartData</XPath>")));
  EXPECT_TRUE(
      std::regex_search(xml, std::regex("<XPath [^>]*Filter=\"intersect\"[^>]*>//RenderedData</XPath>")));
}

TEST(Sign, DocumentsComeBackInOrderUnderTheirIds) {
  Home home("main");
  HostProcess host(home);
  const SignRequest request{.documents = {{agreement("one"), "b/1"},
                                          {agreement("two"), ""},
                                          {agreement("three"), "a"},
                                          {agreement("four"), "a"}}};
  const std::string answer = host.ask(request.json());
  EXPECT_EQ(texts(answer, "id"), (std::vector<std::string>{"b/1", "a", "a"}));
  const std::vector<std::string> data = texts(answer, "data");
  ASSERT_EQ(data.size(), 4U) << answer;
  const std::vector<std::string> words = {"one", "two", "three", "four"};
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string xml = fromBase64(data[i]);
    EXPECT_NE(xml.find("<CounterpartData>" + words[i] + "<"), std::string::npos);
    expectBothVerify(home, xml);
  }
  std::ostringstream whole;
  whole << "{\n\t\"cert_expiry\": " << quoted(text(answer, "cert_expiry"))
        << ",\n\t\"cert_issuer\": \"Test Authority\",\n\t\"cert_serial\": \"1920354224474384430\",\n"
        << "\t\"result\": \"ok\",\n\t\"signed_data\": [\n"
        << "\t\t{\n\t\t\t\"data\": " << quoted(data[0]) << ",\n\t\t\t\"id\": \"b\\/1\" \n\t\t},\n"
        << "\t\t{\n\t\t\t\"data\": " << quoted(data[1]) << " \n\t\t},\n"
        << "\t\t{\n\t\t\t\"data\": " << quoted(data[2]) << ",\n\t\t\t\"id\": \"a\" \n\t\t},\n"
        << "\t\t{\n\t\t\t\"data\": " << quoted(data[3]) << ",\n\t\t\t\"id\": \"a\" \n\t\t} \n"
        << "\t] \n} \n";
  EXPECT_EQ(answer, whole.str());
}

/** A document in UTF-16 with its byte order mark. */
std::string utf16(const std::u16string& text, bool bigEndian) {
  std::string bytes;
  for (const char16_t unit : u"\ufeff" + text) {
    const char high = static_cast<char>(unit >> 8U);
    const char low = static_cast<char>(unit & 0xffU);
    bytes += bigEndian ? high : low;
    bytes += bigEndian ? low : high;
  }
  return bytes;
}

TEST(Sign, EncodingsOfTheRequestBecomeUTF8) {
  const std::string body = "<D><CounterpartData>caf\xc3\xa9</CounterpartData><RenderedData/></D>";
  const std::string latin = "<D><CounterpartData>caf\xe9</CounterpartData><RenderedData/></D>";
  const std::u16string wide = u"<D><CounterpartData>caf\u00e9</CounterpartData><RenderedData/></D>";
  Home home("main");
  HostProcess host(home);
  const SignRequest request{.documents = {{body},
                                          {"\xef\xbb\xbf<?xml version='1.0' encoding='UTF-8'?>" + body},
                                          {"<?xml version='1.0' encoding='ISO-8859-1'?>" + latin},
                                          {utf16(wide, false)},
                                          {utf16(u"<?xml version='1.0' encoding='UTF-16'?>" + wide, true)}}};
  const std::vector<std::string> data = texts(host.ask(request.json()), "data");
  ASSERT_EQ(data.size(), request.documents.size());
  for (const std::string& item : data) {
    const std::string xml = fromBase64(item);
    EXPECT_NE(xml.find("<CounterpartData>caf\xc3\xa9<"), std::string::npos) << xml;
    expectBothVerify(home, xml);
  }
}

TEST(Sign, WhatIsToBeSignedMustStandInTheDocumentOnce) {
  const std::string invalid = "Request XML data is invalid. ";
  Home home("main");
  HostProcess host(home);
  for (const auto& [document, message] : std::vector<std::pair<std::string, std::string>>{
           {"<D/>", "Element <CounterpartData> not found"},
           {"<D><CounterpartData/></D>", "Element <RenderedData> not found"},
           {"<D xmlns:x='urn:x'><x:CounterpartData/><RenderedData/></D>",
            "Element <CounterpartData> not found"},
           {"<D><CounterpartData/><CounterpartData/></D>", "Multiple <CounterpartData> elements found"},
           {"<D><CounterpartData/><RenderedData><RenderedData/></RenderedData></D>",
            "Multiple <RenderedData> elements found"}}) {
    const SignRequest request{.documents = {{agreement()}, {document}}};
    const std::string answer = host.ask(request.json());
    EXPECT_EQ(errorCode(answer), 104) << document;
    EXPECT_EQ(text(answer, "error_message"), invalid + message);
    EXPECT_EQ(answer.find("signed_data"), std::string::npos);
  }
  const SignRequest good{.documents = {{agreement()}}};
  expectBothVerify(home, signedXml(host.ask(good.json())));
}

TEST(Sign, EveryKeySizeVerifies) {
  Home home("main");
  HostProcess host(home);
  for (const char* name : {"Key 3072", "Key 4096", "Key 8192"}) {
    const SignRequest request{.name = name, .algorithm = "RSA_SHA512", .documents = {{agreement()}}};
    const std::string answer = host.ask(request.json());
    ASSERT_EQ(errorCode(answer), 0) << answer;
    expectBothVerify(home, signedXml(answer));
    expectBothVerify(home, signedXml(answer), Trust::keyValue);
  }
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
