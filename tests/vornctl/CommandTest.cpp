#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <regex>
#include <set>
#include <system_error>

#include "e2e/Messages.h"
#include "vornctl/Program.h"
#include "vornctl/base/AtomicFile.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

std::string user(const std::string& name, const std::string& authority = "main",
                 const std::string& email = "JANE@example.com", const std::string& abn = "12345678901") {
  return "--name \"" + name + "\" --email " + email + " --abn " + abn + " --aki " + e2e::akiOf(authority);
}

void expectSays(const Result& result, int status, const std::string& text) {
  EXPECT_EQ(result.status, status) << result.output;
  EXPECT_NE(result.output.find(text), std::string::npos) << result.output;
}

TEST(Identities, SayWhyEachWouldSignOrNot) {
  const e2e::Home home("main");
  const struct {
    std::string user;
    std::string name;
    std::string serial; /**< empty for any */
    std::string reason; /**< code and cause of the only one; empty for the one that signs */
  } rows[] = {
      {user("Jane Citizen"), "Jane Citizen", "", ""},
      {user("Jane Citizen", "main", "jane@example.com", "\"12 345 678 901\""), "Jane Citizen", "", ""},
      {user("jane citizen"), "Jane Citizen", "", "name: its name is \"Jane Citizen\", not \"jane citizen\""},
      {user("Jane Citizen", "main", "jane@example.com", "12345678902"), "Jane Citizen", "",
       "abn: its ABN is 12345678901, not 12345678902"},
      {user("Jane Citizen", "main", "bob@example.com"), "Jane Citizen", "",
       "email: its e-mail address is Jane@Example.com, not bob@example.com"},
      {user("Jane Citizen", "zoe"), "Jane Citizen", "",
       "aki: its authority key identifier (AKI) is " + e2e::akiOf("main")},
      {user("Zoë Müller"), "Zoë Müller", "",
       "aki: its authority key identifier (AKI) is " + e2e::akiOf("zoe")},
      {user("Max Several"), "Max Several", "2", "another-preferred: it matches, but"},
      {user("Max Several"), "Max Several", "3", ""},
      {user("Max Several"), "Max Several", "4", "key-usage: its key usage"},
      {user("No ABN"), "No ABN", "", "abn: it has no ABN"},
      {user("No AKI"), "No AKI", "", "aki: it has no authority key identifier"},
      {user("No Usage"), "No Usage", "", "key-usage: its"},
  };
  for (const auto& row : rows) {
    const Result result = run(home, "$vornctl identities --json " + row.user);
    const auto identities = nlohmann::json::parse(result.output)["identities"];
    unsigned seen = 0;
    for (const auto& identity : identities) {
      if (identity["name"] != row.name || (!row.serial.empty() && identity["serial"] != row.serial)) continue;
      ++seen;
      EXPECT_EQ(identity["signs"], row.reason.empty()) << row.user;
      ASSERT_EQ(identity["reasons"].size(), row.reason.empty() ? 0U : 1U) << identity;
      if (row.reason.empty()) continue;
      const auto& reason = identity["reasons"][0];
      EXPECT_EQ((std::string(reason["code"]) + ": " + std::string(reason["cause"])).find(row.reason), 0U)
          << reason;
      EXPECT_FALSE(std::string(reason["remedy"]).empty());
    }
    EXPECT_EQ(seen, 1U) << row.user;
  }
}

TEST(Identities, ConcludeWithTheNearest) {
  const e2e::Home home("main");
  expectSays(run(home, "$vornctl identities " + user("Zoë Müller")), 1,
             "The host would sign with none of them. Nearest is Zoë Müller, serial 127:\nits authority key "
             "identifier");
  expectSays(run(home, "$vornctl identities " + user("Nobody")), 1, "None has the name \"Nobody\"");
  expectSays(run(home, "$vornctl identities " + user("Late Larry")), 1,
             "it has expired on 2011-02-03\n-> renew");
  expectSays(run(e2e::Home(), "$vornctl identities"), 1, "No key store and no card holds");
  EXPECT_EQ(run(home, "$vornctl identities").output.find('\x1b'), std::string::npos)
      << "colours without a terminal";
}

