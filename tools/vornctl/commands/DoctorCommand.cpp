#include <algorithm>
#include <iostream>
#include <system_error>

#include "shared/json/jsonxx.h"
#include "vornctl/base/Terminal.h"
#include "vornctl/browsers/ExtensionIds.h"
#include "vornctl/commands/Commands.h"
#include "vornctl/doctor/Doctor.h"
#include "vornctl/doctor/Host.h"

namespace vorn::vornctl {
namespace {

struct Appearance {
  const char* word;
  Colour colour;
};

Appearance appearanceOf(Severity severity) {
  switch (severity) {
    case Severity::kFine:
      return {"ok", Colour::kGood};
    case Severity::kNote:
      return {"note", Colour::kWarning};
    case Severity::kProblem:
      return {"problem", Colour::kBad};
  }
  return {"", Colour::kPlain};
}

jsonxx::Array arrayOf(const std::vector<std::string>& texts) {
  jsonxx::Array array;
  for (const std::string& text : texts) array << jsonxx::Value(text);
  return array;
}

jsonxx::Object jsonOf(const Finding& finding) {
  jsonxx::Object object;
  object.import("severity", appearanceOf(finding.severity).word);
  object.import("code", finding.code.text());
  object.import("subjects", arrayOf(finding.subjects));
  object.import("files", arrayOf(finding.files));
  if (!finding.extensions.empty()) object.import("extensions", arrayOf(finding.extensions));
  object.import(finding.severity == Severity::kFine ? "found" : "cause", finding.cause);
  if (!finding.remedy.empty()) object.import("remedy", finding.remedy);
  return object;
}

void print(const Finding& finding) {
  constexpr std::size_t kWordWidth = 9;
  const Appearance appearance = appearanceOf(finding.severity);
  const std::string word = appearance.word;
  const std::string indent(kWordWidth, ' ');
  std::string subjects;
  for (const std::string& subject : finding.subjects) subjects += (subjects.empty() ? "" : ", ") + subject;
  std::cout << coloured(appearance.colour, word) << std::string(kWordWidth - word.size(), ' ')
            << coloured(Colour::kStrong, subjects) << ": " << printable(finding.cause) << "\n";
  for (const std::string& file : finding.files)
    std::cout << indent << coloured(Colour::kFaint, printable(file)) << "\n";
  if (!finding.remedy.empty()) std::cout << indent << "-> " << printable(finding.remedy) << "\n";
}

}  // namespace

int runDoctor(const DoctorOptions& options) {
  const Places places = Places::ofUser(buildSystem(), options.root);
  ExtensionIds wanted;
  std::string badFile;
  try {
    wanted = options.extensionIds.empty() ? configuredExtensionIds(places)
                                          : readExtensionIds(options.extensionIds);
  } catch (const BadExtensionId& e) {
    if (!options.extensionIds.empty()) {
      std::cerr << "vornctl: " << printable(e.what()) << "\n";
      return kExitUsage;
    }
    badFile = e.what();
  } catch (const std::system_error& e) {
    badFile = e.what();
  }
  std::vector<Finding> findings = examine(places, installedHost(), wanted);
  if (!badFile.empty())
    findings.push_back({Severity::kProblem,
                        code::kConfiguredIdsBad,
                        {"extensions"},
                        badFile,
                        "have the administrator correct the file: one id in a line, \"#\" before remarks, "
                        "readable for all"});
  const auto problems = std::count_if(findings.begin(), findings.end(), [](const Finding& finding) {
    return finding.severity == Severity::kProblem;
  });
  if (options.json) {
    jsonxx::Array array;
    for (const Finding& finding : findings) array << jsonxx::Value(jsonOf(finding));
    jsonxx::Object report("findings", std::move(array));
    report.import("problems", problems);
    std::cout << printableJson(report.json()) << "\n";
  } else {
    for (const Finding& finding : findings) print(finding);
    std::cout << (problems == 0 ? "\nNo problem was found.\n"
                                : "\nProblems: " + std::to_string(problems) + "\n");
    const bool anyRegistered =
        std::any_of(findings.begin(), findings.end(), [](const Finding& f) { return !f.extensions.empty(); });
    if (wanted.empty() && anyRegistered)
      std::cout << "Your extension has to be among those that may sign: --extension-id ID compares it.\n";
  }
  return problems == 0 ? kExitFine : kExitProblems;
}

}  // namespace vorn::vornctl
