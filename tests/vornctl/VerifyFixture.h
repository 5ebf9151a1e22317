#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "e2e/Messages.h"
#include "vornctl/Program.h"

namespace vorn::vornctl {

namespace fs = std::filesystem;

/** A home in which documents are signed; authority.pem in it is who issued Jane's certificate. */
class Verify : public testing::Test {
 protected:
  Verify() {
    for (const std::string kind : {".pem", ".key"}) {
      fs::copy(e2e::preparedHomes() / ("main/certificates/Test Authority" + kind),
               home_.path() / ("authority" + kind));
    }
  }

  std::string sign(const std::string& xml, const std::string& name = "Jane Citizen",
                   const std::string& authority = "main") const {
    write(xml);
    const Result result =
        run(home_, "$vornctl sign -f t.xml -o s.xml --name \"" + name +
                       "\" --email jane@example.com --abn 12345678901 --aki " + e2e::akiOf(authority));
    EXPECT_EQ(result.status, 0) << result.output;
    return e2e::readFile(home_.path() / "s.xml");
  }

  void write(const std::string& xml) const { e2e::writeFile(home_.path() / "t.xml", xml); }

  /** What the program says of the files, told how to run by variables of the environment. */
  nlohmann::json verify(const std::string& options, const std::string& environment = "") const {
    const Result result = run(home_, environment + " timeout 60 $vornctl verify --json " + options);
    auto answer = nlohmann::json::parse(result.output, nullptr, false);
    if (answer.is_discarded()) throw std::runtime_error(result.output);
    const std::string verdict = answer["verdict"];
    EXPECT_EQ(result.status, verdict == "passed" ? 0 : (verdict == "failed" ? 1 : 3)) << result.output;
    return answer["files"];
  }

  /** The verdicts of the documents, with the codes of their reasons. */
  std::vector<std::string> verdictsOf(const std::vector<std::string>& documents) const {
    std::string names;
    for (std::size_t i = 0; i < documents.size(); ++i) {
      names += " " + std::to_string(i) + ".xml";
      e2e::writeFile(home_.path() / (std::to_string(i) + ".xml"), documents[i]);
    }
    std::vector<std::string> verdicts;
    for (const auto& file : verify("--trusted authority.pem" + names)) verdicts.push_back(textOf(file));
    return verdicts;
  }

  /** The verdict and the codes of its reasons, each once. */
  static std::string textOf(const nlohmann::json& file) {
    std::string text = file["verdict"];
    for (const auto& reason : file["reasons"]) {
      const std::string code = reason["code"];
      if (text.find(code) == std::string::npos) text += " " + code;
    }
    return text;
  }

  const e2e::Home home_{"main"};
};

}  // namespace vorn::vornctl