/** A file that appears after the first look. */
TEST(SignAndVerify, OverwritesNothingAndKeepsTheMode) {
  const e2e::Home home("main");
  const fs::path file = home.path() / "there";
  for (const bool link : {false, true}) {
    fs::remove(file);
    link ? fs::create_symlink("nowhere", file) : e2e::writeFile(file, "old");
    EXPECT_THROW(writeFileAtomically(file, "new", {.mayReplace = false}), std::system_error);
    EXPECT_EQ(e2e::readFile(file), link ? "" : "old");
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(home.path()), fs::directory_iterator()), 3)
      << "a temporary file is left";

  const std::string name = "a\x1b[2J\u202e\u009b\n.xml";
  e2e::writeFile(home.path() / name, e2e::agreement());
  fs::permissions(home.path() / name, fs::perms(0600));
  expectSays(run(home, "umask 0; $vornctl sign *.xml " + user("Jane Citizen")), 0,
             "signed  a\\x1b[2J\\u202e\\u009b\\x0a.xml -> ");
  EXPECT_EQ(fs::status(home.path() / "a\x1b[2J\u202e\u009b\n.signed.xml").permissions(), fs::perms(0600));
}

TEST(SignAndVerify, RoundTripForEveryAlgorithm) {
  const e2e::Home home("main");
  e2e::writeFile(home.path() / "a.xml", e2e::agreement());
  for (const std::string algorithm : {"sha1", "sha256", "sha512"}) {
    std::string option = "RSA_" + algorithm;
    for (char& letter : option) letter = static_cast<char>(std::toupper(letter));
    expectSays(run(home, "$vornctl sign -f a.xml --algorithm " + option + " " + user("Jane Citizen")), 0,
               algorithm == "sha1"
                   ? "vornctl: a.xml: warning: RSA_SHA1 is weak: the JDK and others refuse it (sha1)"
                   : "signed  a.xml -> a.signed.xml");
    const std::string xml = e2e::readFile(home.path() / "a.signed.xml");
    EXPECT_TRUE(e2e::verifies(home, xml, "CounterpartData"));
    const auto verdict = runForJson(home, "verify --json --no-chain a.signed.xml", 3)["files"][0];
    EXPECT_EQ(verdict["signer"]["claims_to_be"], "Jane Citizen");
    EXPECT_EQ(verdict["signer"]["issuer"], "Test Authority");
    EXPECT_EQ(verdict["signer"]["serial"], std::to_string(0x1AA677FE20B7682E));
    ASSERT_EQ(verdict["parts"].size(), 2U);
    for (const auto& part : verdict["parts"]) {
      EXPECT_EQ(part["intact"], true);
      EXPECT_NE(std::string(part["algorithm"]).find("rsa-" + algorithm), std::string::npos);
    }
  }
}

TEST(SignAndVerify, SignerIsTheOnlyOneThatFits) {
  const e2e::Home home("main");
  e2e::writeFile(home.path() / "a.xml", e2e::agreement());
  std::string colons = e2e::akiOf("zoe");
  for (std::size_t at = 2; at < colons.size(); at += 3) colons.insert(at, ":");
  const struct {
    std::string options;
    int status;
    std::string says;
  } rows[] = {
      {"--name \"Jane Citizen\"", 0, "Signing as Jane Citizen"},
      {"--aki " + colons, 0, "Signing as Zoë Müller"},
      {"--serial 1AA677FE:20b7682e", 0, "Signing as Jane Citizen"},
      {"--serial 1920354224474384430 --abn 12345678901", 0, "Signing as Jane Citizen"},
      {"--abn \"12 345 678 901\" --name \"Jane Citizen\"", 0, "Signing as Jane Citizen"},
      {"--serial 3", 0, "Signing as Max Several"},
      {"--serial 2", 1, "another identity of the same user goes before serial 2"},
      {"--serial 4", 1, "serial 4: its key usage does not include"},
      {"", 1, "several identities fit; choose one with --serial"},
      {"--name \"No ABN\"", 1, "it has no ABN"},
  };
  for (const auto& row : rows)
    expectSays(run(home, "$vornctl sign -f a.xml " + row.options), row.status, row.says);
}

