#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <ostream>
#include <sstream>

#include "e2e/Token.h"
#include "vornctl/Program.h"
#include "vornctl/doctor/Doctor.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRegister =
    "$vornctl register -e abcdefghijklmnopabcdefghijklmnop -e signing@example.com --root root --host $host ";
const std::string kChromiumFile = ".config/chromium/NativeMessagingHosts/vorn.signing.json";
const std::string kFirefoxFile = ".mozilla/native-messaging-hosts/vorn.signing.json";

/** What the doctor says of a home, browsers of the machine left aside: "code Chromium: cause | remedy". */
std::vector<std::string> diagnosis(const e2e::Home& home, const std::string& severity, int status) {
  const auto report = runForJson(home, "doctor --root root --json", status);
  std::vector<std::string> lines;
  for (const auto& finding : report["findings"]) {
    if (finding["severity"] != severity) continue;
    std::string subjects;
    for (const std::string subject : finding["subjects"]) subjects += (subjects.empty() ? "" : ",") + subject;
    lines.push_back(std::string(finding["code"]) + " " + subjects + ": " + std::string(finding["cause"]) +
                    " | " + std::string(finding["remedy"]));
  }
  return lines;
}

struct PlantedFault {
  const char* name;
  std::string deed;     /**< shell commands in a home that is registered and well */
  std::string subjects; /**< with the finding's code before them */
  std::string cause;
  std::string remedy;
};

void PrintTo(const PlantedFault& fault, std::ostream* out) {
  *out << fault.name;
}

std::string edit(const std::string& file, const std::string& expression) {
  return "sed -i \"" + expression + "\" " + file;
}

std::string policy(const std::string& text) {
  const std::string folder = "root/etc/chromium/policies/managed";
  return "mkdir -p " + folder + "; echo \"" + text + "\" > " + folder + "/p.json";
}

const std::string kHostAtHome =
    edit(kFirefoxFile + " " + kChromiumFile, "s#\\\"path\\\": .*#\\\"path\\\": \\\"$HOME/vorn-signing\\\",#");

const std::string kOnlyIdentity = "rm -r .pki; " VORN_SOURCES "/examples/make-identity ";

