#pragma once

#include <Security/Security.h>

#include <optional>
#include <string>
#include <vector>

#include "vornctl/base/Fault.h"

namespace vorn::vornctl {

/** The texts of a certificate for people, in the form in which the host compares and reports them. */
struct CertificateDescription {
  std::string name; /**< the subject's common name */
  std::vector<std::string> emails = {};
  std::vector<std::string> abns = {};
  std::vector<std::string> akis = {};
  std::string serial;
  std::string issuer;
  std::string start = {}; /**< as expiry */
  std::string expiry;     /**< local time, without the Z that pages are given */
  bool notYetValid = false;
  bool expired = false;
  bool maySign = false; /**< key usage: digital signature */
  bool isRsa = false;
};

/** A certificate that ends so soon is worth a word. */
inline constexpr int kDaysOfNotice = 30;

/** Whole days from now until a local time that begins as "2030-07-01"; a large number for what is none. */
int daysUntil(const std::string& localTime);
/** "today", "in 1 day", "in 12 days". */
std::string inDays(int days);

/** Stands in the list of ABNs for one of an odd form. */
inline constexpr const char* kUnreadable = "unreadable";
bool isReadable(const std::string& abn);

CertificateDescription describe(SecCertificateRef certificate);
/** Of DER bytes; none for those of no certificate. */
std::optional<CertificateDescription> describe(const std::string& der);

/** Why a certificate cannot sign, whoever asks and however its key is kept; empty when it can. */
std::vector<Fault> whyItNeverSigns(const CertificateDescription& certificate);

}  // namespace vorn::vornctl
