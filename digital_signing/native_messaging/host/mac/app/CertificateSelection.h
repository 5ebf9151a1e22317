#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include <string>

#include "mac/app/CFRef.h"
#include "mac/app/CertificateMatching.h"

namespace jsonxx {
class Object;
}

namespace vorn {

/** The one signing identity of the user whom the requests name, kept between requests. The key store is
 * searched only when the user changes. For the thread that handles requests; all failures are BaseException.
 */
class CertificateSelection {
 public:
  /** The process's selection, made empty by the first call and never destroyed. */
  static CertificateSelection& getInstance();

  CertificateSelection(const CertificateSelection&) = delete;
  CertificateSelection& operator=(const CertificateSelection&) = delete;

  /**
   * Selects, among the identities of "name" that have "email", "abn" and one of "aki", the one that expires
   * last, unless these are still the criteria of the last search. `userDetails` must hold the four members
   * with their types.
   *
   * Throws CertificateNotFoundException, or TechnicalException when the key store fails. When a search finds
   * nobody but an identity of an earlier one is held, this is no failure: that identity stays, without its
   * texts and as expired.
   */
  void initialise(const jsonxx::Object& userDetails);

  /** The selected certificate, which stays owned here until the next `initialise`; null when none is
   * selected. */
  SecCertificateRef getCertificate() const { return certificate_.get(); }
  /** The private key of the selected identity, on the same terms. */
  SecKeyRef getPrivateKey() const { return privateKey_.get(); }

  /** The base64 text of the certificate's DER bytes. */
  std::string getEncodedCertificate() const { return encodedCertificate_; }
  /** The date as formatCertificateDate gives it; empty when no certificate is selected. */
  std::string getCertificateExpiry() const;
  /** The issuer's common name; empty when it has none. */
  std::string getCertificateIssuer() const { return issuerName_; }
  /** The serial number as the platform renders it. */
  std::string getCertificateSerial() const { return serialNumber_; }
  /** Whether the certificate's last instant has passed; true when none is selected. */
  bool isExpired() const;

  /** Back to the empty selection. */
  void reset();

 private:
  CertificateSelection() = default;
  ~CertificateSelection() = default;

  void search(CFArrayRef identities, const SelectionCriteria& criteria);
  void consider(SecIdentityRef identity, CFIndex index, const SelectionCriteria& criteria,
                std::string& serial);
  void keepIfLater(CFRef<SecCertificateRef> certificate, CFRef<SecKeyRef> privateKey, CFDictionaryRef values,
                   const std::string& serial);
  void clearDetails();

  SelectionCriteria criteria_;  // of the last search, the address in lower case
  CFRef<SecCertificateRef> certificate_;
  CFRef<SecKeyRef> privateKey_;
  std::string encodedCertificate_;
  CFAbsoluteTime notAfter_ = 0;
  std::string issuerName_;
  std::string serialNumber_;
};

}  // namespace vorn
