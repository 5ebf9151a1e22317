#include "reliability/Token.h"

#include <dlfcn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <pkcs11.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

namespace reliability {
namespace {

namespace fs = std::filesystem;

constexpr char kLibrary[] = VORN_CARD_MODULE;

void run(const std::string& command) {
  if (std::system((command + " > /dev/null 2>&1").c_str()) != 0)
    throw std::runtime_error("failed: " + command);
}

void check(CK_RV result) {
  if (result != CKR_OK) throw std::runtime_error("the token reports " + std::to_string(result));
}

using Bytes = std::vector<unsigned char>;
using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

Bytes numberOf(const EVP_PKEY* key, const char* name) {
  BIGNUM* number = nullptr;
  EVP_PKEY_get_bn_param(key, name, &number);
  Bytes bytes(static_cast<std::size_t>(BN_num_bytes(number)));
  BN_bn2bin(number, bytes.data());
  BN_free(number);
  return bytes;
}

template <typename Structure>
Bytes encoded(int (*encode)(const Structure*, unsigned char**), const Structure* structure) {
  unsigned char* der = nullptr;
  const int length = encode(structure, &der);
  Bytes bytes(der, der + length);
  OPENSSL_free(der);
  return bytes;
}

/** The attributes of one object, which keeps their bytes. */
class Object {
 public:
  void add(CK_ATTRIBUTE_TYPE type, Bytes bytes) {
    values_.push_back(std::make_unique<Bytes>(std::move(bytes)));
    attributes_.push_back({type, values_.back()->data(), values_.back()->size()});
  }
  void add(CK_ATTRIBUTE_TYPE type, CK_ULONG number) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&number);
    add(type, Bytes(bytes, bytes + sizeof number));
  }
  void add(CK_ATTRIBUTE_TYPE type, bool flag) { add(type, Bytes{static_cast<unsigned char>(flag)}); }
  void store(CK_FUNCTION_LIST& functions, CK_SESSION_HANDLE session) {
    CK_OBJECT_HANDLE handle = 0;
    check(functions.C_CreateObject(session, attributes_.data(), attributes_.size(), &handle));
  }

 private:
  std::vector<std::unique_ptr<Bytes>> values_;
  std::vector<CK_ATTRIBUTE> attributes_;
};

Object start(CK_OBJECT_CLASS objectClass) {
  Object object;
  object.add(CKA_CLASS, objectClass);
  object.add(CKA_TOKEN, true);
  object.add(CKA_PRIVATE, false);  // seen and used without a PIN
  object.add(CKA_ID, Bytes{1});
  return object;
}

Object certificateObject(const fs::path& pem) {
  FILE* file = fopen(pem.c_str(), "r");
  X509* certificate = PEM_read_X509(file, nullptr, nullptr, nullptr);
  fclose(file);
  Object object = start(CKO_CERTIFICATE);
  object.add(CKA_CERTIFICATE_TYPE, CK_ULONG{CKC_X_509});
  object.add(CKA_SUBJECT, encoded(&i2d_X509_NAME, X509_get_subject_name(certificate)));
  object.add(CKA_ISSUER, encoded(&i2d_X509_NAME, X509_get_issuer_name(certificate)));
  object.add(CKA_VALUE, encoded(&i2d_X509, certificate));
  X509_free(certificate);
  return object;
}

