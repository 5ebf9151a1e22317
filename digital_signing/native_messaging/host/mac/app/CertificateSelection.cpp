#include "mac/app/CertificateSelection.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include "mac/app/CFValues.h"
#include "mac/app/CertificateDetails.h"
#include "shared/base/Exceptions.h"
#include "shared/json/jsonxx.h"
#include "shared/text/LetterCase.h"

namespace vorn {
namespace {

const log4cplus::Logger selectionLog = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("CertificateSelection"));

constexpr std::size_t kSerialBufferSize = 100;

std::string joined(const jsonxx::Array& texts) {
  std::string text;
  for (unsigned i = 0; i < texts.size(); ++i) text += (i == 0 ? "" : ", ") + texts.get<jsonxx::String>(i);
  return text;
}

/** The criteria of a request, the e-mail address as received. */
SelectionCriteria readCriteria(const jsonxx::Object& userDetails) {
  SelectionCriteria criteria;
  criteria.name = userDetails.get<jsonxx::String>("name");
  criteria.email = userDetails.get<jsonxx::String>("email");
  criteria.abn = userDetails.get<jsonxx::String>("abn");
  const auto& akis = userDetails.get<jsonxx::Array>("aki");
  for (unsigned i = 0; i < akis.size(); ++i)
    criteria.akis.push_back(asciiLowerCase(akis.get<jsonxx::String>(i)));
  std::stable_sort(criteria.akis.begin(), criteria.akis.end());
  LOG4CPLUS_DEBUG(selectionLog, "Request name = " << criteria.name);
  LOG4CPLUS_DEBUG(selectionLog, "Request email = " << criteria.email);
  LOG4CPLUS_DEBUG(selectionLog, "Request ABN = " << criteria.abn);
  LOG4CPLUS_DEBUG(selectionLog, "Request AKI list = " << joined(akis));
  return criteria;
}

[[noreturn]] void reportNameNotFound() {
  LOG4CPLUS_INFO(selectionLog, "No certificate found with matching name");
  throw CertificateNotFoundException();
}

/** The result of the key store's search for identities that can sign. A text
 * that no name can equal finds none. */
CFRef<CFTypeRef> findIdentities(const std::string& name) {
  const CFRef<CFStringRef> subject = makeCFString(name);
  if (!subject) reportNameNotFound();
  const void* keys[] = {kSecClass, kSecAttrCanSign, kSecMatchSubjectWholeString, kSecMatchLimit,
                        kSecReturnRef};
  const void* values[] = {kSecClassIdentity, kCFBooleanTrue, subject.get(), kSecMatchLimitAll,
                          kCFBooleanTrue};
  const auto query = CFRef<CFDictionaryRef>::adopt(CFDictionaryCreate(
      kCFAllocatorDefault, keys, values, static_cast<CFIndex>(std::size(keys)), nullptr, nullptr));

  CFRef<CFTypeRef> identities;
  const OSStatus status = SecItemCopyMatching(query.get(), identities.out());
  if (status == errSecItemNotFound) reportNameNotFound();
  if (status != errSecSuccess) {
    const std::string message =
        "An error has occurred finding identities with matching name in Keychain. System error code = " +
        std::to_string(status);
    LOG4CPLUS_ERROR(selectionLog, message);
    const auto reason = CFRef<CFStringRef>::adopt(SecCopyErrorMessageString(status, nullptr));
    if (const auto text = utf8Text(reason.get())) LOG4CPLUS_ERROR(selectionLog, *text);
    throw TechnicalException(message, reason::kStoreUnreadable);
  }
  return identities;
}

}  // namespace

CertificateSelection& CertificateSelection::getInstance() {
  static auto* const instance = new CertificateSelection();
  return *instance;
}

void CertificateSelection::initialise(const jsonxx::Object& userDetails) {
  SelectionCriteria criteria = readCriteria(userDetails);
  // The kept address is in lower case, the request's is as received: one with a capital always searches
  // again.
  if (criteria == criteria_) {
    LOG4CPLUS_INFO(selectionLog, "Using existing signing certificate");
    return;
  }
  LOG4CPLUS_INFO(selectionLog, "Finding signing certificate in system certificate store");
  criteria.email = asciiLowerCase(criteria.email);
  const CFRef<CFTypeRef> identities = findIdentities(criteria.name);
  search(ofType<CFArrayRef>(identities.get(), CFArrayGetTypeID()), criteria);
  criteria_ = std::move(criteria);
}