TEST(SignAndVerify, SignRefusesAndGoesOn) {
  const e2e::Home home("main");
  for (const char* name : {"a.xml", "b.xml"}) e2e::writeFile(home.path() / name, e2e::agreement());
  e2e::writeFile(home.path() / "bad.xml", "<a>");
  e2e::writeFile(home.path() / "odd.xml", "<a/>");
  e2e::writeFile(home.path() / "b.signed.xml", "precious");
  fs::create_directories(home.path() / "out");

  const Result several =
      run(home, "$vornctl sign a.xml bad.xml b.xml none.xml odd.xml " + user("Jane Citizen"));
  expectSays(several, 1, "[1/5] signed  a.xml");
  for (const char* text :
       {"[2/5] bad.xml: the document is not well-formed XML (103, ",
        "[5/5] odd.xml: the document is not of the kind that can be signed (104, ",
        "[3/5] b.xml: b.signed.xml is there already; --force", "none.xml: there is no such file"})
    EXPECT_NE(several.output.find(text), std::string::npos) << several.output;
  EXPECT_EQ(e2e::readFile(home.path() / "b.signed.xml"), "precious");

  expectSays(run(home, "$vornctl sign a.xml b.xml -o out " + user("Jane Citizen")), 0, "out/b.signed.xml");
  expectSays(run(home, "$vornctl sign a.xml b.xml -o one.xml " + user("Jane Citizen")), 2,
             "has to name a folder");
  expectSays(run(home, "$vornctl sign -o one.xml a.xml b.xml " + user("Nobody")), 2, "folder");
  expectSays(run(home, "$vornctl sign -f a.xml out/../a.xml -o out " + user("Jane Citizen")), 2,
             "would both become out/a.signed.xml; nothing was signed");
  expectSays(run(home, "$vornctl sign -f a.xml ./a.xml " + user("Jane Citizen")), 2,
             "both become a.signed.xml");
  expectSays(
      run(home, "mkfifo p; truncate -s 11M long; $vornctl sign p /dev/zero long " + user("Jane Citizen")), 1,
      "p: this is not a file but a folder, device or pipe\n"
      "vornctl: [2/3] /dev/zero: this is not a file but a folder, device or pipe\n"
      "vornctl: [3/3] long: the file is too long\n");
  expectSays(run(home, "rm vorn-signing.log; $vornctl sign a.xml -o none/a.xml " + user("Jane Citizen")), 1,
             "none/a.xml cannot be written");
  EXPECT_EQ(e2e::readFile(home.path() / "vorn-signing.log").find("Signature"), std::string::npos)
      << "the key was used for nothing";
  expectSays(run(home, "$vornctl sign a.xml -o - 2>said >c.xml " + user("Jane Citizen") +
                           " && $vornctl verify --no-chain c.xml"),
             3, "c.xml");
  expectSays(run(home, "$vornctl sign c.xml " + user("Jane Citizen")), 1, "c.xml: it is signed already");
  expectSays(run(home, "$vornctl sign none.xml"), 1, "none.xml: there is no such file");
  expectSays(run(home, "$vornctl identities --for-page --name \"Jane Citizen\""), 0,
             "{\"name\":\"Jane Citizen\",\"email\":\"Jane@Example.com\",\"abn\":\"12345678901\",\"aki\":[\"" +
                 e2e::akiOf("main") + "\"]}\n");
  expectSays(run(home, "$vornctl identities --for-page"), 1, "it is not clear who would sign");
  expectSays(run(home, "$vornctl identities --for-page --name \"Late Larry\""), 1,
             "none of the certificates that are here would sign:\n"
             "  Late Larry, jane@example.com, ABN 12345678901: it has expired on 2011-02-03\n    -> renew");
  expectSays(
      run(e2e::Home("locked"), "echo \"<a><CounterpartData/><RenderedData/></a>\" >a; $vornctl sign a"), 1,
      "a: nobody could be asked for a PIN or a confirmation, or nobody answered in time (105, ");
  expectSays(run(home, "$vornctl help sign --x"), 2, "the name of one command alone");
  expectSays(run(home, "$vornctl register -n -e a@b --user-data-dir \"\""), 2, "no folder is named");
  expectSays(run(home, "$vornctl register -n -e a@b --user-data-dir x --system"), 2, "--system excludes");
  expectSays(run(home, "$vornctl help sign"), 0, "vornctl sign agreement.xml");
  expectSays(run(home, "$vornctl regster"), 2, "did you mean \"register\"?");
  expectSays(run(home, "$vornctl --verison"), 2, "did you mean \"--version\"?");
  expectSays(run(home, "$vornctl sign"), 2, "Try: vornctl sign --help");
  expectSays(run(home, "$vornctl sign -f a.xml b.xml " + user("Nobody")), 1, "given up, 1 more");
  expectSays(run(home, "$vornctl sign -f a.xml " + user("Late Larry")), 1,
             "the certificate has expired (107");
  expectSays(run(home, "$vornctl sign -f a.xml --host /bin/false " + user("Jane Citizen")), 1,
             "the host ended with status 1 without an answer");
  expectSays(run(home, "$vornctl sign -f a.xml --host none " + user("Jane Citizen")), 1, "cannot be started");
}

