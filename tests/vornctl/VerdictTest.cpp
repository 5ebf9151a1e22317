#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "vornctl/VerifyFixture.h"

namespace vorn::vornctl {
namespace {

/** The text with the first occurrence of `from` replaced. */
std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

std::string between(const std::string& text, const std::string& before, const std::string& after) {
  const std::size_t from = text.find(before) + before.size();
  return text.substr(from, text.find(after, from) - from);
}

TEST_F(Verify, AttacksAndWhatIsSaidOfThem) {
  const std::string original = e2e::agreement();
  const std::string xml = sign(original);
  const std::string value = between(xml, "<SignatureValue>", "</SignatureValue>");
  const std::string modulus = between(xml, "<Modulus>", "</Modulus>");
  const std::string certificate = between(xml, "<X509Certificate>", "</X509Certificate>");
  const std::string zoe = sign(original, "Zoë Müller", "zoe");
  const std::string rendered = "<RenderedData" + between(xml, "<RenderedData", "</RenderedData>");
  const std::string judy =
      e2e::toBase64(replaced(e2e::fromBase64(certificate), "Jane Citizen", "Judge Judy!!"));
  const std::string der = e2e::fromBase64(certificate);
  const auto withDer = [&](std::size_t at, std::size_t size, const std::string& bytes) {
    return replaced(xml, certificate, e2e::toBase64(std::string(der).replace(at, size, bytes)));
  };
  const int longer = static_cast<unsigned char>(der[2]) * 256 + static_cast<unsigned char>(der[3]) + 1;
  const std::size_t version = der.find("\xA0\x03\x02\x01\x02");
  const std::string stray = value.substr(0, 341) + static_cast<char>(value[341] + 1) + "==";
  std::string manyNames;
  for (int i = 0; i < 9999; ++i) manyNames += " xmlns:a" + std::to_string(i) + "='urn:a'";
  const std::string format = "failed FORMAT_FAILURE", crypto = "failed CRYPTO_CONSTRAINTS_FAILURE";
  const struct {
    std::string xml;
    std::string verdict;
  } rows[] = {
      {xml, "passed"},
      {original, "failed NOT_SIGNED"},
      {"<a>", format},
      {"<a/>", format},
      // Altered.
      {replaced(xml, "12.50", "12.51"), "failed HASH_FAILURE"},
      {replaced(xml, "12.50", "12.<!-- -->50"), "passed"},
      {replaced(xml, value, "AAAA" + value.substr(4)), "failed SIG_CRYPTO_FAILURE"},
      {replaced(xml, "<RenderedData", "<CounterpartData/><RenderedData"), format},
      {replaced(xml, rendered, "<RenderedData" + between(zoe, "<RenderedData", "</RenderedData>")),
       "failed DIFFERENT_SIGNERS"},
      // Of another form.
      {replaced(xml, "<SignedInfo>", "<SignedInfo><!-- -->"), format},
      {replaced(xml, "<SignedInfo>", "<SignedInfo><?a b?>"), format},
      {replaced(xml, "//CounterpartData<", "//RenderedData<"), format},
      {replaced(xml, "URI=\"\"", "URI=\"#x\""), format},
      {replaced(xml, "<KeyInfo>", "<Object>more</Object><KeyInfo>"), format},
      {replaced(xml, "</KeyInfo>", "</KeyInfo><Object>more</Object>"), format},
      {replaced(xml, "<KeyInfo>", "<KeyInfo" + manyNames + ">"), format},
      {replaced(xml, "rsa-sha256", "rsa-md5"), crypto},
      {replaced(xml, "xmlenc#sha256", "xmlenc#sha512"), crypto},
      {replaced(xml, modulus, "B" + modulus.substr(1)), format},
      {replaced(xml, value, value.substr(0, 20) + "!" + value.substr(20)), format},
      {replaced(xml, value, value + "="), format},
      {replaced(xml, value, value.substr(0, 64) + "\n" + value.substr(64)), "passed"},
      {replaced(xml, certificate, certificate + "junk"), format},
      {replaced(xml, certificate, e2e::toBase64(e2e::fromBase64(certificate) + "junk")), format},
      {replaced(xml, value, stray), format},
      {withDer(1, 1, std::string("\x83\0", 2)), format},
      {withDer(2, 4, {static_cast<char>(longer >> 8), static_cast<char>(longer), '\x30', '\x83', '\0'}),
       format},
      {withDer(version + 4, 1, "\4"), format},
      {withDer(version + 4, 1, std::string(1, '\0')), format},
      // A name that anybody can type in, and an authority that anybody can make.
      {replaced(replaced(xml, certificate, judy), certificate, judy),
       "indeterminate CERTIFICATE_CHAIN_GENERAL_FAILURE"},
      {zoe, "indeterminate NO_CERTIFICATE_CHAIN_FOUND"},
      // What others refuse.
      {sign(replaced(original, "<CounterpartData", "<CounterpartData xmlns='urn:d'")),
       "indeterminate REFUSED_BY_OTHERS"},
      {replaced(xml, "<RenderedData", "<a:b/><RenderedData"), "indeterminate REFUSED_BY_OTHERS"},
      {sign("<!DOCTYPE A [<!ENTITY e 'x'>]><A>&e;<CounterpartData/><RenderedData/></A>"),
       "indeterminate REFUSED_BY_OTHERS"},
      {replaced(sign("<A><CounterpartData/><RenderedData/></A>"), "\"UTF-8\"", "\"Windows-1258\""),
       "indeterminate REFUSED_BY_OTHERS"},
  };
  std::vector<std::string> documents;
  for (const auto& row : rows) documents.push_back(row.xml);
  const std::vector<std::string> verdicts = verdictsOf(documents);
  ASSERT_EQ(verdicts.size(), std::size(rows));
  for (std::size_t i = 0; i < verdicts.size(); ++i)
    EXPECT_EQ(verdicts[i], rows[i].verdict) << i << " " << rows[i].xml.substr(0, 3000);
}

TEST_F(Verify, TellsWhatIsSignedAndWhere) {
  const std::string xml =
      replaced(sign(sign("<A><CounterpartData>25<!-- -->00</CounterpartData><RenderedData/></A>")), "<A>",
               "<A x='y'><Rejected><p:CounterpartData xmlns:p='urn:p'/><![CDATA[text]]>");
  write(replaced(xml, "</A>", "</Rejected><?pi?></A>"));
  const nlohmann::json file = verify("--trusted authority.pem t.xml")[0];
  EXPECT_EQ(textOf(file), "passed");
  EXPECT_EQ(file["parts"][0]["path"], "/A/Rejected/CounterpartData");
  std::string places;
  for (const auto& place : file["not_signed"]) places += std::string(place) + " ";
  EXPECT_EQ(places,
            "/A/@x /A/Rejected/p:CounterpartData /A/Rejected/text() /A/Rejected/CounterpartData//comment() "
            "/A/processing-instruction(pi) ");
  std::string warnings;
  for (const auto& warning : file["warnings"]) warnings += std::string(warning["code"]) + " ";
  EXPECT_EQ(warnings, "signed-already signed-already namesake ");
}

TEST_F(Verify, PrintsJsonThatCommandsNoTerminal) {
  const std::string name = "a\xff\xC2\x9B\xE2\x80\xAE\x7F.xml";
  e2e::writeFile(home_.path() / name, "<a>");
  const std::string output = run(home_, "$vornctl verify --json '" + name + "'").output;
  EXPECT_TRUE(nlohmann::json::accept(output)) << output;
  for (const char* raw : {"\xC2\x9B", "\xE2\x80\xAE", "\x7F"}) EXPECT_EQ(output.find(raw), std::string::npos);
  EXPECT_NE(output.find("\\u009b\\u202e\\u007f.xml"), std::string::npos) << output;
}

TEST_F(Verify, WhomItBelieves) {
  write(sign(e2e::agreement()));
  // Another certificate for the authority, from above.
  const auto between = [](const std::string& extension, const std::string& options = "",
                          const char* root = "root") {
    const std::string above(root);
    return "openssl req -new -key authority.key -subj \"/O=Example/CN=Test Authority\" | openssl x509 -req "
           "-CA " +
           above + ".pem -CAkey " + above + ".key -out between.pem " + options +
           " -extfile <(printf \"basicConstraints=CA:TRUE\\nsubjectKeyIdentifier=hash\\n" + extension + "\")";
  };
  const auto known = [&](const std::string& extension, const std::string& options = "",
                         const char* root = "root") {
    return between(extension, options, root) +
           " && { certutil -D -d sql:.pki/nssdb -n between; "
           "certutil -A -d sql:.pki/nssdb -n between -i between.pem -t ,,; }";
  };
  const char* const constraints = "indeterminate CHAIN_CONSTRAINTS_FAILURE";
  const auto root = [](const std::string& name, const std::string& bits) {
    return "openssl req -x509 -newkey rsa:" + bits + " -nodes -subj /CN=Root" + bits + " -keyout " + name +
           ".key -out " + name + ".pem && ";
  };
  const struct {
    std::string preparation;
    const char* options;
    const char* verdict;
    const char* environment = "";
  } rows[] = {
      {"true", "", "indeterminate NO_CERTIFICATE_CHAIN_FOUND"},
      {"true", "--no-chain", "indeterminate CHAIN_NOT_CHECKED"},
      {"openssl x509 -in authority.pem -outform DER -out authority.der", "--trusted authority.der", "passed"},
      {"mkdir -p trusted; cp authority.pem s.xml trusted", "--trusted trusted", "passed"},
      {"true", "--trusted trusted --time 2049-06-30", "passed"},
      {"true", "--trusted trusted --time 2049-06-30T14:00:01Z", "indeterminate OUT_OF_BOUNDS_NO_POE"},
      {"true", "--trusted trusted --time 2019-12-31", "indeterminate OUT_OF_BOUNDS_NO_POE"},
      {root("root", "2048") + between(""), "--trusted root.pem", "indeterminate NO_CERTIFICATE_CHAIN_FOUND"},
      {"true", "--trusted between.pem", "passed"},
      {known("extendedKeyUsage=critical,serverAuth"), "--trusted root.pem", constraints},
      {known("extendedKeyUsage=1.2.3"), "--trusted root.pem", constraints},
      {known("certificatePolicies=1.2.3\\npolicyConstraints=critical,requireExplicitPolicy:0"),
       "--trusted root.pem", constraints},
      // Without a policy of its own, OpenSSL 3.0 leaks what it has read of the constraint.
      {known("policyConstraints=critical,requireExplicitPolicy:0"), "--trusted root.pem", constraints,
       "ASAN_OPTIONS=detect_leaks=0"},
      {known("", "-sha1"), "--trusted root.pem", "indeterminate CRYPTO_CONSTRAINTS_FAILURE"},
      {root("weak", "1024") + known("", "", "weak"), "--trusted weak.pem", "passed weak-key"},
      {known("extendedKeyUsage=serverAuth,clientAuth"), "--trusted root.pem", "passed"},
      {"certutil -D -d sql:.pki/nssdb -n between; mkdir roots; cp root.pem between.pem roots",
       "--trusted roots", "passed"},
      {"openssl req -x509 -newkey rsa:2048 -nodes -subj \"$(openssl x509 -in authority.pem -noout -subject "
       "-nameopt compat | sed s/subject=//)\" -keyout namesake.key -out namesake.pem && "
       "cat namesake.pem authority.pem > both.pem",
       "--trusted both.pem", "passed"},
      {"certutil -A -d sql:.pki/nssdb -n authority -i authority.pem -t ,,", "",
       "indeterminate NO_CERTIFICATE_CHAIN_FOUND"},
      {"certutil -M -d sql:.pki/nssdb -n authority -t C,,", "", "indeterminate NO_CERTIFICATE_CHAIN_FOUND"},
      {"certutil -M -d sql:.pki/nssdb -n authority -t T,,", "", "passed"},
      {"certutil -M -d sql:.pki/nssdb -n authority -t ,C,", "", "passed"},
      {"certutil -M -d sql:.pki/nssdb -n authority -t ,P,P", "", "indeterminate NO_CERTIFICATE_CHAIN_FOUND"},
      {"certutil -M -d sql:.pki/nssdb -n authority -t ,p,", "", "failed PROHIBITED_CERTIFICATE"},
      {"certutil -M -d sql:.pki/nssdb -n authority -t ,,p", "--trusted authority.pem",
       "failed PROHIBITED_CERTIFICATE"},
      {"certutil -D -d sql:.pki/nssdb -n authority; certutil -M -d sql:.pki/nssdb -n \"Jane Citizen\" -t ,P,",
       "", "passed"},
  };
  for (const auto& row : rows) {
    ASSERT_EQ(run(home_, row.preparation).status, 0) << row.preparation;
    const nlohmann::json file = verify("t.xml " + std::string(row.options), row.environment)[0];
    std::string verdict = textOf(file);
    EXPECT_EQ(file["signer"].contains("name"), verdict == "passed");
    EXPECT_NE(file["chain"].empty(), verdict == "passed");
    for (const auto& warning : file["warnings"]) verdict += " " + std::string(warning["code"]);
    EXPECT_EQ(verdict, row.verdict) << row.preparation << " " << row.options;
  }
  ASSERT_EQ(run(home_, "{ cat root.pem; sed 5d authority.pem; cat root.pem; } > damaged.pem").status, 0);
  for (const char* options : {"--trusted damaged.pem", "--time yesterday", "--time 2030-02-30",
                              "--trusted none", "--trusted s.xml"})
    EXPECT_EQ(run(home_, std::string("$vornctl verify t.xml ") + options).status, 2) << options;
}

TEST_F(Verify, OpensNothingThatADocumentNames) {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), length), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
  const std::string port = std::to_string(ntohs(address.sin_port));
  const fs::path pipe = home_.path() / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);

  const std::string xml = sign(e2e::agreement());
  const std::size_t root = xml.find("<Agreement");
  std::vector<std::string> documents;
  for (const std::string& uri : {"http://127.0.0.1:" + port + "/x", "file://" + pipe.string()}) {
    for (const std::string type : {"X509Data", "rawX509Certificate"}) {
      documents.push_back(replaced(xml, "<KeyInfo>",
                                   "<KeyInfo><RetrievalMethod Type=\"http://www.w3.org/2000/09/xmldsig#" +
                                       type + "\" URI=\"" + uri + "\"/>"));
    }
    documents.push_back(replaced(xml, "URI=\"\"", "URI=\"" + uri + "\""));
    const std::string external = " SYSTEM \"" + uri + "\">";
    documents.push_back(std::string(xml).insert(root, "<!DOCTYPE Agreement" + external));
    documents.push_back(
        std::string(xml).insert(root, "<!DOCTYPE Agreement [<!ENTITY % e" + external + "%e;]>"));
  }
  for (const std::string& verdict : verdictsOf(documents)) EXPECT_EQ(verdict, "failed FORMAT_FAILURE");
  pollfd waiting{listener, POLLIN, 0};
  EXPECT_EQ(poll(&waiting, 1, 100), 0) << "somebody has called";
  close(listener);
  // What would never end, or never begin.
  const Result result = run(home_, "timeout 20 $vornctl verify /dev/zero pipe none .");
  EXPECT_EQ(result.status, 1) << result.output;
  EXPECT_NE(result.output.find("none: there is no such file"), std::string::npos) << result.output;
}

}  // namespace
}  // namespace vorn::vornctl
