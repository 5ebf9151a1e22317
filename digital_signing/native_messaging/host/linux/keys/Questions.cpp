#include "linux/keys/Questions.h"

#include <algorithm>
#include <cstdint>
#include <set>

#include "linux/processes/KeyChannel.h"

namespace vorn::keys {
namespace {

struct Candidate {
  TokenCertificate stored;
  /** Views into it. */
  x509::Certificate fields;
};

/** Texts are compared as they are: letter case, accents and their composition count, and an empty text is no
 * name. */
std::vector<Candidate> findCertificates(const std::optional<std::string>& name) {
  std::vector<Candidate> candidates;
  for (TokenCertificate& stored : listCertificates()) {
    auto fields = x509::readCertificate(stored.der);
    if (fields && (!name || (!name->empty() && x509::commonName(fields->subject) == name)))
      candidates.push_back({std::move(stored), std::move(*fields)});
  }
  return candidates;
}

Failure openStores(const jsonxx::Object& question) {
  OpenStores::LeftOut leftOut;
  if (question.has<jsonxx::Object>("without")) {
    const auto& without = question.get<jsonxx::Object>("without");
    for (const auto& [library, reason] : without.members()) leftOut[library] = textIn(without, library);
  }
  return OpenStores::instance().open(leftOut);
}

jsonxx::Array faultsOfStores() {
  jsonxx::Array faults;
  for (const StoreFault& fault : OpenStores::instance().faults()) {
    jsonxx::Object member("place", fault.place.string());
    member << "kind" << static_cast<int>(fault.kind) << "reason" << fault.reason << "registration"
           << fault.registration.string();
    faults << jsonxx::Value(std::move(member));
  }
  return faults;
}

jsonxx::Object storesAnswer() {
  jsonxx::Array places;
  for (const TokenPlace& place : tokenPlaces()) {
    jsonxx::Object member("name", place.name);
    member << "store" << place.store << "card" << place.isCard << "in" << place.isIn << "pin"
           << place.asksForPin << "blocked" << place.isPinBlocked << "last_try" << place.isLastTry
           << "certificate" << place.showsCertificate;
    places << jsonxx::Value(std::move(member));
  }
  jsonxx::Object answer("places", std::move(places));
  answer << "faults" << jsonxx::Value(faultsOfStores());
  return answer;
}

jsonxx::Object trustAnswer() {
  jsonxx::Array certificates;
  for (const TokenCertificate& stored : listCertificates()) {
    const std::optional<Trust> trust = trustOf(stored);
    if (!trust) continue;
    jsonxx::Object member("certificate", toHex(stored.der));
    member << "trust" << static_cast<int>(*trust);
    certificates << jsonxx::Value(std::move(member));
  }
  return jsonxx::Object("certificates", std::move(certificates));
}

jsonxx::Object refusalOf(const NssError& error) {
  jsonxx::Object answer("code", error.cssmCode);
  answer << "name" << error.name << "sentence" << error.sentence << "reason" << error.reason;
  return answer;
}

}  // namespace

/** Key by key, and for each key certificate by certificate. What lies in several tokens is one identity, in
 * the first of them; a key that may sign goes before one that may not. */
jsonxx::Object Questions::identities(const jsonxx::Object& question) {
  const Failure failure = openStores(question);
  jsonxx::Array found;
  std::set<std::pair<std::vector<std::uint8_t>, bool>> known;
  const auto name =
      question.has<jsonxx::String>("name") ? std::optional(textIn(question, "name")) : std::nullopt;
  const std::vector<Candidate> candidates =
      failure.status == 0 ? findCertificates(name) : std::vector<Candidate>();
  for (const auto& key : candidates.empty() ? decltype(listPrivateKeys())() : listPrivateKeys()) {
    if (flagIn(question, "signing") && !key->canSign()) continue;
    for (const Candidate& candidate : candidates) {
      if (!key->belongsTo(candidate.stored, candidate.fields.publicKey) ||
          !known.emplace(candidate.stored.der, key->canSign()).second)
        continue;
      keys_[++lastNumber_] = {key, candidate.stored.der};
      const Token token = key->token();
      jsonxx::Object member("key", lastNumber_);
      member << "certificate" << toHex(candidate.stored.der) << "token" << token.name << "store"
             << token.store << "locked" << token.locked << "rsa" << key->isRsa() << "octets"
             << key->modulusLength();
      found << jsonxx::Value(std::move(member));
    }
  }
  const Failure outcome = failure.status != 0 ? failure
                          : found.empty()     ? OpenStores::instance().statusOfNothingFound()
                                              : Failure{};
  jsonxx::Object answer("identities", std::move(found));
  answer << "status" << outcome.status << "text" << outcome.text << "faults"
         << jsonxx::Value(faultsOfStores());
  return answer;
}

jsonxx::Object Questions::sign(const jsonxx::Object& question) const {
  const auto key = keys_.find(numberIn(question, "key"));
  if (key == keys_.end()) return refusalOf({0, 0, "", "There is no such key"});
  const auto fields = x509::readCertificate(key->second.certificate);
  const auto signature = key->second.key->sign(fromHex(textIn(question, "input")), *fields, consent_.get());
  if (const auto* const error = std::get_if<NssError>(&signature)) return refusalOf(*error);
  return jsonxx::Object("signature", toHex(std::get<std::vector<std::uint8_t>>(signature)));
}

std::optional<jsonxx::Object> Questions::answer(const jsonxx::Object& question) {
  if (question.has<jsonxx::Array>("forget"))
    for (const auto& number : question.get<jsonxx::Array>("forget").elements())
      if (number->is<jsonxx::Number>()) keys_.erase(static_cast<long>(number->get<jsonxx::Number>()));
  const std::string name = textIn(question, "question");
  if (name == "identities") return identities(question);
  if (name == "sign") return sign(question);
  if (name == "begin" || name == "end") {
    consent_.reset();
    if (name == "begin")
      consent_ = std::make_unique<Consent>(Consent::Request{
          textIn(question, "caller"), static_cast<std::size_t>(numberIn(question, "documents"))});
    return std::nullopt;
  }
  // Whom to trust is said in databases: nobody waits for a card to verify.
  if (name == "trust") {
    OpenStores::instance().openDatabases();
    return trustAnswer();
  }
  openStores(question);
  if (name == "open") return std::nullopt;
  if (name == "stores") return storesAnswer();
  return refusalOf({0, 0, "", "This is no question"});
}

}  // namespace vorn::keys
