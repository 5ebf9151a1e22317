#include <cstdint>

#include "linux/frameworks/Security/KeyProcess.h"
#include "linux/frameworks/Security/SecObjects.h"

namespace vorn::frameworks {
namespace {

using keys::flagIn;
using keys::numberIn;
using keys::textIn;

constexpr OSStatus kCssmInternalError = -2147416063;

}  // namespace

PrivateKey::PrivateKey(const jsonxx::Object& identity)
    : certificate_(textIn(identity, "certificate")),
      token_{textIn(identity, "token"), flagIn(identity, "locked"), textIn(identity, "store")},
      isRsa_(flagIn(identity, "rsa")),
      modulusLength_(static_cast<std::size_t>(numberIn(identity, "octets"))),
      generation_(KeyProcess::instance().generation()),
      number_(numberIn(identity, "key")) {}

PrivateKey::~PrivateKey() {
  KeyProcess::instance().forget(generation_, number_);
}

/** In a process that was started since: the same certificate in the same token. */
bool PrivateKey::findAgain() const {
  const auto answer = KeyProcess::instance().ask(jsonxx::Object("question", "identities"));
  if (!answer) return false;
  for (const jsonxx::Object* identity : keys::objectsIn(*answer, "identities")) {
    if (textIn(*identity, "certificate") != certificate_ || textIn(*identity, "store") != token_.store)
      continue;
    generation_ = KeyProcess::instance().generation();
    number_ = numberIn(*identity, "key");
    return true;
  }
  return false;
}

std::variant<std::vector<std::uint8_t>, PrivateKey::Refusal> PrivateKey::sign(
    const std::vector<std::uint8_t>& input) const {
  KeyProcess& process = KeyProcess::instance();
  for (int attempts = 0; attempts < 2; ++attempts) {
    if (generation_ != process.generation() && !findAgain())
      return Refusal{kCssmInternalError, "", "The key is not to be found any more"};
    jsonxx::Object question("question", "sign");
    question << "key" << number_ << "input" << keys::toHex(input);
    const auto answer = process.ask(std::move(question));
    if (answer && answer->has<jsonxx::String>("signature"))
      return keys::fromHex(textIn(*answer, "signature"));
    if (answer)
      return Refusal{static_cast<OSStatus>(numberIn(*answer, "code")), textIn(*answer, "name"),
                     textIn(*answer, "sentence"), textIn(*answer, "reason")};
    if (process.isAbandoned() || !process.adviceOnModules().empty()) break;
  }
  return Refusal{kCssmInternalError, "", process.failure()};
}

keys::Token tokenOf(SecIdentityRef identity) {
  const auto* object = objectCast<Identity>(identity);
  return object != nullptr ? object->key().token() : keys::Token{};
}

}  // namespace vorn::frameworks

using namespace vorn::frameworks;

OSStatus SecKeyGetCSSMKey(SecKeyRef key, const CSSM_KEY** cssmKey) {
  const auto* object = dynamic_cast<const PublicKey*>(objectCast<Key>(key));
  const CSSM_KEY* described = object != nullptr ? object->cssmKey() : nullptr;
  if (described == nullptr) return errSecInvalidItemRef;
  *cssmKey = described;
  return errSecSuccess;
}