// Each is the only problem that is named.
const PlantedFault kFaults[] = {
    {"HostMoved", edit(kChromiumFile, "s#\\\"path\\\": .*#\\\"path\\\": \\\"/opt/old/vorn-signing\\\",#"),
     "manifest-stale Chromium", "stale: it names the host /opt/old/vorn-signing, which is no longer there",
     "vornctl register"},
    {"RelativePath", edit(kFirefoxFile, "s#\\\"path\\\": .*#\\\"path\\\": \\\"vorn-signing\\\",#"),
     "manifest-path Firefox", "not absolute", "vornctl register"},
    {"HostNotExecutable",
     "touch plain; " + edit(kFirefoxFile, "s#\\\"path\\\": .*#\\\"path\\\": \\\"$HOME/plain\\\",#"),
     "host-not-executable Firefox", "is not executable", "chmod 755"},
    {"NoSlash", edit(kChromiumFile, "s#nop/#nop#"), "manifest-bad-extension Chromium",
     "the slash at the end is missing", "--extension-id"},
    {"ShortId", edit(kChromiumFile, "s#nop/#no/#"), "manifest-odd-extension Chromium", "it has 31",
     "--extension-id"},
    {"Wildcard", edit(kFirefoxFile, "s#signing@example.com#*#"), "manifest-bad-extension Firefox",
     "wildcards", "--extension-id"},
    {"NoExtension", edit(kFirefoxFile, "s#\\\"signing@example.com\\\"##"), "manifest-no-extension Firefox",
     "names no extension", "--extension-id"},
    {"OtherName", edit(kChromiumFile, "s#\\\"vorn.signing#\\\"vorn.other#"), "manifest-name Chromium",
     "\"name\" is \"vorn.other\"", "vornctl register"},
    {"TrailingComma", edit(kChromiumFile, "s#stdio\\\"#stdio\\\",#"), "manifest-syntax Chromium",
     "no valid JSON", "vornctl register"},
    {"OtherType", edit(kChromiumFile, "s#stdio#pipe#"), "manifest-type Chromium", "\"type\" is not",
     "vornctl register"},
    {"NoDescription", edit(kFirefoxFile, "/description/d"), "manifest-description Firefox",
     "no \"description\"", "vornctl register"},
    {"ForeignMember", edit(kFirefoxFile, "s#\\\"type\\\"#\\\"allowed_origins\\\": [], \\\"type\\\"#"),
     "manifest-member Firefox", "\"allowed_origins\"", "vornctl register"},
    {"NotRegistered", "rm " + kChromiumFile + " " + kFirefoxFile, "not-registered Chromium,Firefox",
     "not registered", "vornctl register"},
    {"BrokenBeforeGood", std::string(kRegister) + "--system >out && echo [] > " + kChromiumFile,
     "manifest-syntax Chromium", "it hides the good one", "vornctl unregister --browser chromium"},
    {"OthersBeforeGood", std::string(kRegister) + "--system >out && " + edit(kChromiumFile, "s#nop/#nok/#"),
     "manifest-hides Chromium", "abcdefghijklmnopabcdefghijklmnop, which may sign by that",
     "vornctl unregister --browser chromium"},
    {"StaleBeforeGood",
     std::string(kRegister) + "--system >out && " +
         edit(kFirefoxFile, "s#\\\"path\\\": .*#\\\"path\\\": \\\"/old\\\",#"),
     "manifest-stale Firefox", "stale: it names the host /old", "vornctl unregister --browser firefox"},
    {"OtherExtension",
     "mkdir -p root/etc/vorn-signing; echo \"me@example.com # ours\" > root/etc/vorn-signing/extension-ids",
     "extension-not-registered Firefox",
     "me@example.com may not start the host; those that may: signing@example.com",
     "register --extension-id signing@example.com --extension-id me@example.com"},
    {"BadConfiguredId", "mkdir -p root/etc/vorn-signing; echo abc > root/etc/vorn-signing/extension-ids",
     "configured-ids-bad extensions", "extension-ids: \"abc\" is no extension id", "one id in a line"},
    {"FolderInThePlace", "rm " + kFirefoxFile + "; mkdir " + kFirefoxFile, "manifest-unreadable Firefox",
     "cannot be read", "remove"},
    {"PolicyBlocks", policy("{\\\"NativeMessagingBlocklist\\\": [\\\"*\\\"]}"),
     "policy-host-blocked Chromium", "NativeMessagingBlocklist", "administrator"},
    {"PolicyOfSystemAlone", policy("{\\\"NativeMessagingUserLevelHosts\\\": false}"),
     "policy-user-hosts Chromium", "lets no user register", "--system"},
    {"LogIsAFolder", "mkdir vorn-signing.log", "log-not-writable log", "no regular file", "remove"},
    {"LogIsALink", "ln -s nowhere vorn-signing.log", "log-not-writable log", "symbolic link", "remove"},
    {"LogIsNotMine", "touch vorn-signing.log; ln vorn-signing.log b", "log-not-writable log", "another name",
     "remove"},
    {"SilentHost",
     "cp /bin/true silent; " +
         edit(kFirefoxFile + " " + kChromiumFile, "s#\\\"path\\\": .*#\\\"path\\\": \\\"$HOME/silent\\\",#"),
     "host-silent host", "ended with status 0 without an answer", "\"vornctl register\" (for all"},
    {"NoModule", "cp $host .; " + kHostAtHome, "host-search-failed host", "vorn-signing-module.so",
     "install"},
    {"WritableModule", "cp $host* . && chmod o+w vorn-signing-module.so; " + kHostAtHome,
     "foreign-writer host", "vorn-signing-module.so can be written by everybody; it was not started",
     "chmod o-w"},
    {"WritableFolder",
     "mkdir -m 777 open && mkdir open/a && cp $host* open/a && ln -s open/a/vorn-signing; " + kHostAtHome,
     "foreign-writer host", "/open can be written by everybody; it was not started", "chmod o-w"},
    {"WritableOnTheWay", "mkdir -m 777 open && mv .config open && ln -s open/.config",
     "foreign-writer Chromium", "/open can be written by everybody", "chmod o-w"},
    {"WritableManifest", "chmod g+w " + kChromiumFile + " && chgrp 65534 " + kChromiumFile,
     "foreign-writer Chromium", "vorn.signing.json can be written by a group", "chmod g-w"},
    {"WritableByList",
     "chgrp $(id -g) " + kChromiumFile +
         " && python3 -c \"import os, sys; os.setxattr(*sys.argv[1:3], bytes.fromhex(sys.argv[3]))\" " +
         kChromiumFile +
         " system.posix_acl_access "
         "0200000001000600ffffffff02000600feff000004000400ffffffff10000600ffffffff20000400ffffffff",
     "foreign-writer Chromium", "can be written by whom its access list names", "setfacl -b"},
    {"NoDatabase", "rm -r .pki", "no-key-store key store", "there is no key store", "vornctl import"},
    {"EmptyDatabase", "rm -r .pki; mkdir -p .pki/nssdb; certutil -N -d sql:.pki/nssdb --empty-password",
     "no-identity key store", "no key store holds a certificate with its private key", "vornctl import"},
    {"DamagedDatabase", "echo no >.pki/nssdb/cert9.db", "key-store-unreadable key store",
     "nssdb cannot be opened", "from a copy"},
    {"Expired", kOnlyIdentity + "--to 20210101000000Z . >out", "expired key store",
     "it has expired on 2021-01-01", "renew"},
    {"NotYet", kOnlyIdentity + "--from 20400101000000Z . >out", "not-valid-yet key store",
     "is not valid before 2040", "wait"},
    {"NoABN", kOnlyIdentity + "--abn none . >out", "no-abn key store", "can never sign: it has no ABN",
     "with the ABN"},
    {"ModuleMissing",
     "rm -r .pki; mkdir -p .config/pkcs11/modules; echo module: /none.so >.config/pkcs11/modules/x.module",
     "no-key-store key store", "there is no key store", "vornctl import"},
};

