#!/usr/bin/env python3
"""Signs with a certificate that Firefox has imported: profile_test.py HOST VORNCTL HOMES

HOMES is the folder of the tests' key stores. Firefox makes a profile, imports a key and, later, sets a primary password; the
host finds the key there, while Firefox runs and behind the password. Ends with 77 when Firefox is not installed.
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
import firefox
from helpers import expect
from process import end_started

SKIPPED = 77
PASSWORD = "open sesame"
IMPORT = """
    const file = Cc["@mozilla.org/file/local;1"].createInstance(Ci.nsIFile);
    file.initWithPath(%s);
    return Cc["@mozilla.org/security/x509certdb;1"].getService(Ci.nsIX509CertDB).importPKCS12File(file, "x");
"""
SET_PASSWORD = """
    const newer = Cc["@mozilla.org/security/internalkeytoken;1"];
    const token = newer ? newer.createInstance(Ci.nsIPKCS11Token ?? Ci.nsIPK11Token)
                        : Cc["@mozilla.org/security/pk11tokendb;1"].getService(Ci.nsIPK11TokenDB).getInternalKeyToken();
    token.needsUserInit ? token.initPassword(%s) : token.changePassword("", %s);
"""
PINENTRY = """#!/bin/sh
echo OK
while read -r command rest; do
  echo "$command" >> "$HOME/asked"
  [ "$command" != GETPIN ] || echo "D %s"
  echo OK
  [ "$command" != BYE ] || exit
done
"""


def main(host, vornctl, homes):
    with tempfile.TemporaryDirectory() as folder:
        home = pathlib.Path(folder)
        environment = {"HOME": folder, "PATH": os.environ["PATH"], "VORN_PINENTRY": str(home / "pinentry")}

        def run(*command):
            result = subprocess.run([str(word) for word in command], env=environment, cwd=home, text=True,
                                    stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
            expect(result.returncode == 0, f"{command[0]} {command[1]}", result.stdout)
            return result.stdout

        def identity():
            found = json.loads(run(vornctl, "identities", "--json"))["identities"]
            expect(len(found) == 1, "finds the one identity", found)
            return found[0]

        (home / "pinentry").write_text(PINENTRY % PASSWORD)
        (home / "pinentry").chmod(0o700)
        shutil.copy(pathlib.Path(__file__).resolve().parents[2] / "examples" / "agreement.xml", home)
        run("pk12util", "-d", f"sql:{homes}/main/.pki/nssdb", "-K", "", "-W", "x", "-n", "Jane Citizen", "-o", "jane.p12")
        run(firefox.PROGRAM, "--headless", "-CreateProfile", "signer")
        profile = next(home.rglob("*.signer/times.json")).parent  # where, depends on the release

        browser = firefox.Browser(home, None, profile)
        code = browser.run_as_browser(IMPORT % json.dumps(str(home / "jane.p12")))
        expect(code == 0, "Firefox imports the file", code)
        expect(identity()["token"] == "Firefox: signer", "names the profile", identity())
        run(vornctl, "sign", "agreement.xml", "--host", host)
        browser.run_as_browser(SET_PASSWORD % (json.dumps(PASSWORD), json.dumps(PASSWORD)))
        browser.close()

        expect(identity()["asks_for_pin"], "knows of the password", identity())
        expect(not (home / "asked").exists(), "asks for no password to search or without one", "")
        findings = subprocess.run([vornctl, "doctor", "--json"], env=environment, stdout=subprocess.PIPE, check=False).stdout
        expect("firefox-password" in [finding["code"] for finding in json.loads(findings)["findings"]], "warns of it", findings)
        # Whether the system's NSS opens what a newer Firefox has locked is for its own tool to say.
        (home / "password").write_text(PASSWORD + "\n")
        command = ["certutil", "-K", "-d", f"sql:{profile}", "-f", "password"]
        opens = subprocess.run(command, cwd=home, capture_output=True, check=False).returncode == 0
        command = [vornctl, "sign", "-f", "agreement.xml", "--host", host]
        signs = subprocess.run(command, env=environment, cwd=home, capture_output=True, check=False).returncode == 0
        expect(signs == opens, f"signs as NSS {'opens' if opens else 'does not open'} the profile")
        asked = (home / "asked").read_text().split().count("GETPIN")
        expect(asked == 1 or not opens, "asks once", asked)


if __name__ == "__main__":
    if not firefox.PROGRAM:
        sys.exit(SKIPPED)
    try:
        main(*sys.argv[1:])
    finally:
        end_started()
