#include <algorithm>
#include <cstdint>
#include <iterator>

#include "shared/base/Exceptions.h"
#include "vornctl/base/BuildSettings.h"
#include "vornctl/doctor/Host.h"

namespace vorn::vornctl {
namespace {

constexpr std::string_view kAny;

// The first that fits counts.
constexpr ErrorWords kWords[] = {
    {0, reason::kPromptCancelled, true, "the question for the PIN or password was closed",
     "sign again when you want to"},
    {0, reason::kConfirmRefused, true, "you said no", "sign again when you want to"},
    {0, reason::kPinWrong, true, "the PIN or password was not right",
     "look it up before you try again: a card counts wrong ones, and blocks itself after a few"},
    {0, reason::kPinBlocked, true, "the PIN is blocked after wrong ones",
     "unblock it with its PUK, by the program of whoever issued it"},
    {0, reason::kCardOut, true, "the card or key is not there",
     "put it in, wait for a moment, and try again"},
    {0, reason::kNoPrompt, true,
     "nobody could be asked for a PIN or a confirmation, or nobody answered in time",
     "look for a window that asks; if there is none, \"vornctl doctor\" says what is missing"},
    {0, reason::kModuleHangs, true, "the software of a card reader does not answer",
     "take the card out, put it in again, and try once more; \"vornctl doctor\" says which software it is"},
    {0, reason::kStoreUnreadable, true, "a key store cannot be read",
     "let \"vornctl doctor\" say which and why"},
    {0, reason::kRestart, true, "the host has been replaced while it ran", "sign again"},
    {TechnicalException::kCode, kAny, true, "the system or a library failed",
     "read vorn-signing.log in your home folder"},
    {InvalidArgumentException::kCode, kAny, true, "the host does not understand the request",
     "use the vornctl that came with the host"},
    {CertificateNotFoundException::kCode, kAny, true, "no identity in the key store matches",
     "let \"vornctl identities\" with the same name, e-mail, ABN and AKI tell why"},
    {XMLDataParsingException::kCode, kAny, false, "the document is not well-formed XML",
     "correct the document"},
    {InvalidXMLDataException::kCode, reason::kDocumentInvalid, false,
     "the document is not of the kind that can be signed",
     "correct what stands in brackets: it needs one CounterpartData and one RenderedData element, side by "
     "side"},
    {CryptoException::kCode, kAny, true, "no signature was made",
     "what stands in brackets tells why; a locked key store can be put right"},
    {CertificateExpiredException::kCode, kAny, true, "the certificate has expired", "renew the certificate"},
    {InvalidSignatureAlgorithmException::kCode, kAny, true, "the algorithm is unknown",
     "use the vornctl that came with the host"},
};
constexpr ErrorWords kUnknown = {0, kAny, true, "the host reports an error that is unknown here",
                                 "use the vornctl that came with the host"};

}  // namespace

std::string wordsHere(std::string text) {
  constexpr std::string_view kKeychain = "in Keychain";
  if (settings::kSystem == System::kMacOS) return text;
  if (const std::size_t at = text.find(kKeychain); at != std::string::npos)
    text.replace(at, kKeychain.size(), "in the key store");
  return text;
}

std::uint32_t codeIn(const jsonxx::Object& answer) {
  const bool isThere = answer.has<jsonxx::Number>("error_code");
  return isThere ? static_cast<std::uint32_t>(answer.get<jsonxx::Number>("error_code")) : 0;
}

const ErrorWords& wordsFor(const jsonxx::Object& answer) {
  const std::uint32_t code = codeIn(answer);
  const std::string reason = textIn(answer, "error_reason");
  const auto* const found = std::find_if(std::begin(kWords), std::end(kWords), [&](const ErrorWords& words) {
    return (words.code != 0 && words.code == code) || (!words.reason.empty() && words.reason == reason);
  });
  return found != std::end(kWords) ? *found : kUnknown;
}

}  // namespace vorn::vornctl
