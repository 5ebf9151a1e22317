#include <algorithm>
#include <iostream>
#include <map>
#include <optional>
#include <system_error>

#include "shared/Base64.h"
#include "shared/text/LetterCase.h"
#include "vornctl/AtomicFile.h"
#include "vornctl/Commands.h"
#include "vornctl/DocumentWarnings.h"
#include "vornctl/ErrorWords.h"
#include "vornctl/Host.h"
#include "vornctl/HostProcess.h"
#include "vornctl/PromptTerminal.h"
#include "vornctl/SignerChoice.h"
#include "vornctl/Terminal.h"

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

jsonxx::Object requestFor(const SignOptions& options, const std::string& document) {
  jsonxx::Array akis;
  for (const std::string& aki : options.user.akis) akis << jsonxx::Value(aki);
  jsonxx::Object user;
  user.import("name", options.user.name);
  user.import("email", options.user.email);
  user.import("abn", options.user.abn);
  user.import("aki", std::move(akis));
  jsonxx::Object request;
  request.import("type", "sign");
  request.import("signature_algorithm", options.algorithm);
  request.import("user_details", std::move(user));
  request.import("xml_data", jsonxx::Array(jsonxx::Object("data", vorn::toBase64(document))));
  return request;
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

/** The documents one after another through one host. */
class Batch {
 public:
  explicit Batch(const SignOptions& options)
      : options_(options), host_(options.host.empty() ? installedHost() : fs::absolute(options.host)) {}

  int run() {
    for (const std::string& file : options_.files) {
      ++position_;
      if (!sign(file)) ++failed_;
      if (givenUp_) break;
    }
    const std::size_t left = options_.files.size() - position_;
    if (left > 0) std::cerr << "vornctl: given up, " << left << " more would fail alike\n";
    return failed_ > 0 ? kExitProblems : kExitFine;
  }

 private:
  bool sign(const std::string& file) {
    const fs::path output = outputFor(options_, file);
    std::error_code unreadable;
    // Asked again when the file is written; but nobody should type a PIN for nothing.
    if (!toStandardOutput_ && !options_.overwrite && fs::exists(output, unreadable))
      return complainOfExisting(file, output);
    try {
      NewFile kind{.mayReplace = options_.overwrite};
      const auto document = readFile(file, &kind.mode.emplace());
      if (!document) return complain(file, "there is no such file");
      std::optional<PendingFile> pending;
      if (!toStandardOutput_ && !open(pending, file, output, kind)) return false;
      const jsonxx::Object answer = host_.ask(requestFor(options_, *document), kPatience);
      if (answer.get<jsonxx::String>("result") != "ok") return complainOf(file, answer);
      const std::string signedDocument = decoded(
          answer.get<jsonxx::Array>("signed_data").get<jsonxx::Object>(0).get<jsonxx::String>("data"));
      if (pending)
        pending->write(signedDocument);
      else if (!std::cout.write(signedDocument.data(), static_cast<std::streamsize>(signedDocument.size()))
                    .flush())
        return complain(file, "standard output takes no more");
      report(file, output, answer);
      warn(file, *document);
      return true;
    } catch (const std::system_error& e) {
      if (e.code() == std::errc::file_exists) return complainOfExisting(file, output);
      return complain(file, e.code().message());
    } catch (const HostError& e) {
      givenUp_ = true;
      return complain(file, e.what());
    }
  }

  /** Before the key is used for nothing. */
  bool open(std::optional<PendingFile>& pending, const std::string& file, const fs::path& output,
            const NewFile& kind) {
    try {
      pending.emplace(output, kind);
      return true;
    } catch (const std::system_error& e) {
      return complain(file, output.string() + " cannot be written: " + e.code().message());
    }
  }

  std::string progress() const {
    const std::size_t count = options_.files.size();
    return count > 1 ? "[" + std::to_string(position_) + "/" + std::to_string(count) + "] " : "";
  }

  void report(const std::string& file, const fs::path& output, const jsonxx::Object& answer) {
    if (!signerNamed_) {
      said_ << "Signing as " << printable(options_.user.name) << ", certificate "
            << printable(answer.get<jsonxx::String>("cert_serial")) << " of "
            << printable(answer.get<jsonxx::String>("cert_issuer")) << ", valid until "
            << printable(answer.get<jsonxx::String>("cert_expiry").substr(0, 10)) << "\n";
      signerNamed_ = true;
    }
    said_ << progress() << coloured(Colour::kGood, "signed") << "  " << printable(file) << " -> "
          << printable(toStandardOutput_ ? "standard output" : output.string()) << std::endl;
  }

  /** The host tells its log alone what verifiers will have against a document that it has signed. */
  void warn(const std::string& file, const std::string& document) {
    for (const SignatureWarning& warning : warningsOfSigning(document, options_.algorithm)) {
      std::cerr << "vornctl: " << progress() << printable(file) << ": "
                << coloured(Colour::kWarning, "warning") << ": " << printable(warning.text) << " ("
                << warning.code << ")\n";
    }
  }

  bool complain(const std::string& file, const std::string& message) {
    std::cerr << "vornctl: " << progress() << printable(file) << ": " << printable(message) << "\n";
    return false;
  }

  bool complainOfExisting(const std::string& file, const fs::path& output) {
    return complain(file, output.string() + " is there already; --force overwrites it");
  }

  bool complainOf(const std::string& file, const jsonxx::Object& answer) {
    const auto code = answer.has<jsonxx::Number>("error_code")
                          ? static_cast<std::uint32_t>(answer.get<jsonxx::Number>("error_code"))
                          : 0;
    const ErrorWords& words = wordsFor(code);
    givenUp_ = words.concernsAll;
    const std::string detail =
        answer.has<jsonxx::String>("error_message") ? answer.get<jsonxx::String>("error_message") : "";
    return complain(file, std::string(words.cause) + " (" + std::to_string(code) + ", " + wordsHere(detail) +
                              "); " + std::string(words.remedy));
  }

  const SignOptions& options_;
  HostProcess host_;
  bool toStandardOutput_ = options_.output == kStandardOutput;
  std::ostream& said_ = toStandardOutput_ ? std::cerr : std::cout;
  std::size_t position_ = 0;
  std::size_t failed_ = 0;
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
  SignOptions chosen = options;
  try {
    chosen.user = chooseSigner(options.user, options.serial);
  } catch (const ChoiceError& e) {
    std::cerr << "vornctl: ";
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
