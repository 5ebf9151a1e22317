#include <algorithm>
#include <cstdint>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "shared/base/Base64.h"
#include "shared/text/LetterCase.h"
#include "vornctl/base/AtomicFile.h"
#include "vornctl/base/InputFile.h"
#include "vornctl/base/Terminal.h"
#include "vornctl/commands/Commands.h"
#include "vornctl/commands/ErrorWords.h"
#include "vornctl/commands/PromptTerminal.h"
#include "vornctl/doctor/Host.h"
#include "vornctl/doctor/HostConversation.h"
#include "vornctl/identities/CertificateDescription.h"
#include "vornctl/identities/SignerChoice.h"
#include "vornctl/verdict/DocumentWarnings.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

/** A card may take its time, and so may its owner, who may mistype a PIN: the host has bounds of its own. */
constexpr std::chrono::seconds kPatience{1800};

std::string decoded(const std::string& text) {
  const auto bytes = vorn::fromBase64(text);
  if (!bytes) throw HostError("the host's signed document is not base64");
  return std::string(bytes->view());
}

constexpr const char* kStandardOutput = "-";

/** agreement.xml becomes agreement.signed.xml, as in the sample extension. */
std::string signedName(const std::string& file) {
  constexpr std::string_view kEnd = ".xml";
  const std::string stem = file.substr(0, file.size() - std::min(file.size(), kEnd.size()));
  return (asciiLowerCase(file.substr(stem.size())) == kEnd ? stem : file) + ".signed.xml";
}

fs::path outputFor(const SignOptions& options, const std::string& file) {
  std::error_code unreadable;
  const std::string usual = signedName(file);
  if (options.output.empty()) return usual;
  return fs::is_directory(options.output, unreadable) ? fs::path(options.output) / fs::path(usual).filename()
                                                      : fs::path(options.output);
}

// So many bytes of documents, and so many documents, go into one request: with base64 and JSON it is far from
// the host's limit of 10 MiB, and a person who has to type a PIN types it once for most lists of files.
constexpr std::size_t kMostBytes = std::size_t{4} << 20;
constexpr std::size_t kMostDocuments = 100;
// No longer one fits into a request at all.
constexpr std::size_t kMostOfDocument = std::size_t{10} << 20;

/** A file that is to be signed. */
struct Job {
  std::string file;
  std::size_t position; /**< from 1, among all files */
  fs::path output = {};
  std::string document = {};
  std::vector<SignatureWarning> warnings = {};
  std::unique_ptr<PendingFile> pending = {}; /**< none for standard output */
};

/** The documents through one host, as many as a request holds at a time. */
class Batch {
 public:
  explicit Batch(const SignOptions& options)
      : options_(options), host_(options.host.empty() ? installedHost() : fs::absolute(options.host)) {}