/** Leaves an earlier certificate and key in place, so that a search without a winner ends as an expired one.
 */
void CertificateSelection::search(CFArrayRef identities, const SelectionCriteria& criteria) {
  clearDetails();
  std::string lastSerial;
  for (CFIndex i = 0; i < countOf(identities); ++i) {
    const auto identity =
        static_cast<SecIdentityRef>(const_cast<void*>(CFArrayGetValueAtIndex(identities, i)));
    consider(identity, i, criteria, lastSerial);
  }
  LOG4CPLUS_INFO(selectionLog, "No (more) matching certificates in Keychain");
  if (!certificate_) {
    LOG4CPLUS_INFO(selectionLog, "No valid certificate found");
    throw CertificateNotFoundException();
  }
  LOG4CPLUS_DEBUG(selectionLog, "Selected certificate serial number = " << lastSerial);
}

void CertificateSelection::consider(SecIdentityRef identity, CFIndex index, const SelectionCriteria& criteria,
                                    std::string& serial) {
  CFRef<SecCertificateRef> certificate;
  if (SecIdentityCopyCertificate(identity, certificate.out()) != errSecSuccess || !certificate) {
    LOG4CPLUS_INFO(selectionLog, "Identity #" << index << " does not have a certificate");
    return;
  }
  LOG4CPLUS_INFO(selectionLog, "Identity #" << index << " has certificate");
  CFRef<SecKeyRef> privateKey;
  if (SecIdentityCopyPrivateKey(identity, privateKey.out()) != errSecSuccess || !privateKey) {
    LOG4CPLUS_INFO(selectionLog, "Identity #" << index << " does not have a private key");
    return;
  }
  LOG4CPLUS_INFO(selectionLog, "Identity #" << index << " has private key");
  const CFRef<CFDictionaryRef> values = copySelectionValues(certificate.get());
  if (!values) {
    LOG4CPLUS_INFO(selectionLog, "Failed to get certificate values for identity #" << index);
    return;
  }
  if (!certificateEmailMatches(certificate.get(), criteria.email) ||
      !certificateABNMatches(values.get(), criteria.abn) ||
      !certificateAKIMatches(values.get(), criteria.akis) || !isSigningCertificate(values.get()))
    return;
  LOG4CPLUS_INFO(selectionLog, "Found matching certificate");
  serial = utf8TextCutTo(certificateString(values.get(), kSecOIDX509V1SerialNumber), kSerialBufferSize);
  LOG4CPLUS_DEBUG(selectionLog, "Certificate serial number = " << serial);
  keepIfLater(std::move(certificate), std::move(privateKey), values.get(), serial);
}

void CertificateSelection::keepIfLater(CFRef<SecCertificateRef> certificate, CFRef<SecKeyRef> privateKey,
                                       CFDictionaryRef values, const std::string& serial) {
  const CFAbsoluteTime notAfter = certificateTime(values, kSecOIDX509V1ValidityNotAfter);
  LOG4CPLUS_DEBUG(selectionLog, "Certificate not valid before date = " << formatCertificateDate(
                                    certificateTime(values, kSecOIDX509V1ValidityNotBefore)));
  LOG4CPLUS_DEBUG(selectionLog, "Certificate not valid after date = " << formatCertificateDate(notAfter));
  if (!(notAfter > notAfter_)) return;
  std::string encoded = encodeCertificate(certificate.get());
  if (encoded.empty()) return;
  std::string issuer = getIssuerName(values);
  certificate_ = std::move(certificate);
  encodedCertificate_ = std::move(encoded);
  issuerName_ = std::move(issuer);
  privateKey_ = std::move(privateKey);
  notAfter_ = notAfter;
  serialNumber_ = serial;
}

std::string CertificateSelection::getCertificateExpiry() const {
  return certificate_ ? formatCertificateDate(notAfter_) : "";
}

bool CertificateSelection::isExpired() const {
  return !certificate_ || CFAbsoluteTimeGetCurrent() > notAfter_;
}

void CertificateSelection::reset() {
  criteria_ = {};
  certificate_.reset();
  privateKey_.reset();
  clearDetails();
}

void CertificateSelection::clearDetails() {
  encodedCertificate_.clear();
  issuerName_.clear();
  serialNumber_.clear();
  notAfter_ = 0;
}

}  // namespace vorn
