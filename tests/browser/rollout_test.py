#!/usr/bin/env python3
"""Manifests and policies of a roll-out in a real browser: rollout_test.py BROWSER HOST VORNCTL

Each case is planted in the folders of the system, of which this test sees copies of its own. The browser's behaviour is the
truth: "vornctl doctor" has to name a problem where it refuses, and none where it does not. Then the policies that
docs/deployment.md shows have the browser install the extension by itself. Ends with 77 when the browser is not installed.
"""

import functools
import hashlib
import http.server
import importlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import threading

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
from browser_test import EXTENSION, ROOT, SKIPPED, extension
from helpers import expect, run
from process import BrowserGone, end_started, started

NAME, HOST, VORNCTL = sys.argv[1:4]
IDS = extension()
OTHER = {"chromium": "abcdefghijklmnopabcdefghijklmnop", "firefox": "other@example.com"}[NAME]
ID = IDS["chromium_id" if NAME == "chromium" else "gecko_id"]
USER = {"chromium": ".config/chromium/NativeMessagingHosts", "firefox": ".mozilla/native-messaging-hosts"}[NAME] + "/vorn.signing.json"
SYSTEM = {"chromium": "/etc/chromium/native-messaging-hosts", "firefox": "/usr/lib/mozilla/native-messaging-hosts"}[NAME] + "/vorn.signing.json"
POLICY = {"chromium": "/etc/chromium/policies/managed/signing.json", "firefox": "/etc/firefox/policies/policies.json"}[NAME]
BESIDE = "/usr/lib/firefox-esr/distribution/policies.json"
ASK = """try {
    return (await (globalThis.browser ?? globalThis.chrome).runtime.sendNativeMessage('vorn.signing', {type: 'version'})).result;
  } catch (error) { return String(error.message); }"""


def manifest(*ids, **members):
    allowed = {"allowed_origins": [f"chrome-extension://{name}/" for name in ids]} if NAME == "chromium" else {"allowed_extensions": ids}
    return json.dumps({"name": "vorn.signing", "description": "A host", "path": HOST, "type": "stdio", **allowed, **members})


GOOD, FOREIGN, STALE = manifest(ID), manifest(OTHER), manifest(ID, path="/opt/old/vorn-signing")


def firefox_policy(**settings):
    return json.dumps({"policies": {"ExtensionSettings": settings}})


