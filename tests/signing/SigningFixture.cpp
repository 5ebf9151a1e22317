#include "signing/SigningFixture.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

#include "mac/app/CertificateSelection.h"
#include "shared/Base64.h"
#include "shared/Exceptions.h"
#include "shared/XMLSigner.h"
#include "shared/xml/ParserErrors.h"

namespace {

template <typename Write>
std::string written(Write write) {
  BIO* bio = BIO_new(BIO_s_mem());
  write(bio);
  char* data = nullptr;
  const long size = BIO_get_mem_data(bio, &data);
  std::string text(data, static_cast<std::size_t>(size));
  BIO_free(bio);
  return text;
}

X509* selfSigned(EVP_PKEY* key) {
  X509* certificate = X509_new();
  X509_set_version(certificate, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), 1);
  X509_gmtime_adj(X509_getm_notBefore(certificate), -60);
  X509_gmtime_adj(X509_getm_notAfter(certificate), 24 * 60 * 60);
  X509_set_pubkey(certificate, key);
  X509_NAME* name = X509_get_subject_name(certificate);
  const auto* common = reinterpret_cast<const unsigned char*>("Signer");
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, common, -1, -1, 0);
  X509_set_issuer_name(certificate, name);
  X509_sign(certificate, key, EVP_sha256());
  return certificate;
}

void write(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace

std::string SigningTest::folder_;

std::string toBase64(const std::string& bytes) {
  char* text = nullptr;
  encodeBase64(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), &text);
  std::string result(text);
  std::free(text);
  return result;
}

std::string fromBase64(const std::string& text) {
  unsigned char* data = nullptr;
  long length = 0;
  decodeBase64(text.c_str(), &data, &length);
  std::string result(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
  std::free(data);
  return result;
}

std::string signXml(const std::string& xml) {
  return fromBase64(XMLSigner::getInstance().sign(toBase64(xml)));
}

std::string refusalOf(const std::string& base64) {
  try {
    XMLSigner::getInstance().sign(base64);
    return "signed";
  } catch (const BaseException& e) {
    return std::to_string(e.code()) + " " + e.message();
  } catch (...) {
    return "103 " + describeParserException().value_or("not an exception of the parser");
  }
}

void SigningTest::SetUpTestSuite() {
  std::string pattern = (std::filesystem::temp_directory_path() / "signing-XXXXXX").string();
  folder_ = mkdtemp(pattern.data());
  EVP_PKEY* key = EVP_RSA_gen(2048);
  X509* certificate = selfSigned(key);
  auto& selection = CertificateSelection::getInstance();
  selection.keyPem =
      written([key](BIO* bio) { PEM_write_bio_PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr); });
  selection.certificateBase64 =
      toBase64(written([certificate](BIO* bio) { i2d_X509_bio(bio, certificate); }));
  write(folder_ + "/certificate.pem",
        written([certificate](BIO* bio) { PEM_write_bio_X509(bio, certificate); }));
  X509_free(certificate);
  EVP_PKEY_free(key);
}

void SigningTest::TearDownTestSuite() {
  std::filesystem::remove_all(folder_);
}

void SigningTest::SetUp() {
  auto& selection = CertificateSelection::getInstance();
  selection.onKeySetUp = [] {};
  selection.onModulus = [] {};
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
      write(path, documents[i]);
      command += " " + path;
    }
    const std::unique_ptr<FILE, int (*)(FILE*)> output(popen((command + " 2>&1").c_str(), "r"), pclose);
    const std::size_t before = verdicts.size();
    std::array<char, 4096> line{};
    bool refused = false;
    while (std::fgets(line.data(), static_cast<int>(line.size()), output.get()) != nullptr) {
      if (refused) continue;
      refused = std::string(line.data()).rfind("Error: ", 0) == 0;
      if (line.data() == std::string("OK\n")) verdicts.push_back(true);
    }
    if (refused || verdicts.size() == before) verdicts.push_back(false);
  }
  return verdicts;
}