  int run() {
    std::vector<Job> jobs;
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < options_.files.size() && !givenUp_; ++i) {
      Job job{options_.files[i], i + 1};
      if (!prepare(job)) continue;
      if (!jobs.empty() && (bytes + job.document.size() > kMostBytes || jobs.size() == kMostDocuments)) {
        sign(std::exchange(jobs, {}));
        bytes = 0;
      }
      bytes += job.document.size();
      jobs.push_back(std::move(job));
    }
    if (!givenUp_ && !jobs.empty()) sign(std::move(jobs));
    const std::size_t left = options_.files.size() - told_;
    if (left > 0) std::cerr << "vornctl: given up, " << left << " more would fail alike\n";
    return hasFailed_ ? kExitProblems : kExitFine;
  }

 private:
  /** Reads the document and makes room for the signed one, before the key is used for nothing. */
  bool prepare(Job& job) {
    job.output = outputFor(options_, job.file);
    NewFile kind{.mayReplace = options_.overwrite};
    try {
      std::error_code unreadable;
      // Asked again when the file is written; but nobody should type a PIN for nothing.
      if (!toStandardOutput_ && !options_.overwrite && fs::exists(job.output, unreadable))
        return complainOfExisting(job);
      job.document = readInput(job.file, kMostOfDocument, &kind.mode.emplace());
    } catch (const InputFault& fault) {
      return complain(job, fault.what());
    }
    job.warnings = warningsOfSigning(job.document, options_.algorithm);
    const auto isSigned = [](const SignatureWarning& warning) {
      return std::string_view(warning.code) == "signed-already";
    };
    if (!options_.overwrite && std::any_of(job.warnings.begin(), job.warnings.end(), isSigned))
      return complain(job, "it is signed already, and a second signature breaks the first; --force signs it");
    try {
      if (!toStandardOutput_) job.pending = std::make_unique<PendingFile>(job.output, kind);
      return true;
    } catch (const std::system_error& e) {
      return complain(job, job.output.string() + " cannot be written: " + e.code().message());
    }
  }

  void sign(std::vector<Job> jobs) {
    try {
      const jsonxx::Object answer = host_.ask(requestFor(jobs), kPatience);
      if (answer.get<jsonxx::String>("result") == "ok") {
        nameSigner(answer);
        const auto& documents = answer.get<jsonxx::Array>("signed_data");
        for (std::size_t i = 0; i < jobs.size(); ++i)
          keep(jobs[i], decoded(documents.get<jsonxx::Object>(i).get<jsonxx::String>("data")));
        return;
      }
      // One document that cannot be signed keeps all of its request from it.
      if (jobs.size() > 1 && !wordsOf(answer).concernsAll) return signEach(std::move(jobs));
      complainOf(jobs.front(), answer);
    } catch (const HostError& e) {
      givenUp_ = true;
      complain(jobs.front(), e.what());
    }
  }

  void signEach(std::vector<Job> jobs) {
    for (Job& job : jobs) {
      if (givenUp_) return;
      std::vector<Job> alone;
      alone.push_back(std::move(job));
      sign(std::move(alone));
    }
  }

  jsonxx::Object requestFor(const std::vector<Job>& jobs) const {
    jsonxx::Array akis;
    for (const std::string& aki : options_.user.akis) akis << jsonxx::Value(aki);
    jsonxx::Object user;
    user.import("name", options_.user.name);
    user.import("email", options_.user.email);
    user.import("abn", options_.user.abn);
    user.import("aki", std::move(akis));
    jsonxx::Array documents;
    for (const Job& job : jobs)
      documents << jsonxx::Value(jsonxx::Object("data", vorn::toBase64(job.document)));
    jsonxx::Object request;
    request.import("type", "sign");
    request.import("reasons", true);
    request.import("signature_algorithm", options_.algorithm);
    request.import("user_details", std::move(user));
    request.import("xml_data", std::move(documents));
    return request;
  }

  void keep(Job& job, const std::string& signedDocument) {
    try {
      if (job.pending)
        job.pending->write(signedDocument);
      else if (!std::cout.write(signedDocument.data(), static_cast<std::streamsize>(signedDocument.size()))
                    .flush()) {
        complain(job, "standard output takes no more");
        return;
      }
    } catch (const std::system_error& e) {
      e.code() == std::errc::file_exists ? complainOfExisting(job) : complain(job, e.code().message());
      return;
    }
    ++told_;
    said_ << progress(job) << coloured(Colour::kGood, "signed") << "  " << printable(job.file) << " -> "
          << printable(toStandardOutput_ ? "standard output" : job.output.string()) << std::endl;
    warn(job);
  }

  std::string progress(const Job& job) const {
    const std::size_t count = options_.files.size();
    return count > 1 ? "[" + std::to_string(job.position) + "/" + std::to_string(count) + "] " : "";
  }

  void nameSigner(const jsonxx::Object& answer) {
    if (std::exchange(signerNamed_, true)) return;
    said_ << "Signing as " << printable(options_.user.name) << ", certificate "
          << printable(answer.get<jsonxx::String>("cert_serial")) << " of "
          << printable(answer.get<jsonxx::String>("cert_issuer")) << ", valid until "
          << printable(answer.get<jsonxx::String>("cert_expiry").substr(0, 10)) << "\n";
    if (const int days = daysUntil(answer.get<jsonxx::String>("cert_expiry")); days < kDaysOfNotice)
      std::cerr << "vornctl: " << coloured(Colour::kWarning, "warning") << ": the certificate expires "
                << inDays(days) << "; renew it in time\n";
  }

  /** The host tells its log alone what verifiers will have against a document that it has signed. */
  void warn(const Job& job) {
    for (const SignatureWarning& warning : job.warnings) {
      std::cerr << "vornctl: " << progress(job) << printable(job.file) << ": "
                << coloured(Colour::kWarning, "warning") << ": " << printable(warning.text) << " ("
                << warning.code << ")\n";
    }
  }

  bool complain(const Job& job, const std::string& message) {
    ++told_;
    hasFailed_ = true;
    std::cerr << "vornctl: " << progress(job) << printable(job.file) << ": " << printable(message) << "\n";
    return false;
  }

  bool complainOfExisting(const Job& job) {
    return complain(job, job.output.string() + " is there already; --force overwrites it");
  }

  static std::uint32_t codeOf(const jsonxx::Object& answer) {
    return answer.has<jsonxx::Number>("error_code")
               ? static_cast<std::uint32_t>(answer.get<jsonxx::Number>("error_code"))
               : 0;
  }

  static std::string textIn(const jsonxx::Object& answer, const char* member) {
    return answer.has<jsonxx::String>(member) ? answer.get<jsonxx::String>(member) : "";
  }

  static const ErrorWords& wordsOf(const jsonxx::Object& answer) {
    return wordsFor(codeOf(answer), textIn(answer, "error_reason"));
  }

  void complainOf(const Job& job, const jsonxx::Object& answer) {
    const ErrorWords& words = wordsOf(answer);
    givenUp_ = words.concernsAll;
    complain(job, std::string(words.cause) + " (" + std::to_string(codeOf(answer)) + ", " +
                      wordsHere(textIn(answer, "error_message")) + "); " + std::string(words.remedy));
  }

  const SignOptions& options_;
  HostConversation host_;
  bool toStandardOutput_ = options_.output == kStandardOutput;
  std::ostream& said_ = toStandardOutput_ ? std::cerr : std::cout;
  std::size_t told_ = 0; /**< files of which the outcome was printed */
  bool hasFailed_ = false;
  bool givenUp_ = false;
  bool signerNamed_ = false;
};

}  // namespace