class Doctor : public testing::TestWithParam<PlantedFault> {};

TEST_P(Doctor, NamesTheOneCauseAndItsRemedy) {
  const PlantedFault& fault = GetParam();
  const e2e::Home home("main");
  fs::create_directories(home.path() / ".config/chromium");
  fs::create_directories(home.path() / ".mozilla");
  ASSERT_EQ(run(home, kRegister).status, 0);
  ASSERT_EQ(diagnosis(home, "problem", 0), std::vector<std::string>());
  const Result done = run(home, fault.deed);
  ASSERT_EQ(done.status, 0) << done.output;
  const bool hasLog = fs::exists(fs::symlink_status(home.path() / "vorn-signing.log"));

  const auto problems = diagnosis(home, "problem", 1);
  ASSERT_EQ(problems.size(), 1U) << testing::PrintToString(problems);
  EXPECT_EQ(problems[0].substr(0, problems[0].find(": ")), fault.subjects);
  const std::size_t separator = problems[0].find(" | ");
  EXPECT_NE(problems[0].substr(0, separator).find(fault.cause), std::string::npos) << problems[0];
  EXPECT_NE(problems[0].substr(separator).find(fault.remedy), std::string::npos) << problems[0];
  EXPECT_EQ(fs::exists(fs::symlink_status(home.path() / "vorn-signing.log")), hasLog) << "a log was written";
}

INSTANTIATE_TEST_SUITE_P(Planted, Doctor, testing::ValuesIn(kFaults),
                         [](const auto& instance) { return instance.param.name; });

TEST(DoctorHome, ToldByRootIsWhoseHomeItIs) {
  const e2e::Home home("main");
  ASSERT_EQ(run(home, "mkdir .mozilla; " + std::string(kRegister)).status, 0);
  const Result result = run(home, "SUDO_USER=jane $vornctl doctor --json --root root");
  const bool isTold = result.output.find("\"examines-root\"") != std::string::npos &&
                      result.output.find("root, not about those of jane") != std::string::npos;
  EXPECT_EQ(isTold, geteuid() == 0) << result.output;
}

TEST(DoctorHome, HostThatHangsOrIsOlderIsTold) {
  const e2e::Home home;
  ASSERT_EQ(run(home, "printf \"#!/bin/sh\\nexec sleep 60\" > hang; chmod 755 hang").status, 0);
  const auto findings = checkHost({home.path() / "hang", {}}, true, std::chrono::milliseconds(200));
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0].cause, "the host runs but does not answer in time");
  e2e::writeFile(home.path() / "hang", R"(#!/bin/sh
printf '\037\0\0\0{"result":"ok","version":"0.1"}'
cat)");
  const auto older = checkHost({home.path() / "hang", {}}, false, std::chrono::seconds(5));
  ASSERT_EQ(older.size(), 2U);
  EXPECT_EQ(older[0].code.word(), "host-answers");
  EXPECT_EQ(older[1].code.word(), "host-version");
}

