#include "vornctl/verdict/ChainCheck.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509_vfy.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "shared/base/OpenSslHandle.h"
#include "shared/verification/Objection.h"
#include "shared/verification/SignerCertificate.h"
#include "vornctl/base/InputFile.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

using X509Handle = OpenSslHandle<X509, &X509_free>;
using Bio = OpenSslHandle<BIO, &BIO_free>;
using Store = OpenSslHandle<X509_STORE, &X509_STORE_free>;
using Context = OpenSslHandle<X509_STORE_CTX, &X509_STORE_CTX_free>;
struct FreeStack {
  void operator()(STACK_OF(X509) * stack) const { sk_X509_pop_free(stack, X509_free); }
};
using Stack = std::unique_ptr<STACK_OF(X509), FreeStack>;

constexpr std::size_t kLargestFile = std::size_t{4} << 20;
// The level of OpenSSL at which RSA keys have 1,024 bits at least, and no certificate is signed by way of
// MD5 or SHA-1.
constexpr int kSecurityLevel = 1;

constexpr std::string_view kConstraints = "CHAIN_CONSTRAINTS_FAILURE";
constexpr std::string_view kGeneralFailure = "CERTIFICATE_CHAIN_GENERAL_FAILURE";

X509Handle readDer(const std::string& der) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(der.data());
  const auto* const end = bytes + der.size();
  X509Handle certificate(d2i_X509(nullptr, &bytes, static_cast<long>(der.size())));
  return bytes == end ? std::move(certificate) : nullptr;
}

std::string derOf(const X509* certificate) {
  unsigned char* bytes = nullptr;
  const int length = i2d_X509(certificate, &bytes);
  std::string der(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(std::max(length, 0)));
  OPENSSL_free(bytes);
  return der;
}

/** In place of OpenSSL's own, which asks at the terminal. */
int noPassword(char* /*buffer*/, int /*size*/, int /*writing*/, void* /*context*/) {
  return 0;
}

/** All certificates in PEM or, if there are none, the one in DER that the file is. */
DerCertificates certificatesOfFile(const std::string& bytes) {
  DerCertificates found;
  const Bio source(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
  while (const X509Handle certificate{PEM_read_bio_X509(source.get(), nullptr, noPassword, nullptr)})
    found.push_back(derOf(certificate.get()));
  if (!found.empty() && ERR_GET_REASON(ERR_peek_last_error()) != PEM_R_NO_START_LINE) {
    ERR_clear_error();
    throw InputFault("a certificate in it is damaged");
  }
  if (const X509Handle certificate = found.empty() ? readDer(bytes) : nullptr)
    found.push_back(derOf(certificate.get()));
  ERR_clear_error();
  return found;
}

void append(DerCertificates& to, const DerCertificates& from) {
  to.insert(to.end(), from.begin(), from.end());
}

bool contains(const DerCertificates& certificates, const std::string& der) {
  return std::find(certificates.begin(), certificates.end(), der) != certificates.end();
}

Store makeStore(const DerCertificates& trusted, std::time_t time) {
  Store store(X509_STORE_new());
  for (const std::string& der : trusted)
    if (const X509Handle certificate = readDer(der)) X509_STORE_add_cert(store.get(), certificate.get());
  X509_VERIFY_PARAM* const parameters = X509_STORE_get0_param(store.get());
  X509_VERIFY_PARAM_set_time(parameters, time);
  X509_VERIFY_PARAM_set_auth_level(parameters, kSecurityLevel);
  // Whoever is trusted need not be at the top of a chain.
  X509_VERIFY_PARAM_set_flags(parameters, X509_V_FLAG_PARTIAL_CHAIN | X509_V_FLAG_POLICY_CHECK);
  return store;
}

Stack makeStack(const DerCertificates& certificates) {
  Stack stack(sk_X509_new_null());
  for (const std::string& der : certificates)
    if (X509Handle certificate = readDer(der)) sk_X509_push(stack.get(), certificate.release());
  return stack;
}

std::string_view codeOf(int error) {
  switch (error) {
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
      return kNoChain;
    case X509_V_ERR_CERT_NOT_YET_VALID:
    case X509_V_ERR_CERT_HAS_EXPIRED:
      return "OUT_OF_BOUNDS_NO_POE";
    case X509_V_ERR_EE_KEY_TOO_SMALL:
    case X509_V_ERR_CA_KEY_TOO_SMALL:
    case X509_V_ERR_CA_MD_TOO_WEAK:
      return verification::kCryptoConstraints;
    case X509_V_ERR_INVALID_CA:
    case X509_V_ERR_PATH_LENGTH_EXCEEDED:
    case X509_V_ERR_PERMITTED_VIOLATION:
    case X509_V_ERR_EXCLUDED_VIOLATION:
    case X509_V_ERR_KEYUSAGE_NO_CERTSIGN:
    case X509_V_ERR_UNHANDLED_CRITICAL_EXTENSION:
    case X509_V_ERR_INVALID_POLICY_EXTENSION:
    case X509_V_ERR_NO_EXPLICIT_POLICY:
      return kConstraints;
    default:
      return kGeneralFailure;
  }
}

DerCertificates chainOf(X509_STORE_CTX* context) {
  DerCertificates chain;
  const STACK_OF(X509)* const certificates = X509_STORE_CTX_get0_chain(context);
  for (int i = 0; i < sk_X509_num(certificates); ++i) chain.push_back(derOf(sk_X509_value(certificates, i)));
  return chain;
}

/** What OpenSSL does not look at in the authorities between the signer and the one who is trusted. */
std::optional<Remark> faultOfAuthorities(const DerCertificates& chain) {
  for (std::size_t i = 1; i + 1 < chain.size(); ++i) {
    const X509Handle authority = readDer(chain[i]);
    if (!verification::isWellFormed(*authority, chain[i]))
      return Remark{kGeneralFailure, "the certificate of an authority is not written as the standard has it"};
    if (!verification::isForPersons(*authority))
      return Remark{kConstraints, "the certificate of an authority is to vouch for others than persons"};
  }
  return std::nullopt;
}

int weakKeyBitsOf(const DerCertificates& chain) {
  constexpr int kStrong = 112;  // bits of security, as RSA keys of 2,048 bits have
  for (std::size_t i = 1; i < chain.size(); ++i) {
    const X509Handle authority = readDer(chain[i]);
    const EVP_PKEY* const key = X509_get0_pubkey(authority.get());
    if (EVP_PKEY_get_security_bits(key) < kStrong) return EVP_PKEY_get_bits(key);
  }
  return 0;
}

ChainResult buildChain(const std::string& certificate, const Authorities& authorities, std::time_t time) {
  const X509Handle signer = readDer(certificate);
  DerCertificates trusted = authorities.trusted;
  if (contains(authorities.peers, certificate)) trusted.push_back(certificate);
  const Store store = makeStore(trusted, time);
  const Stack known = makeStack(authorities.known);
  const Context context(X509_STORE_CTX_new());
  if (!signer || !context || X509_STORE_CTX_init(context.get(), store.get(), signer.get(), known.get()) != 1)
    throw std::runtime_error("The certificate chain cannot be checked");
  const bool good = X509_verify_cert(context.get()) == 1;
  ERR_clear_error();
  const int error = X509_STORE_CTX_get_error(context.get());
  if (good && error == X509_V_OK) {
    DerCertificates chain = chainOf(context.get());
    if (const auto fault = faultOfAuthorities(chain)) return {.fault = fault};
    const int weakKeyBits = weakKeyBitsOf(chain);
    return {.chain = std::move(chain), .weakKeyBits = weakKeyBits};
  }
  if (codeOf(error) == kNoChain) {
    return {.fault = Remark{kNoChain,
                            "nobody who is trusted vouches for the signer's certificate; --trusted "
                            "names further authorities"}};
  }
  const int depth = X509_STORE_CTX_get_error_depth(context.get());
  const std::string where = depth == 0 ? "the signer's certificate" : "the certificate of an authority";
  return {.fault = Remark{codeOf(error), where + ": " + X509_verify_cert_error_string(error)},
          .isBySomebodyElse = error == X509_V_ERR_CERT_SIGNATURE_FAILURE};
}

}  // namespace