Object keyObject(const EVP_PKEY* key) {
  Object object = start(CKO_PRIVATE_KEY);
  object.add(CKA_KEY_TYPE, CK_ULONG{CKK_RSA});
  object.add(CKA_SIGN, true);
  object.add(CKA_SENSITIVE, true);
  object.add(CKA_MODULUS, numberOf(key, OSSL_PKEY_PARAM_RSA_N));
  const std::pair<CK_ATTRIBUTE_TYPE, const char*> numbers[] = {
      {CKA_PUBLIC_EXPONENT, OSSL_PKEY_PARAM_RSA_E},       {CKA_PRIVATE_EXPONENT, OSSL_PKEY_PARAM_RSA_D},
      {CKA_PRIME_1, OSSL_PKEY_PARAM_RSA_FACTOR1},         {CKA_PRIME_2, OSSL_PKEY_PARAM_RSA_FACTOR2},
      {CKA_EXPONENT_1, OSSL_PKEY_PARAM_RSA_EXPONENT1},    {CKA_EXPONENT_2, OSSL_PKEY_PARAM_RSA_EXPONENT2},
      {CKA_COEFFICIENT, OSSL_PKEY_PARAM_RSA_COEFFICIENT1}};
  for (const auto& [attribute, name] : numbers) object.add(attribute, numberOf(key, name));
  return object;
}

/** Jane's key, from the prepared key store. */
Key readKey(const fs::path& scratch) {
  const std::string store = (e2e::preparedHomes() / "main" / ".pki" / "nssdb").string();
  const std::string file12 = (scratch / "jane.p12").string();
  const std::string keyFile = (scratch / "jane.key").string();
  run("pk12util -d 'sql:" + store + "' -K '' -W x -n 'Jane Citizen' -o '" + file12 + "'");
  run("openssl pkcs12 -in '" + file12 + "' -passin pass:x -nocerts -noenc -out '" + keyFile + "'");
  FILE* file = fopen(keyFile.c_str(), "r");
  Key key(PEM_read_PrivateKey(file, nullptr, nullptr, nullptr), &EVP_PKEY_free);
  fclose(file);
  return key;
}

void storeObjects(Object certificate, Object key) {
  void* library = dlopen(kLibrary, RTLD_NOW);
  if (library == nullptr) throw std::runtime_error(dlerror());
  const auto list = reinterpret_cast<CK_C_GetFunctionList>(dlsym(library, "C_GetFunctionList"));
  CK_FUNCTION_LIST* functions = nullptr;
  check(list(&functions));
  check(functions->C_Initialize(nullptr));
  // The token that was made, and behind it a slot for the next one.
  CK_SLOT_ID slots[2];
  CK_ULONG count = std::size(slots);
  check(functions->C_GetSlotList(CK_TRUE, slots, &count));
  CK_SESSION_HANDLE session = 0;
  check(functions->C_OpenSession(slots[0], CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session));
  unsigned char pin[] = "1234";
  check(functions->C_Login(session, CKU_USER, pin, sizeof pin - 1));
  certificate.store(*functions, session);
  key.store(*functions, session);
  check(functions->C_Finalize(nullptr));
}

}  // namespace

std::filesystem::path card(const e2e::Home& home) {
  return home.path() / "card";
}

std::vector<std::string> installToken(const e2e::Home& home) {
  fs::create_directories(home.path() / "tokens");
  e2e::writeFile(home.path() / "softhsm.conf",
                 "directories.tokendir = " + (home.path() / "tokens").string() + "\n");
  const std::vector<std::string> settings{"SOFTHSM2_CONF=" + (home.path() / "softhsm.conf").string(),
                                          "CARD=" + card(home).string()};
  for (const std::string& setting : settings) putenv(strdup(setting.c_str()));
  // The card is the only way to the token.
  fs::create_directories(home.path() / ".config/pkcs11/modules");
  e2e::writeFile(home.path() / ".config/pkcs11/modules/softhsm2.module", "disable-in: p11-kit-proxy\n");
  e2e::writeFile(card(home), "");
  run("softhsm2-util --init-token --free --label jane --pin 1234 --so-pin 1234");

  const fs::path store = home.path() / ".pki" / "nssdb";
  fs::create_directories(store);
  run("certutil -N --empty-password -d 'sql:" + store.string() + "'");
  run("modutil -force -dbdir 'sql:" + store.string() + "' -add token -libfile " + kLibrary);

  const Key jane = readKey(home.path());
  storeObjects(certificateObject(e2e::preparedHomes() / "main" / "certificates" / "jane.pem"),
               keyObject(jane.get()));
  return settings;
}

}  // namespace reliability