TEST(DoctorHome, RemovedHostIsOneCauseForAllBrowsers) {
  const e2e::Home home("main");
  fs::create_directories(home.path() / "bin");
  fs::copy(VORNCTL, home.path() / "bin/vornctl");
  fs::copy(VORN_HOST, home.path() / "bin/vorn-signing");
  fs::create_directories(home.path() / ".config/chromium");
  fs::create_directories(home.path() / ".mozilla");
  const std::string ids = "-e abcdefghijklmnopabcdefghijklmnop -e signing@example.com --root root";
  ASSERT_EQ(run(home, "bin/vornctl register " + ids).status, 0);
  fs::remove(home.path() / "bin/vorn-signing");
  const std::string codes = run(home, "bin/vornctl doctor --root root --json").output;
  EXPECT_NE(codes.find("\"host-missing\""), std::string::npos) << codes;
  EXPECT_NE(codes.find("\"key-store-not-searched\""), std::string::npos) << codes;
  const Result result = run(home, "bin/vornctl doctor --root root");
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.output.find("problem  Chromium, Firefox: the host " +
                               (home.path() / "bin/vorn-signing").string() + " is missing"),
            std::string::npos)
      << result.output;
  EXPECT_NE(result.output.find("Problems: 1\n"), std::string::npos) << result.output;
}

TEST(DoctorHome, StateOfACardIsTold) {
  const e2e::Home home;
  std::string doctor;
  for (const std::string& setting : e2e::installToken(home, "").environment) doctor += setting + " ";
  doctor += "$vornctl doctor --root root --json";
  const struct {
    std::string deed;
    std::string code;
    std::string severity;
  } rows[] = {
      {"echo 3 >card", "identities", "ok"},
      {"echo 1 >card", "pin-last-try", "note"},
      {"echo 0 >card", "pin-blocked", "problem"},
      {"rm card", "card-out", "problem"},
      {"echo 3 >card; rm $(grep -l \"Example Traders\" tokens/*/*)", "token-hides-certificate", "problem"},
      {"cp $(cut -d \" \" -f 2 .config/pkcs11/modules/token.module) m.so; echo module: $PWD/m.so "
       ">.config/pkcs11/modules/token.module; echo C_GetSlotList hang >m.so.fault",
       "module-hangs", "problem"},
  };
  for (const auto& row : rows) {
    const auto report = nlohmann::json::parse(run(home, row.deed + "; " + doctor).output);
    const auto found = std::find_if(report["findings"].begin(), report["findings"].end(),
                                    [&](const auto& finding) { return finding["code"] == row.code; });
    ASSERT_NE(found, report["findings"].end()) << report;
    EXPECT_EQ((*found)["severity"], row.severity);
    EXPECT_EQ(found->contains("remedy"), row.severity != "ok");
  }
}

// What the others do not come by, most of it no problem.
TEST(DoctorHome, EveryKindOfFindingHasItsCode) {
  const bool hasReaders = fs::exists("/run/pcscd/pcscd.comm");
  const struct {
    std::string deed;
    std::string command;
    std::string codes;
  } rows[] = {
      {"rm -r .mozilla .config", "doctor --root root", "no-browser key-stores"},
      {"$vornctl confirm on >out; mkdir -p .mozilla/firefox/profiles.ini .config/pkcs11/modules; touch x.so; "
       "echo module: $PWD/x.so >.config/pkcs11/modules/x.module",
       "doctor --root root", "store-list-unreadable module-broken confirmed"},
      {"mkdir b; cp $host* b; $vornctl register --system -e abcdefghijklmnopabcdefghijklmnop --root root "
       "--host b/vorn-signing >out; " +
           policy("{\\\"ExtensionSettings\\\": {\\\"abcdefghijklmnopabcdefghijklmnop\\\": "
                  "{\\\"minimum_version_required\\\": \\\"2\\\"}}}"),
       "doctor --root root", "manifest-unused policy-minimum-version"},
      {"rm -r .pki", "doctor --root root", hasReaders ? "no-key-store" : "no-key-store reader-daemon"},
      {"openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -noenc -subj /O=x -keyout k -out c "
       "2>out; "
       "openssl pkcs12 -export -passout pass: -inkey k -in c -out p; "
       "pk12util -d sql:.pki/nssdb -K \"\" -W \"\" -i p >out",
       "identities", "key-no-rsa no-name no-email no-aki key-usage"},
      {"python3 -c \"import sqlite3; d = sqlite3.connect(\\\".pki/nssdb/key4.db\\\"); "
       "d.execute(\\\"update nssPrivate set a108 = zeroblob(1)\\\"); d.commit()\"",
       "identities --name Jane", "key-may-not-sign"},
  };
  for (const auto& row : rows) {
    const e2e::Home home("main");
    ASSERT_EQ(run(home, "mkdir -p .mozilla .config/chromium; " + std::string(kRegister)).status, 0);
    const Result result = run(home, row.deed + "; $vornctl " + row.command + " --json");
    std::istringstream codes(row.codes);
    for (std::string code; codes >> code;)
      EXPECT_NE(result.output.find("\"code\": \"" + code + "\""), std::string::npos) << code << result.output;
  }
}