/** The long options that a command's help names. */
std::set<std::string> optionsOf(const std::string& help) {
  static const std::regex kOption("--[a-z-]+");
  return {std::sregex_token_iterator(help.begin(), help.end(), kOption), {}};
}

TEST(CommandLine, ManualAndCompletionNameEveryOption) {
  const e2e::Home home;
  std::string manual = e2e::readFile(VORN_SOURCES "/man/vornctl.1");
  manual.erase(std::remove(manual.begin(), manual.end(), '\\'), manual.end());
  std::istringstream words(run(home, "$vornctl complete-words -- | cut -f 1 | grep -v -e -- -e help").output);
  std::size_t count = 0;
  for (std::string command; words >> command; ++count) {
    EXPECT_NE(manual.find(".SS " + command + "\n"), std::string::npos) << command;
    const std::string help = run(home, "$vornctl help " + command).output;
    for (const std::string& line : e2e::lines(help)) EXPECT_LE(line.size(), 100U) << line;
    const Result completion = run(home, "$vornctl complete-words -- " + command);
    EXPECT_EQ(optionsOf(std::regex_replace(completion.output, std::regex("\t.*"), "")), optionsOf(help));
    for (const std::string& option : optionsOf(help))
      EXPECT_TRUE(option == "--help" || manual.find(option) != std::string::npos) << command << " " << option;
  }
  EXPECT_GE(count, 7U);
  const std::string bash =
      ". " VORN_SOURCES
      "/completions/vornctl; complete_it() { COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); "
      "_vornctl $vornctl \"${COMP_WORDS[-1]}\"; echo \"${COMPREPLY[*]}\"; }; compopt() { :; }; touch "
      "fox.xml; ";
  const std::pair<const char*, const char*> rows[] = {{"reg", "register\n"},
                                                      {"sign fo", "fox.xml\n"},
                                                      {"sign -f fo", "fox.xml\n"},
                                                      {"sign --algorithm RSA_SHA2", "RSA_SHA256\n"},
                                                      {"verify --no-c", "--no-chain\n"},
                                                      {"confirm o", "on off\n"},
                                                      {"confirm on o", "\n"},
                                                      {"import --password-file fo", "fox.xml\n"}};
  for (const auto& [line, completed] : rows)
    EXPECT_EQ(run(home, bash + "complete_it vornctl " + line).output, completed) << line;
}

}  // namespace
}  // namespace vorn::vornctl