void addTrusted(const fs::path& path, Authorities& authorities) try {
  DerCertificates found;
  if (fs::is_directory(path)) {
    for (const fs::directory_entry& entry : fs::directory_iterator(path))
      if (entry.is_regular_file()) append(found, certificatesOfFile(readInput(entry.path(), kLargestFile)));
  } else {
    found = certificatesOfFile(readInput(path, kLargestFile));
  }
  if (found.empty()) throw InputFault("there is no certificate");
  append(authorities.trusted, found);
} catch (const std::exception& e) {
  throw std::invalid_argument("--trusted " + path.string() + ": " + e.what());
}

ChainResult checkChain(const std::string& certificate, const Authorities& authorities, std::time_t time) {
  ChainResult result = buildChain(certificate, authorities, time);
  // Of authorities with one name, old and new, OpenSSL tries the first alone where no key identifier tells
  // them apart.
  for (std::size_t i = 0; result.isBySomebodyElse && i < authorities.trusted.size(); ++i) {
    Authorities alone = authorities;
    alone.trusted = {authorities.trusted[i]};
    if (ChainResult other = buildChain(certificate, alone, time); !other.fault) result = std::move(other);
  }
  const auto isProhibited = [&](const std::string& der) { return contains(authorities.prohibited, der); };
  const auto leadsTo = [&](const DerCertificates& others) {
    if (!result.fault || result.fault->code != kNoChain || others.empty()) return false;
    Authorities with = authorities;
    append(with.trusted, others);
    return !buildChain(certificate, with, time).fault;
  };
  if (isProhibited(certificate) || std::any_of(result.chain.begin(), result.chain.end(), isProhibited) ||
      leadsTo(authorities.prohibited))
    return {.fault = Remark{kProhibited, "the key store prohibits a certificate of the chain"}};
  if (leadsTo(authorities.forOtherPurposes))
    result.fault->message = "the key store trusts the authority to vouch for web sites, but not for persons";
  return result;
}

}  // namespace vorn::vornctl
