#include "linux/frameworks/Security/KeyStoreReport.h"

#include <algorithm>

#include "linux/frameworks/Security/KeyProcess.h"

namespace vorn::frameworks {
namespace {

jsonxx::Object ask(const char* question) {
  return KeyProcess::instance().ask(jsonxx::Object("question", question)).value_or(jsonxx::Object());
}

}  // namespace

std::vector<keys::TokenPlace> tokenPlaces() {
  std::vector<keys::TokenPlace> places;
  const jsonxx::Object answer = ask("stores");
  for (const jsonxx::Object* place : keys::objectsIn(answer, "places"))
    places.push_back({keys::textIn(*place, "name"), keys::textIn(*place, "store"),
                      keys::flagIn(*place, "card"), keys::flagIn(*place, "in"), keys::flagIn(*place, "pin"),
                      keys::flagIn(*place, "blocked"), keys::flagIn(*place, "last_try"),
                      keys::flagIn(*place, "certificate")});
  return places;
}

std::string keyProcessFailure() {
  return KeyProcess::instance().failure();
}

const std::vector<keys::StoreFault>& storeFaults() {
  return KeyProcess::instance().faults();
}

std::vector<keys::StoredCertificate> listCertificatesWithTrust() {
  constexpr long kMost = static_cast<long>(keys::Trust::kProhibited);
  std::vector<keys::StoredCertificate> certificates;
  const jsonxx::Object answer = ask("trust");
  for (const jsonxx::Object* stored : keys::objectsIn(answer, "certificates"))
    certificates.push_back(
        {keys::fromHex(keys::textIn(*stored, "certificate")),
         static_cast<keys::Trust>(std::clamp(keys::numberIn(*stored, "trust"), 0L, kMost))});
  return certificates;
}

}  // namespace vorn::frameworks
