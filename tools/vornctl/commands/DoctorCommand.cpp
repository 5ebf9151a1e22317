#include <algorithm>
#include <iostream>
#include <memory>
#include <system_error>
#include <utility>

#include "vornctl/base/Terminal.h"
#include "vornctl/commands/Commands.h"
#include "vornctl/doctor/Doctor.h"
#include "vornctl/doctor/Host.h"

namespace vorn::vornctl {
namespace {

struct DoctorOptions {
  bool json = false;
  std::vector<std::string> extensionIds = {};
  std::string root = "/"; /**< of browsers and manifests; the host is started where it really is */
};

/** The word and the colour of each severity. */
constexpr std::pair<const char*, Colour> kAppearances[] = {
    {"ok", Colour::kGood}, {"note", Colour::kWarning}, {"problem", Colour::kBad}};

const auto& appearanceOf(Severity severity) {
  return kAppearances[static_cast<std::size_t>(severity)];
}

jsonxx::Object jsonOf(const Finding& finding) {
  jsonxx::Object object =
      objectOf({{"severity", appearanceOf(finding.severity).first},
                {"code", finding.code.text()},
                {"subjects", arrayOf(finding.subjects)},
                {"files", arrayOf(finding.files)},
                {finding.severity == Severity::kFine ? "found" : "cause", finding.cause}});
  if (!finding.extensions.empty()) object.import("extensions", arrayOf(finding.extensions));
  if (!finding.remedy.empty()) object.import("remedy", finding.remedy);
  return object;
}

void print(const Finding& finding) {
  constexpr std::size_t kWordWidth = 9;
  const auto& [name, colour] = appearanceOf(finding.severity);
  const std::string word = name;
  const std::string indent(kWordWidth, ' ');
  std::cout << coloured(colour, word) << std::string(kWordWidth - word.size(), ' ')
            << coloured(Colour::kStrong, listed(finding.subjects)) << ": " << printable(finding.cause)
            << "\n";
  for (const std::string& file : finding.files)
    std::cout << indent << coloured(Colour::kFaint, printable(file)) << "\n";
  if (!finding.remedy.empty()) std::cout << indent << "-> " << printable(finding.remedy) << "\n";
}

int run(const DoctorOptions& options) {
  const Places places = Places::ofUser(buildSystem(), options.root);
  ExtensionIds wanted;
  std::string badFile;
  try {
    wanted = options.extensionIds.empty() ? configuredExtensionIds(places)
                                          : readExtensionIds(options.extensionIds);
  } catch (const BadExtensionId& e) {
    if (!options.extensionIds.empty()) return fail(kExitUsage, e.what());
    badFile = e.what();
  } catch (const std::system_error& e) {
    badFile = e.what();
  }
  std::vector<Finding> findings = examine(places, installedHost(), wanted);
  if (!badFile.empty())
    findings.push_back({{code::kConfiguredIdsBad, badFile,
                         "have the administrator correct the file: one id in a line, \"#\" before remarks, "
                         "readable for all"},
                        Severity::kProblem,
                        {"extensions"}});
  const auto problems = std::count_if(findings.begin(), findings.end(), [](const Finding& finding) {
    return finding.severity == Severity::kProblem;
  });
  if (options.json) {
    const jsonxx::Object report =
        objectOf({{"findings", arrayOf(findings, &jsonOf)}, {"problems", problems}});
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

}  // namespace

Command doctorCommand() {
  const auto options = std::make_shared<DoctorOptions>();
  return {"doctor",
          "Look for what keeps pages from signing, and say what to do",
          "vornctl doctor -e abcdefghijklmnopabcdefghijklmnop",
          {{"--json", "", "Answer in JSON", &options->json},
           {"-e,--extension-id", "ID", "An extension that is to start the host (repeatable)",
            &options->extensionIds},
           {"--root", "FOLDER", "Folder that stands for / where browsers and manifests are looked for",
            &options->root}},
          [options] { return run(*options); }};
}

}  // namespace vorn::vornctl
