#include <iostream>
#include <system_error>

#include "mac/app/CFRef.h"
#include "shared/Base64.h"
#include "shared/Exceptions.h"
#include "shared/XMLSigner.h"
#include "shared/json/jsonxx.h"
#include "vornctl/AtomicFile.h"
#include "vornctl/CertificateDescription.h"
#include "vornctl/Commands.h"
#include "vornctl/SignatureVerifier.h"
#include "vornctl/Terminal.h"

namespace vorn::vornctl {
namespace {

CertificateDescription describeBase64(const std::string& base64) {
  const auto bytes = vorn::fromBase64(base64);
  const std::string_view view = bytes ? bytes->view() : std::string_view();
  const auto der = CFRef<CFDataRef>::adopt(CFDataCreate(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(view.data()), static_cast<CFIndex>(view.size())));
  const auto certificate =
      CFRef<SecCertificateRef>::adopt(SecCertificateCreateWithData(kCFAllocatorDefault, der.get()));
  return certificate ? describe(certificate.get()) : CertificateDescription{};
}

/** "rsa-sha256" of the whole identifier. */
std::string shortAlgorithm(const std::string& identifier) {
  return identifier.substr(identifier.find('#') + 1);
}

jsonxx::Object jsonOf(const SignatureVerdict& check) {
  const CertificateDescription signer = describeBase64(check.certificate);
  jsonxx::Object object;
  object.import("element", check.elementName);
  object.import("valid", check.valid);
  object.import("fault", check.fault);
  object.import("algorithm", check.algorithm);
  object.import("signer", signer.name);
  object.import("issuer", signer.issuer);
  object.import("serial", signer.serial);
  object.import("expiry", signer.expiry);
  object.import("expired", signer.expired);
  return object;
}

void addRow(Table& table, const SignatureVerdict& check) {
  const CertificateDescription signer = describeBase64(check.certificate);
  const auto cell = [](const std::string& text) { return Table::Cell{text.empty() ? "-" : printable(text)}; };
  table.add({{"  " + check.elementName},
             {check.valid ? "valid" : "INVALID", check.valid ? Colour::kGood : Colour::kBad},
             cell(signer.name),
             cell(signer.issuer),
             cell(signer.serial),
             {signer.expiry.empty() ? "-" : signer.expiry + (signer.expired ? " (over now)" : "")},
             cell(shortAlgorithm(check.algorithm))});
}

class Verification {
 public:
  explicit Verification(const VerifyOptions& options) : options_(options) {}

  int run() {
    XMLSigner::getInstance().initialise(XMLSigner::RSA_SHA256);
    for (const std::string& file : options_.files) verify(file);
    if (options_.json) {
      std::cout << jsonxx::Object("files", std::move(results_)).json() << "\n";
    } else {
      std::cout
          << coloured(
                 Colour::kFaint,
                 "Checked against the certificates inside the documents; whether to trust these certificates "
                 "was not checked.")
          << "\n";
    }
    return allValid_ ? kExitFine : kExitProblems;
  }

 private:
  void verify(const std::string& file) {
    try {
      const auto xml = readFile(file);
      if (!xml) return complain(file, "there is no such file");
      report(file, verifySignatures(*xml));
    } catch (const std::system_error& e) {
      complain(file, e.code().message());
    } catch (const BaseException& e) {
      complain(file, printable(e.message()));
    }
  }

  void report(const std::string& file, const std::vector<SignatureVerdict>& checks) {
    Table table;
    table.add({{"  element", Colour::kFaint},
               {"signature", Colour::kFaint},
               {"signer", Colour::kFaint},
               {"issuer", Colour::kFaint},
               {"serial", Colour::kFaint},
               {"expires", Colour::kFaint},
               {"algorithm", Colour::kFaint}});
    std::string faults;
    jsonxx::Array signatures;
    for (const SignatureVerdict& check : checks) {
      addRow(table, check);
      signatures << jsonxx::Value(jsonOf(check));
      if (!check.valid) faults += "  " + check.elementName + ": " + printable(check.fault) + "\n";
      allValid_ = allValid_ && check.valid;
    }
    if (options_.json) {
      jsonxx::Object result("file", file);
      result.import("signatures", std::move(signatures));
      results_ << jsonxx::Value(std::move(result));
    } else {
      std::cout << coloured(Colour::kStrong, printable(file)) << "\n"
                << table.text() << coloured(Colour::kBad, faults) << "\n";
    }
  }

  void complain(const std::string& file, const std::string& message) {
    allValid_ = false;
    if (options_.json) {
      jsonxx::Object result("file", file);
      result.import("error", message);
      results_ << jsonxx::Value(std::move(result));
    } else {
      std::cerr << "vornctl: " << printable(file) << ": " << message << "\n";
    }
  }

  const VerifyOptions& options_;
  jsonxx::Array results_;
  bool allValid_ = true;
};

}  // namespace

int runVerify(const VerifyOptions& options) {
  return Verification(options).run();
}

}  // namespace vorn::vornctl
