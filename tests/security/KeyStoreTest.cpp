#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>

#include "linux/frameworks/Security/KeyProcess.h"
#include "security/KeyStoreHome.h"
#include "shared/base/SignatureAlgorithm.h"

namespace security_test {
namespace {

namespace fs = std::filesystem;

std::vector<std::uint8_t> opensslOutput(const std::string& arguments) {
  std::vector<std::uint8_t> output;
  FILE* pipe = popen(("openssl " + arguments).c_str(), "r");
  for (int octet = std::fgetc(pipe); octet != EOF; octet = std::fgetc(pipe))
    output.push_back(static_cast<std::uint8_t>(octet));
  EXPECT_EQ(pclose(pipe), 0) << arguments;
  return output;
}

std::string writeTemporary(const std::string& name, const std::vector<std::uint8_t>& bytes) {
  std::string path = testing::TempDir() + name + std::to_string(getpid());
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return path;
}

const std::vector<std::uint8_t> kMessage{'a', ' ', 'm', 'e', 's', 's', 'a', 'g', 'e'};

TEST(KeyStore, FindsIdentitiesByCommonName) {
  inHome(homeFolder("plain"), [] {
    for (const char* absent : {"jane citizen", "Jane", "Jane Citizen ", "Example", "Zoe Curve", ""})
      search(absent, errSecItemNotFound);
    EXPECT_EQ(CFArrayGetCount(search("Zoë Curve").get()), 1);
    EXPECT_FALSE(tokenOf(identityAt(search("Zoë Curve"), 0)).locked);
    EXPECT_EQ(tokenOf(nullptr).name, "");
    // Two keys, one of them with two certificates; the certificate without a key makes no identity.
    const auto identities = search("Jane Citizen");
    ASSERT_EQ(CFArrayGetCount(identities.get()), 3);
    std::multiset<std::size_t> lengths;
    for (CFIndex index = 0; index < 3; ++index) {
      lengths.insert(sign(keyOf("Jane Citizen", index), kDigest, {}).signature.size());
      CFRef<SecCertificateRef> certificate;
      CFRef<SecCertificateRef> again;
      ASSERT_EQ(SecIdentityCopyCertificate(identityAt(identities, index), certificate.out()), errSecSuccess);
      EXPECT_EQ(SecIdentityCopyCertificate(identityAt(identities, index), again.out()), errSecSuccess);
      EXPECT_EQ(certificate.get(), again.get());
    }
    EXPECT_EQ(lengths, (std::multiset<std::size_t>{256, 256, 384})) << "each signs with its own key";
  });
}

TEST(KeyStore, SignaturesVerify) {
  inHome(homeFolder("plain"), [] {
    const std::string message = writeTemporary("message", kMessage);
    const struct {
      std::string digest;
      CFTypeRef type;
      long bits;
    } rows[] = {
#define VORN_ROW(name, method, digestUri, hash, family, bits, evp) \
  {std::string(#evp).substr(std::string("EVP_").size()), family, bits},
        VORN_SIGNATURE_ALGORITHMS(VORN_ROW)
#undef VORN_ROW
    };
    const auto key = keyOf("Jane Citizen");
    for (const auto& row : rows) {
      const auto digest = opensslOutput("dgst -binary -" + row.digest + " " + message);
      const Signed result = sign(key, digest, {row.type, row.bits});
      EXPECT_EQ(result.description, "");
      const std::string signature = writeTemporary("signature", result.signature);
      opensslOutput("dgst -" + row.digest + " -verify " + homeFolder("jane") + ".pub -signature " +
                    signature + " " + message);
    }
  });
}

TEST(KeyStore, RefusalsOfTheSigner) {
  inHome(homeFolder("plain"), [] {
    constexpr char kChoice[] =
        "choose one of: SHA1, SHA2 (512bits, 348bits, 256bits, or 224 bits), MD2, or MD5";
    constexpr char kLength[] = "(Internal CSSM error error -2147415807 - Internal error #80010901 at ";
    const struct {
      const char* name;
      std::size_t inputLength;
      Request request;
      CFIndex code;
      const char* text;
    } rows[] = {
        {"Jane Citizen", 20, {nullptr, -1}, 6, kChoice},
        {"Jane Citizen", 20, {kSecDigestSHA1, 256}, 6, kChoice},
        {"Jane Citizen", 20, {kSecClass, 160}, 6, kChoice},
        {"Jane Citizen", 32, {kSecDigestSHA1, 160}, -2147415807, kLength},
        {"Small Key", 64, {kSecDigestSHA2, 512}, -2147415807, kLength},
        {"Zoë Curve", 32, {kSecDigestSHA2, 256}, 6, "Expected key to be an RSA key that signs"},
    };
    for (const auto& row : rows) {
      const Signed result = sign(keyOf(row.name), std::vector<std::uint8_t>(row.inputLength, 1), row.request);
      EXPECT_EQ(result.code, row.code);
      EXPECT_NE(result.description.find(row.text), std::string::npos) << result.description;
    }
    const auto certificate = certificateOf(readFile("full.der"));
    CFRef<SecKeyRef> publicKey;
    ASSERT_EQ(SecCertificateCopyPublicKey(certificate.get(), publicKey.out()), errSecSuccess);
    EXPECT_EQ(sign(publicKey, kDigest, {}).code, 6);
  });
}

TEST(KeyStore, PasswordIsNeitherNeededToFindNorAskedForToSign) {
  inHome(homeFolder("locked"), [] {
    const auto found = search("Jane Citizen");
    ASSERT_EQ(CFArrayGetCount(found.get()), 1);
    EXPECT_EQ(tokenOf(identityAt(found, 0)).name, "NSS Certificate DB");
    EXPECT_TRUE(tokenOf(identityAt(found, 0)).locked);
    const Signed result = sign(keyOf("Jane Citizen"), kDigest, {});
    EXPECT_EQ(result.code, -2147415840);
    EXPECT_NE(result.description.find("Internal error #800108e0 at "), std::string::npos);
    EXPECT_NE(result.description.find("SEC_ERROR_BAD_PASSWORD"), std::string::npos) << result.description;
  });
}

/** Names, sizes, times and contents of the files. */
std::string stateOf(const fs::path& folder) {
  std::string state;
  for (const auto& entry : fs::directory_iterator(folder)) {
    std::ifstream file(entry.path(), std::ios::binary);
    state += entry.path().filename().string() +
             std::to_string(entry.last_write_time().time_since_epoch().count()) +
             std::string(std::istreambuf_iterator<char>(file), {});
  }
  return state;
}

TEST(KeyStore, LeavesTheDatabaseUntouched) {
  const fs::path folder = homeFolder("plain") + "/.pki/nssdb";
  const std::string before = stateOf(folder);
  inHome(homeFolder("plain"), [] { EXPECT_EQ(sign(keyOf("Jane Citizen"), kDigest, {}).description, ""); });
  EXPECT_EQ(stateOf(folder), before);
}

}  // namespace
}  // namespace security_test