BLOCKED = {"installation_mode": "blocked"}
# What is planted where, and the code of the doctor's finding; None where the browser starts the host.
MANIFESTS = [
    ({USER: GOOD}, None), ({SYSTEM: GOOD}, None), ({USER: FOREIGN}, "extension-not-registered"), ({USER: STALE}, "manifest-stale"),
    ({USER: STALE, SYSTEM: GOOD}, "manifest-stale"), ({USER: manifest(ID, path="vorn-signing")}, "manifest-path"),
    ({USER: manifest(ID, type="pipe")}, "manifest-type"), ({USER: manifest(ID, "*")}, "manifest-bad-extension"),
    ({USER: GOOD[:-1] + ",}"}, "manifest-syntax"), ({USER: "\ufeff" + GOOD}, None),
    ({USER: manifest(ID, path="/mnt/vorn-signing")}, "host-not-executable"),
]
CASES = {
    "chromium": [(planted, code) for planted, code in [
        ({USER: FOREIGN, SYSTEM: GOOD}, "manifest-hides"), ({USER: "[]", SYSTEM: GOOD}, "manifest-syntax"),
        ({USER: manifest(ID.upper(), OTHER[1:])}, None), ({USER: "// by hand\n" + GOOD.replace("{", "{/* here */", 1)}, None),
        ({USER: manifest(ID, more=1)}, None), ({USER: manifest(ID, description="")}, "manifest-description"),
        ({USER: manifest(OTHER[1:])}, "manifest-odd-extension"),
    ]] + [({USER: GOOD, POLICY: json.dumps(policy) if isinstance(policy, dict) else policy}, code) for policy, code in [
        ({"NativeMessagingBlocklist": ["vorn.signing"]}, "policy-host-blocked"), ({"NativeMessagingBlocklist": ["*", 3]}, "policy-host-blocked"),
        ({"NativeMessagingBlocklist": ["*"], "NativeMessagingAllowlist": ["vorn.signing"]}, None),
        ({"NativeMessagingBlocklist": "vorn.signing"}, None), ({"NativeMessagingBlocklist": ["Vorn.Signing"]}, None),
        ('// ours\n{"NativeMessagingBlocklist": ["vorn.signing",], /* "x */}', "policy-host-blocked"),
        ("{", None), ({"NativeMessagingUserLevelHosts": False}, "policy-user-hosts"), ({"NativeMessagingUserLevelHosts": 0}, None),
        ({"ExtensionSettings": {f"{OTHER},{ID}": BLOCKED}}, "policy-extension-blocked"), ({"ExtensionInstallBlocklist": [OTHER]}, None),
        ({"ExtensionInstallBlocklist": ["*"]}, "policy-extension-blocked"), ({"ExtensionAllowedTypes": ["theme"]}, "policy-extension-blocked"),
        ({"ExtensionInstallBlocklist": [ID], "ExtensionInstallAllowlist": [ID]}, "policy-extension-blocked"),
        ({"ExtensionInstallBlocklist": [ID], "ExtensionSettings": {ID: {"installation_mode": "allowed"}}}, None),
    ]] + [
        ({USER: STALE, SYSTEM: GOOD, POLICY: '{"NativeMessagingUserLevelHosts": false}'}, None),
        ({USER: GOOD, POLICY: '{"NativeMessagingBlocklist": []}', POLICY.replace("signing.json", "0"): '{"NativeMessagingBlocklist": ["*"]}'}, None),
        ({USER: GOOD, POLICY.replace("signing.json", "z"): '{"NativeMessagingBlocklist": ["*"]}', POLICY: "{}"}, "policy-host-blocked"),
    ],
    "firefox": [
        ({USER: FOREIGN, SYSTEM: GOOD}, None), ({USER: "[]", SYSTEM: GOOD}, None), ({USER: manifest(ID, description="")}, None),
        ({USER: manifest(ID, more=1)}, "manifest-member"), ({USER: "// by hand\n" + GOOD}, "manifest-syntax"),
    ] + [({USER: GOOD, **policies}, code) for policies, code in [
        ({POLICY: firefox_policy(**{ID: BLOCKED})}, "policy-extension-blocked"), ({BESIDE: firefox_policy(**{ID: BLOCKED})}, "policy-extension-blocked"),
        ({POLICY: "{", BESIDE: firefox_policy(**{ID: BLOCKED})}, None), ({POLICY: firefox_policy(**{"*": BLOCKED})}, "policy-extension-blocked"),
        ({POLICY: firefox_policy(**{"*": BLOCKED, ID: {"installation_mode": "allowed"}})}, None),
        ({POLICY: firefox_policy(**{"*": {"allowed_types": ["theme"]}})}, "policy-extension-blocked"),
        ({POLICY: "\ufeff" + firefox_policy(**{ID: BLOCKED})}, None),
    ]],
}


def stand_apart(folder):
    """Gives this process, which alone sees the mounts that it makes, copies of the folders that it is going to change."""
    run("mount", "-t", "tmpfs", "none", folder)
    run("mount", "-t", "tmpfs", "-o", "noexec", "none", "/mnt")
    shutil.copy(HOST, "/mnt")
    for place in ("/etc", "/usr/lib/mozilla", os.path.realpath("/usr/lib/firefox-esr/distribution")):
        if os.path.isdir(place):
            copy = folder / place[1:].replace("/", "-")
            run("cp", "-a", place, copy)
            run("mount", "--bind", copy, place)


def write(home, planted):
    for place, text in planted.items():
        file = home / place
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")


def remove(home, planted):
    for place in planted:
        (home / place).unlink()


def answer(driver, home, ids):
    """What the extension gets from a browser that is started for it."""
    try:
        browser = driver.Browser(home, ids)
        browser.open("page.html")
        return browser.run(ASK)
    except (RuntimeError, TimeoutError, BrowserGone) as error:
        return f"no extension: {error}"
    finally:
        end_started()
        started.clear()


def problems(driver, home, wanted):
    """The codes of what the doctor finds wrong with the browser."""
    done = subprocess.run([VORNCTL, "doctor", "--json", "--extension-id", wanted], env={"HOME": str(home)}, capture_output=True, check=False)
    return [finding["code"] for finding in json.loads(done.stdout)["findings"]
            if finding["severity"] == "problem" and finding["subjects"] == [driver.NAME]]


