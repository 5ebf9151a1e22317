#include "signing/SigningFixture.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "shared/XMLSigner.h"
#include "shared/base/Base64.h"
#include "shared/base/Exceptions.h"
#include "shared/xml/ParsedDocument.h"
#include "signing/TestIdentity.h"

using namespace vorn;

std::string SigningTest::folder_;

std::string signXml(const std::string& xml) {
  return std::string(vorn::fromBase64(XMLSigner::getInstance().sign(toBase64(xml))).value().view());
}

std::string refusalOf(const std::string& base64) {
  try {
    XMLSigner::getInstance().sign(base64);
    return "signed";
  } catch (const BaseException& e) {
    return std::to_string(e.code()) + " " + e.message();
  } catch (...) {
    return "103 " + parserRefusal().value_or("not an exception of the parser");
  }
}

void SigningTest::SetUpTestSuite() {
  std::string pattern = (std::filesystem::temp_directory_path() / "signing-XXXXXX").string();
  folder_ = mkdtemp(pattern.data());
  makeIdentity(folder_);
}

void SigningTest::TearDownTestSuite() {
  std::filesystem::remove_all(folder_);
}

void SigningTest::SetUp() {
  TestIdentity& identity = testIdentity();
  identity.onKeySetUp = [] {};
  identity.onModulus = [] {};
  XMLSigner::getInstance().initialise(XMLSigner::RSA_SHA256);
}

std::vector<bool> SigningTest::verify(const std::vector<std::string>& documents, const std::string& element) {
  std::vector<bool> verdicts;
  // The program stops at the first document that it refuses, and is started again behind it.
  while (verdicts.size() < documents.size()) {
    std::string command = "xmlsec1 --verify --enabled-key-data x509 --trusted-pem " + folder_ +
                          "/certificate.pem --node-xpath \"//" + element +
                          "/*[local-name()='Signature'][last()]\"";
    for (std::size_t i = verdicts.size(); i < documents.size(); ++i) {
      const std::string path = folder_ + "/" + std::to_string(i) + ".xml";
      tests::writeFile(path, documents[i]);
      command += " " + path;
    }
    const std::unique_ptr<FILE, int (*)(FILE*)> output(popen((command + " 2>&1").c_str(), "r"), pclose);
    const std::size_t before = verdicts.size();
    std::array<char, 4096> line{};
    bool refused = false;
    while (std::fgets(line.data(), static_cast<int>(line.size()), output.get()) != nullptr) {
      refused = refused || std::string(line.data()).rfind("Error: ", 0) == 0;
      if (!refused && line.data() == std::string("OK\n")) verdicts.push_back(true);
    }
    if (refused || verdicts.size() == before) verdicts.push_back(false);
  }
  return verdicts;
}