TEST(DoctorHome, ChromiumPassesOverAFolderThatItMayNotEnter) {
  const e2e::Home home("main");
  const std::string asAnother =
      geteuid() != 0 ? "" : "chown -R 65534:65534 .; setpriv --reuid=65534 --regid=65534 --clear-groups ";
  const std::string doctor = run(home,
                                 "mkdir -p .config/chromium; cp $vornctl $host* .; for scope in \"\" "
                                 "--system; do ./vornctl register "
                                 "-e abcdefghijklmnopabcdefghijklmnop --root root $scope >out; done; "
                                 "chmod 0 .config/chromium/NativeMessagingHosts; " +
                                     asAnother + "./vornctl doctor --root root")
                                 .output;
  EXPECT_NE(
      doctor.find("note     Chromium: the manifest cannot be read: Permission denied; the browser passes "),
      std::string::npos)
      << doctor;
  EXPECT_EQ(doctor.find("problem  Chromium"), std::string::npos) << doctor;
}

TEST(DoctorHome, NotesKeepNobodyFromSigning) {
  const e2e::Home home("main");
  fs::create_directories(home.path() / ".config/chromium");
  const Result done =
      run(home, std::string(kRegister) +
                    " && $vornctl confirm on >out && mkdir -p .config/pkcs11/modules && "
                    "echo module: /none.so >.config/pkcs11/modules/x.module && " +
                    kOnlyIdentity + "--abn 123 --to $(date -u -d \"+4 days\" +%Y%m%d%H%M%SZ) . >out");
  ASSERT_EQ(done.status, 0) << done.output;
  const std::string notes = testing::PrintToString(diagnosis(home, "note", 0));
  for (const char* note : {"expires-soon key store: ", "expires in 4 days",
                           "odd-abn key store: ", "eleven digits", "module-missing key store: "})
    EXPECT_NE(notes.find(note), std::string::npos) << note << notes;
  EXPECT_NE(run(home, "$vornctl doctor --root root").output.find("is to be confirmed"), std::string::npos);
  EXPECT_NE(run(home, "$vornctl confirm off; $vornctl confirm").output.find("sign without a question"),
            std::string::npos);
}

TEST(DoctorHome, LockedStoreAndSandboxesAreTold) {
  const e2e::Home locked("locked");
  fs::create_directories(locked.path() / ".mozilla");
  for (const char* const folder : {"snap/chromium", "snap/firefox"})
    fs::create_directories(locked.path() / folder);
  ASSERT_EQ(run(locked, kRegister).status, 0);
  EXPECT_EQ(diagnosis(locked, "problem", 0), std::vector<std::string>());
  const auto notes = diagnosis(locked, "note", 0);
  ASSERT_EQ(notes.size(), 3U) << testing::PrintToString(notes);
  EXPECT_EQ(notes[0].find("browser-sandboxed Firefox (snap): runs in a sandbox | "), 0U) << notes[0];
  EXPECT_NE(notes[0].find(": flatpak permission-set webextensions vorn.signing snap.firefox yes"),
            std::string::npos)
      << notes[0];
  EXPECT_EQ(notes[2].find("no-prompt-program key store: "), 0U) << notes[2];
  const Result result = run(locked, "DISPLAY=:9 VORN_PINENTRY=/none $vornctl doctor --root root");
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.output.find("VORN_PINENTRY names /none"), std::string::npos) << result.output;
  EXPECT_EQ(
      notes[1].find("browser-sandboxed Chromium (snap): runs in a sandbox and cannot start the host | "), 0U)
      << notes[1];
}

}  // namespace
}  // namespace vorn::vornctl
