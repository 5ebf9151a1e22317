#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <system_error>
#include <utility>
#include <vector>

#include "shared/base/Base64.h"
#include "shared/base/SignatureAlgorithm.h"
#include "shared/text/LetterCase.h"
#include "vornctl/base/AtomicFile.h"
#include "vornctl/base/InputFile.h"
#include "vornctl/base/Terminal.h"
#include "vornctl/commands/Commands.h"
#include "vornctl/doctor/Host.h"
#include "vornctl/verdict/DocumentVerdict.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

struct SignOptions {
  std::vector<std::string> files = {};
  User user = {};          /**< what is left open is taken from the only identity that fits */
  std::string serial = {}; /**< of the identity to sign with; empty for the only one that fits */
  std::string algorithm = "RSA_SHA256";
  std::string output = {}; /**< a file or, for several documents, a folder; "-" for standard output, empty for
                              NAME.signed.xml */
  std::string host = {};
  bool overwrite = false;
};

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

int terminal = -1;
termios before{};

void restoreTerminal() {
  if (terminal >= 0) tcsetattr(terminal, TCSANOW, &before);
}

extern "C" void restoreAndEnd(int signal) {
  restoreTerminal();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

/** The terminal that vornctl runs in, if any, lent to a prompt for a PIN that the host may start: GPG_TTY
 * names it to the programs that are started from here on. When the object goes, and when a signal ends the
 * process, the terminal is as it was: a prompt that is killed leaves it without echo. */
class PromptTerminal {
 public:
  PromptTerminal() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
      const char* const name = ttyname(descriptor);
      if (name == nullptr || tcgetattr(descriptor, &before) != 0) continue;
      setenv("GPG_TTY", name, 1);
      terminal = descriptor;
      for (const int signal : kEndingSignals)
        if (std::signal(signal, &restoreAndEnd) == SIG_IGN) std::signal(signal, SIG_IGN);
      return;
    }
  }
  ~PromptTerminal() {
    if (terminal < 0) return;
    restoreTerminal();
    terminal = -1;
    for (const int signal : kEndingSignals) std::signal(signal, SIG_DFL);
  }
  PromptTerminal(const PromptTerminal&) = delete;
  PromptTerminal& operator=(const PromptTerminal&) = delete;
};

/** A card may take its time, and so may its owner, who may mistype a PIN: the host has bounds of its own. */
constexpr std::chrono::seconds kPatience{1800};

std::string decoded(const std::string& text) {
  const auto bytes = fromBase64(text);
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
      if (jobs.size() > 1 && !wordsFor(answer).concernsAll) return signEach(std::move(jobs));
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
    const auto documentOf = [](const Job& job) { return jsonxx::Object("data", toBase64(job.document)); };
    jsonxx::Object request = objectOf({{"type", "sign"},
                                       {"reasons", true},
                                       {"signature_algorithm", options_.algorithm},
                                       {"user_details", detailsOf(options_.user)}});
    request.import("xml_data", arrayOf(jobs, documentOf));
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

  void complainOf(const Job& job, const jsonxx::Object& answer) {
    const ErrorWords& words = wordsFor(answer);
    givenUp_ = words.concernsAll;
    complain(job, std::string(words.cause) + " (" + std::to_string(codeIn(answer)) + ", " +
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

int run(SignOptions options) {
  std::error_code unreadable;
  if (options.files.size() > 1 && !options.output.empty() && !fs::is_directory(options.output, unreadable))
    return fail(kExitUsage, "--output has to name a folder when there are several files");
  std::map<fs::path, std::string> outputs;
  for (const std::string& file : options.files) {
    const fs::path output = outputFor(options, file).lexically_normal();
    const auto [other, isNew] = outputs.emplace(output, file);
    if (!isNew)
      return fail(kExitUsage, other->second + " and " + file + " would both become " + output.string() +
                                  "; nothing was signed");
  }
  // Before anybody is asked for whom to sign.
  std::vector<std::string> missing;
  const auto isMissing = [&](const std::string& file) {
    return file != kStandardOutput && !fs::exists(file, unreadable) && !unreadable;
  };
  std::copy_if(options.files.begin(), options.files.end(), std::back_inserter(missing), isMissing);
  const auto tellMissing = [&missing] {
    for (const std::string& file : missing) fail(kExitProblems, file + ": there is no such file");
    return kExitProblems;
  };
  if (missing.size() == options.files.size()) return tellMissing();
  try {
    options.user = chooseSigner(options.user, options.serial);
  } catch (const ChoiceError& e) {
    tellMissing();
    std::cerr << "vornctl: ";
    std::istringstream lines(e.what());
    for (std::string line; std::getline(lines, line);) std::cerr << printable(line) << "\n";
    return kExitProblems;
  }
  const PromptTerminal lent;
  return Batch(options).run();
}

std::vector<std::string> algorithmNames() {
  std::vector<std::string> names;
  for (const NamedAlgorithm& known : kSignatureAlgorithms) names.emplace_back(known.name);
  return names;
}

}  // namespace

Command signCommand() {
  const auto options = std::make_shared<SignOptions>();
  Command command = {"sign",
                     "Sign documents through the host",
                     "vornctl sign agreement.xml\nvornctl sign -o signed/ *.xml",
                     {argument("FILE", "The documents", &options->files)},
                     [options] { return run(*options); }};
  addUserOptions(command.options, options->user);
  command.options.insert(
      command.options.end(),
      {{"--serial", "NUMBER", "Serial number of the certificate to sign with", &options->serial},
       {"--algorithm", "NAME",
        listed(algorithmNames()) + "; " + options->algorithm + " unless told otherwise", &options->algorithm,
        kGeneral, algorithmNames()},
       {"-o,--output", "PATH", "Where to write: a file, a folder (NAME.signed.xml), or - for standard output",
        &options->output},
       {"-f,--force", "", "Overwrite files that are there, and sign what is signed already once more",
        &options->overwrite},
       {"--host", "PROGRAM", "The host's program file", &options->host}});
  return command;
}

}  // namespace vorn::vornctl