int runSign(const SignOptions& options) {
  std::error_code unreadable;
  if (options.files.size() > 1 && !options.output.empty() && !fs::is_directory(options.output, unreadable)) {
    std::cerr << "vornctl: --output has to name a folder when there are several files\n";
    return kExitUsage;
  }
  std::map<fs::path, std::string> outputs;
  for (const std::string& file : options.files) {
    const fs::path output = outputFor(options, file).lexically_normal();
    const auto [other, isNew] = outputs.emplace(output, file);
    if (isNew) continue;
    std::cerr << "vornctl: " << printable(other->second) << " and " << printable(file)
              << " would both become " << printable(output.string()) << "; nothing was signed\n";
    return kExitUsage;
  }
  // Before anybody is asked for whom to sign.
  std::string missing;
  const auto isMissing = [&](const std::string& file) {
    if (file == "-" || fs::exists(file, unreadable) || unreadable) return false;
    missing += "vornctl: " + printable(file) + ": there is no such file\n";
    return true;
  };
  const auto count = std::count_if(options.files.begin(), options.files.end(), isMissing);
  if (static_cast<std::size_t>(count) == options.files.size()) {
    std::cerr << missing;
    return kExitProblems;
  }
  SignOptions chosen = options;
  try {
    chosen.user = chooseSigner(options.user, options.serial);
  } catch (const ChoiceError& e) {
    std::cerr << missing << "vornctl: ";
    for (const char* line = e.what(); *line != '\0';) {
      const std::string_view text = std::string_view(line).substr(0, std::string_view(line).find('\n'));
      std::cerr << printable(text) << "\n";
      line += text.size() + (line[text.size()] == '\n' ? 1 : 0);
    }
    return kExitProblems;
  }
  const PromptTerminal terminal;
  return Batch(chosen).run();
}

}  // namespace vorn::vornctl
