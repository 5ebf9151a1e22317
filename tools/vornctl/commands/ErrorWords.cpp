#include "vornctl/commands/ErrorWords.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "shared/base/Exceptions.h"
#include "vornctl/base/BuildSettings.h"

namespace vorn::vornctl {
namespace {

constexpr ErrorWords kWords[] = {
    {TechnicalException::kCode, true, "the system or a library failed",
     "read vorn-signing.log in your home folder"},
    {InvalidArgumentException::kCode, true, "the host does not understand the request",
     "use the vornctl that came with the host"},
    {CertificateNotFoundException::kCode, true, "no identity in the key store matches",
     "let \"vornctl identities\" with the same name, e-mail, ABN and AKI tell why"},
    {XMLDataParsingException::kCode, false, "the document is not well-formed XML", "correct the document"},
    {InvalidXMLDataException::kCode, false,
     "the document does not have exactly one CounterpartData and one RenderedData element",
     "correct the document"},
    {CryptoException::kCode, true, "no signature was made",
     "what stands in brackets tells why; a PIN, a locked key store or a missing card can be put right"},
    {CertificateExpiredException::kCode, true, "the certificate has expired", "renew the certificate"},
    {InvalidSignatureAlgorithmException::kCode, true, "the algorithm is unknown",
     "use the vornctl that came with the host"},
};
constexpr ErrorWords kUnknown = {0, true, "the host reports an error that is unknown here",
                                 "use the vornctl that came with the host"};

}  // namespace

std::string wordsHere(std::string text) {
  constexpr std::string_view kKeychain = "in Keychain";
  if (settings::kSystem == System::kMacOS) return text;
  if (const std::size_t at = text.find(kKeychain); at != std::string::npos)
    text.replace(at, kKeychain.size(), "in the key store");
  return text;
}

const ErrorWords& wordsFor(std::uint32_t code) {
  const auto* const found = std::find_if(std::begin(kWords), std::end(kWords),
                                         [code](const ErrorWords& words) { return words.code == code; });
  return found != std::end(kWords) ? *found : kUnknown;
}

}  // namespace vorn::vornctl
