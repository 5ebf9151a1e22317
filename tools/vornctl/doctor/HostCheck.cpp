#include "vornctl/doctor/Checks.h"

#include "shared/base/Exceptions.h"
#include "shared/base/Platform.h"
#include "shared/base/Version.h"
#include "vornctl/doctor/HostConversation.h"
#include "vornctl/doctor/StandInHome.h"

namespace vorn::vornctl {
namespace {

std::string textOf(const jsonxx::Object& answer, const char* member) {
  return answer.has<jsonxx::String>(member) ? answer.get<jsonxx::String>(member) : "";
}

/** A user whom nobody has: the host answers that there is none once it has looked. */
jsonxx::Object requestForNobody() {
  jsonxx::Object user;
  user.import("name", "vornctl doctor");
  user.import("email", "nobody@invalid");
  user.import("abn", "0");
  user.import("aki", jsonxx::Array(jsonxx::Value("00")));
  jsonxx::Object request("type", "version");
  request.import("user_details", std::move(user));
  return request;
}

}  // namespace

std::vector<Finding> checkHost(const HostStart& start, bool searches, std::chrono::milliseconds patience) {
  const std::string host = start.host.string();
  const auto problem = [&host](Code code, const std::string& cause, const std::string& remedy) {
    return Finding{Severity::kProblem, code, {"host"}, cause, remedy, {host}};
  };
  std::vector<Finding> findings;
  const StandInHome home(platform::homeFolder());
  try {
    HostConversation process(start.host, start.arguments, home.environment());
    const jsonxx::Object answer = process.ask(jsonxx::Object("type", "version"), patience);
    const std::string version = textOf(answer, "version");
    findings.push_back(
        {Severity::kFine, code::kHostAnswers, {"host"}, "answers, version " + version, "", {host}});
    if (version != version::kFull) {
      findings.push_back({Severity::kNote,
                          code::kHostVersion,
                          {"host"},
                          "the host has version " + version + ", this program " + version::kFull,
                          "install both from one package",
                          {host}});
    }
    if (!searches) return findings;
    const jsonxx::Object search = process.ask(requestForNobody(), 2 * patience);
    const bool searched = search.has<jsonxx::Number>("error_code") &&
                          search.get<jsonxx::Number>("error_code") == CertificateNotFoundException::kCode;
    if (!searched) {
      findings.push_back(problem(
          code::kHostSearchFailed,
          "the host cannot search for certificates: " + home.withoutTrace(textOf(search, "error_message")),
          "install the host again; vorn-signing.log in your home folder may tell more"));
    }
  } catch (const HostError& e) {
    findings.push_back(problem(code::kHostSilent, home.withoutTrace(e.what()), "install the host again"));
  }
  return findings;
}

}  // namespace vorn::vornctl