def check_cases(driver, folder):
    browser = home = None
    for number, (planted, code) in enumerate(MANIFESTS + CASES[NAME]):
        has_policy = len({USER, SYSTEM} & planted.keys()) < len(planted)
        if browser is None or has_policy:
            end_started()
            home = folder / f"home-{number}"
            (home / "Downloads").mkdir(parents=True)
        write(home, planted)
        if has_policy:
            browser = None
            said = answer(driver, home, IDS)
        else:
            if browser is None:
                browser = driver.Browser(home, IDS)
                browser.open("page.html")
            said = browser.run(ASK)
        found = problems(driver, home, ID)
        remove(home, planted)
        what = ", ".join(f"{place} {text[:60]}" for place, text in planted.items())
        expect((said == "ok") == (code is None), f"the browser {'refuses' if code else 'is content'}: {what}", said)
        expect(found == ([code] if code else []), f"and the doctor says {code or 'nothing'}", found)


def packed(folder):
    """The extension as the driver's browser installs it from a server; its id, the file's name, and what else is served."""
    copy = folder / "signing"
    shutil.copytree(EXTENSION, copy)
    if NAME == "firefox":
        shutil.make_archive(folder / "signing", "zip", copy)
        (folder / "signing.zip").rename(folder / "signing.xpi")
        return ID
    members = json.loads((copy / "manifest.json").read_text())
    del members["key"]  # another one, made by the browser, is what the package is signed with
    (copy / "manifest.json").write_text(json.dumps(members))
    run("chromium", "--headless=new", "--no-sandbox", f"--pack-extension={copy}", env={**os.environ, "HOME": str(folder)})
    key = subprocess.run(["openssl", "pkey", "-in", folder / "signing.pem", "-pubout", "-outform", "DER"], capture_output=True, check=True).stdout
    return "".join(chr(ord("a") + int(digit, 16)) for digit in hashlib.sha256(key).hexdigest()[:32])


def check_page(driver, folder):
    """What docs/deployment.md shows, with the ids and the address that hold here."""
    class Quiet(http.server.SimpleHTTPRequestHandler):
        def log_message(self, *_):
            pass

    served = folder / "served/signing"
    served.mkdir(parents=True)
    name = packed(served)
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(Quiet, directory=folder / "served"))
    threading.Thread(target=server.serve_forever, daemon=True).start()
    page = (ROOT / "docs/deployment.md").read_text()
    version = json.loads((EXTENSION / "manifest.json").read_text())["version"]
    for example, real in ((OTHER.replace("other@", "signing@"), name), ("https://intranet.example", f"http://localhost:{server.server_port}"),
                          ('version="1.0"', f'version="{version}"')):
        expect(example in page, f"the page has the example {example}")
        page = page.replace(example, real)
    if NAME == "chromium":
        (served / "updates.xml").write_text(re.search("```xml\n(.*?)```", page, re.DOTALL)[1])
    policies = [text for text in re.findall("```json\n(.*?)```", page, re.DOTALL) if ("policies" in json.loads(text)) == (NAME == "firefox")]
    home = folder / "home-page"
    (home / "Downloads").mkdir(parents=True)
    run(VORNCTL, "register", "--system", "--host", HOST, "--extension-id", name)
    write(home, {POLICY: policies[0]})
    if NAME == "chromium":  # a page of an extension that is forced on the user may be looked into where a policy says so
        write(home, {POLICY.replace("signing", "tools"): '{"DeveloperToolsAvailability": 1}', USER: STALE})
    said = answer(driver, home, {"chromium_id": name, "gecko_id": name, "folder": None})
    expect(said == "ok", "the policy of the page installs the extension, which reaches the host", said)
    expect(problems(driver, home, name) == [], "and the doctor finds nothing")
    server.shutdown()


def main():
    driver = importlib.import_module(NAME)
    if not driver.PROGRAM:
        print(f"skipped: {driver.NAME} is not installed")
        sys.exit(SKIPPED)
    if len(sys.argv) == 4:
        rights = [] if os.geteuid() == 0 else ["--map-root-user"]
        # Where the root is no place that something is mounted on, as in a chroot, its mounts cannot be set apart from others'.
        private = subprocess.run(["unshare", "--mount", *rights, "true"], stderr=subprocess.DEVNULL, check=False).returncode == 0
        kind = [] if private else ["--propagation", "unchanged"]
        os.execvp("unshare", ["unshare", "--mount", *kind, *rights, sys.executable, *sys.argv, "apart"])
    with tempfile.TemporaryDirectory(prefix="vorn-") as name:
        folder = pathlib.Path(name).resolve()
        try:
            stand_apart(folder)
            check_cases(driver, folder)
            check_page(driver, folder)
        finally:
            end_started()
            subprocess.run(["umount", "--lazy", folder], check=False)


if __name__ == "__main__":
    main()
