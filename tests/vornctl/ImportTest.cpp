#include <gtest/gtest.h>

#include <map>

#include "e2e/Messages.h"
#include "vornctl/Program.h"

namespace vorn::vornctl {
namespace {

/** Leaves the key of that name in the prepared store in a file of the password x. */
std::string exportTo(const std::string& file, const std::string& name) {
  return "pk12util -d sql:.pki/nssdb -K \"\" -W x -n \"" + name + "\" -o " + file + " >out && ";
}

/** Key and certificate of that name, in PEM. */
const std::string& keyOf(const std::string& name) {
  static std::map<std::string, std::string> keys;
  std::string& key = keys[name];
  if (!key.empty()) return key;
  const e2e::Home home("main");
  return key = run(home, exportTo("x", name) + "openssl pkcs12 -in x -passin pass:x -noenc").output;
}

TEST(Import, TakesWhatCanSignAndSaysWhyNotOtherwise) {
  const std::string again = "openssl pkcs12 -export -in k.pem -out k.p12 -passout pass:";
  const std::string database = "mkdir -p .pki/nssdb && certutil -N -d sql:.pki/nssdb ";
  const std::string import = "$vornctl import k.p12 --password-file pw";
  const auto withRounds = [](const std::string& count) {
    return "echo x >pw && printf "
           "\"asn1=SEQ:p\\n[p]\\nv=INT:3\\ns=SEQ:s\\nm=SEQ:m\\n[s]\\nt=OID:1.2.840.113549.1.7.1\\n"
           "c=EXP:0,FORMAT:HEX,OCT:3000\\n[m]\\nd=SEQ:d\\nx=OCT:salt\\nn=INT:" +
           count +
           "\\n[d]\\na=SEQ:a\\nh=OCT:12345678901234567890\\n[a]\\no=OID:1.3.14.3.2.26\\nu=NULL\\n\" >c && "
           "openssl asn1parse -genconf c -noout -out k.p12 && ";
  };
  const std::string inPieces =
      "echo x >pw; printf \"\\044\\200\\004\\003\\060\\200\\004\\004\\012\\001x\\002\\004";
  const struct {
    std::string name;
    std::string deed;
    int status;
    std::string says;
    unsigned keys; /**< in the store afterwards */
  } rows[] = {
      {"Jane Citizen", "echo x >pw && umask 0 && " + import + " && stat -c %a .pki/nssdb .pki/nssdb/key4.db",
       0, "for you.\n700\n600\n", 1},
      {"Jane Citizen", "echo x >pw && " + import + " && " + import, 0, "already; nothing was changed", 1},
      {"Jane Citizen", again + "pässwört€🖋 && echo pässwört€🖋 >pw && " + import, 0, "Imported into", 1},
      {"Jane Citizen", again + "pässwört€🖋 -legacy && echo pässwört€🖋 >pw && " + import, 0, "Imported into",
       1},
      {"Jane Citizen", again + " && $vornctl import k.p12", 0,
       "ABN 12345678901\n  issued by Test Authority, AKI", 1},
      {"Jane Citizen", withRounds("2147483647") + import, 1, "more than 10,000,000 rounds", 0},
      {"Jane Citizen", withRounds("1") + import, 1, "the password is wrong", 0},
      // The same in a string of two pieces, without an end, and one less than too many.
      {"Jane Citizen", inPieces + "\\000\\230\\226\\201\" >k.p12; " + import, 1, "10,000,000 rounds", 0},
      {"Jane Citizen", inPieces + "\\000\\230\\226\\200\" >k.p12; " + import, 1, "is no PKCS #12 file", 0},
      {"Jane Citizen", "mkfifo pw; (sleep 0.1; echo x) >pw & " + import, 0, "Imported into", 1},
      {"Jane Citizen", "echo x >pw; $vornctl import k.p12 --password-file /dev/zero", 1,
       "/dev/zero: too long for a password", 0},
      {"Jane Citizen", "echo x >pw; $vornctl import /dev/zero --password-file pw", 1, "device or pipe", 0},
      {"Jane Citizen", "echo X >pw && " + import, 1, "the password is wrong", 0},
      {"Jane Citizen",
       "printf \"wrong\\nx\" >answers && VORN_PINENTRY=" VORN_SOURCES
       "/tests/e2e/scripted-pinentry setsid $vornctl import k.p12",
       0, "Imported into", 1},
      {"Jane Citizen", "setsid $vornctl import k.p12", 1, "none was given; try --password-file", 0},
      {"Jane Citizen", "echo x >pw && " + database + "-f pw && " + import + " --store-password-file pw", 0,
       "asked for the password of this key store", 1},
      {"Jane Citizen",
       "echo x >pw && echo y >no && " + database + "-f pw && " + import + " --store-password-file no", 1,
       "the right one was not given", 0},
      {"Jane Citizen",
       "echo x >pw && openssl x509 -in k.pem -out k.crt && " + database +
           "--empty-password && certutil -A -n x -t ,, "
           "-i k.crt -d sql:.pki/nssdb && " +
           import,
       0, "Imported into", 1},
      {"Max Several", exportTo("k.p12", "Max Several") + "rm -r .pki && echo x >pw && " + import, 0,
       "can never sign: its key usage does not include", 3},
      {"No ABN", "echo x >pw && " + import, 1, "can never sign: it has no ABN", 0},
      {"No AKI", "echo x >pw && " + import, 1, "can never sign: it has no authority key identifier", 0},
      {"Late Larry", "echo x >pw && " + import, 1, "can never sign: it has expired on 2011-02-03", 0},
      {"Jane Citizen", again + "x -nokeys && echo x >pw && " + import, 1, "holds no private key", 0},
      {"Jane Citizen", "cp k.pem k.p12 && $vornctl import k.p12", 1, "is no PKCS #12 file", 0},
      {"Jane Citizen", "cp $vornctl $host . && ./vornctl import k.p12", 1, "install the host again", 0},
  };
  for (const auto& row : rows) {
    const e2e::Home home(row.name == "Max Several" ? "main" : "");
    e2e::writeFile(home.path() / "k.pem", keyOf(row.name));
    const Result result = run(home, again + "x && " + row.deed);
    EXPECT_EQ(result.status, row.status) << result.output;
    EXPECT_NE(result.output.find(row.says), std::string::npos) << row.says << "\n" << result.output;
    const Result keys = run(home, "certutil -K -d sql:.pki/nssdb -f pw 2>/dev/null | grep -c rsa; true");
    EXPECT_EQ(keys.output, std::to_string(row.keys) + "\n") << row.says << "\n" << result.output;
  }
}

TEST(StoreChanges, SayWhatTheyWillDoAndAskFirst) {
  const e2e::Home home;
  const Result made = run(home, VORN_SOURCES "/examples/make-identity . >id && . ./id && echo $serial");
  ASSERT_EQ(made.status, 0) << made.output;
  const std::string serial = made.output.substr(0, made.output.find('\n'));
  const std::pair<std::string, std::string> rows[] = {
      {"echo n | $vornctl remove " + serial, "with its private key"},
      {"$vornctl identities", "=> can sign"},
      {"echo n | $vornctl trust " VORN_TEST_HOMES "/main/certificates/Test*Authority.pem",
       "/.pki/nssdb, which Chromium and \"vornctl verify\" read,\ntrust Test Authority, serial "},
      {"$vornctl trust -y " VORN_TEST_HOMES
       "/main/certificates/Test*Authority.pem; certutil -L -d sql:.pki/nssdb",
       ",C,"},
      {"$vornctl trust --remove -y " VORN_TEST_HOMES
       "/main/certificates/Test*Authority.pem; certutil -L -d sql:.pki/nssdb",
       ",,  "},
      {"mkdir -p .mozilla/firefox/p; cp .pki/nssdb/* .mozilla/firefox/p; "
       "printf \"[Profile0]\\nName=mine\\nPath=p\\n\" >.mozilla/firefox/profiles.ini; $vornctl remove -y " +
           serial,
       "Done.\nIt is also in Firefox: mine ("},
      {"rm -r .mozilla; $vornctl identities", "No key store and no card holds"},
      {"certutil -K -d sql:.pki/nssdb", "no keys found"}};
  for (const auto& [line, text] : rows) {
    const Result result = run(home, line);
    EXPECT_NE(result.output.find(text), std::string::npos) << line << result.output;
  }
}

}  // namespace
}  // namespace vorn::vornctl
