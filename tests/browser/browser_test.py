#!/usr/bin/env python3
"""Signs in a real browser: browser_test.py BROWSER HOST VORNCTL HOMES [SCREENSHOTS]

BROWSER is chromium or firefox, HOMES the folder of the tests' key stores. The sample extension runs in a throw-away
home folder, in which VORNCTL registers the host; everything is done and read on its page. Ends with 77 when the browser
is not installed.
"""

import hashlib
import base64
import importlib
import json
import os
import pathlib
import re
import shutil
import signal
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
from helpers import JANE, aki_of, expect, run
from process import end_started, host_processes, until

SKIPPED = 77
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
EXTENSION = ROOT / "examples" / "extension"
AGREEMENT = ROOT / "examples" / "agreement.xml"
VERSION = re.search(r"^project\(.* VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text(), re.M)[1]
LARGEST_ANSWER = 1048576


def extension():
    manifest = json.loads((EXTENSION / "manifest.json").read_text())
    digits = hashlib.sha256(base64.b64decode(manifest["key"])).hexdigest()[:32]
    return {
        "folder": EXTENSION,
        "chromium_id": "".join(chr(ord("a") + int(digit, 16)) for digit in digits),
        "gecko_id": manifest["browser_specific_settings"]["gecko"]["id"],
    }


class Page:
    """The sample extension's page as a user meets it."""

    def __init__(self, browser):
        self.browser = browser
        browser.open("page.html")

    def text(self, element_id):
        return self.browser.run(f"const e = document.getElementById('{element_id}');"
                                "return e.checkVisibility() ? e.textContent : '';")

    def click(self, element_id):
        self.browser.run(f"document.getElementById('{element_id}').click();")

    def fill(self, **fields):
        for element_id, value in fields.items():
            self.browser.run(f"document.getElementById('{element_id}').value = {json.dumps(value)};")

    def sign(self, *files):
        """Chooses the files, presses Sign, and returns the problem that is then shown, or ""."""
        if files:
            self.browser.choose_files("documents", files)
        self.click("sign")
        until(lambda: self.browser.run("return !document.getElementById('form').hasAttribute('aria-busy');"), "an outcome")
        return self.text("problem-title")


def register(vornctl, host, home, ids):
    run(vornctl, "register", "--host", host, "--all", "--extension-id", ids["chromium_id"], "--extension-id", ids["gecko_id"],
        env={"HOME": str(home), "PATH": os.environ["PATH"]})


def document_of(folder, size):
    """A valid document of about that many bytes."""
    file = folder / f"size-{size}.xml"
    file.write_text(f"<D><CounterpartData>{'x' * size}</CounterpartData><RenderedData/></D>")
    return file


def log_of(home):
    return (home / "vorn-signing.log").read_text()


def check(browser, home, homes, install):
    shots = pathlib.Path(sys.argv[5]) if len(sys.argv) > 5 else None

    def shoot(name):
        if shots:
            browser.screenshot(shots / f"{sys.argv[1]}-{name}.png")

    page = Page(browser)
    missing = until(lambda: page.text("problem-title"), "the missing host's words")
    expect(missing == "The signing program is not installed for this browser.", "says that the host is missing", missing)
    shoot("missing")

    install()
    page.click("retry")
    until(lambda: page.text("version") == VERSION, "the version")
    expect(page.text("problem-title") == "", "shows the version once the host is registered")

    page.fill(**JANE, aki=aki_of(homes).upper())
    shoot("ready")
    page.click("check")
    until(lambda: page.text("progress") == "This certificate would sign.", "the certificate")
    problem = page.sign(AGREEMENT)
    expect(problem == "", "signs", problem)
    expect(page.text("serial") == "1920354224474384430", "shows the certificate", page.text("serial"))
    expect("Test Authority" in page.text("issuer"), "shows its issuer", page.text("issuer"))
    shoot("signed")
    browser.run("document.querySelector('#signed a').click();")
    signed = home / "Downloads" / "agreement.signed.xml"
    until(lambda: signed.exists() and signed.stat().st_size > AGREEMENT.stat().st_size, "the download")
    for part in ("CounterpartData", "RenderedData"):
        run("xmlsec1", "--verify", "--trusted-pem", homes / "main/certificates/Test Authority.pem", "--enabled-key-data", "x509",
            "--node-xpath", f"//{part}/*[local-name()='Signature']", signed)
    expect(True, "xmlsec1 accepts both signatures in the downloaded file")

    for field, other, code in (("email", "someone.else@example.com", 107), ("name", "Someone Else", 102)):
        page.fill(**{**JANE, field: other})
        problem = page.sign()
        expect(problem == "No certificate was found for these details.", f"says that no certificate fits the {field}", problem)
        detail = page.text("problem-detail")
        expect(detail.startswith(f"Code {code}: "), "names the code", detail)
        expect(page.text("serial") == "" and page.text("signed") == "", "shows nothing of the last signing")
    shoot("wrong-user")
    page.fill(**JANE)

    problem = page.sign(ROOT / "README.md")
    expect(problem == "The document could not be read.", "says that the document is no XML", problem)

    (host,) = host_processes(home)
    os.kill(host, signal.SIGKILL)
    until(lambda: page.text("state") == "Starts when needed", "the loss of the host")
    problem = page.sign(AGREEMENT)
    expect(problem == "", "starts a lost host again", problem)
    expect(host_processes(home) not in ([], [host]), "in a new process")

    problem = page.sign(*(document_of(home, size) for size in (400001, 400002, 400003)))
    expect(problem == "", "signs what is too large for one answer in several", problem)
    expect(page.text("progress") == "All 3 documents are signed.", "tells how many", page.text("progress"))
    expect("larger than" not in log_of(home), "no answer so far was too large")
    problem = page.sign(document_of(home, LARGEST_ANSWER))
    expect(problem == "The signed documents are too large for the browser.", "says that the answer is too large", problem)
    print("        " + page.text("problem-detail"))
    expect("WARN" in log_of(home) and "larger than browsers accept" in log_of(home), "the log warns of it")
    shoot("too-large")
    problem = page.sign(AGREEMENT)
    expect(problem == "", "signs again after that", problem)


def main():
    browser_name, host, vornctl, homes = sys.argv[1], sys.argv[2], sys.argv[3], pathlib.Path(sys.argv[4])
    driver = importlib.import_module(browser_name)
    if not driver.PROGRAM:
        print(f"skipped: {driver.NAME} is not installed")
        sys.exit(SKIPPED)
    ids = extension()
    with tempfile.TemporaryDirectory(prefix="vorn-", ignore_cleanup_errors=True) as folder:
        home = pathlib.Path(folder).resolve()
        (home / "Downloads").mkdir()
        shutil.copytree(homes / "main" / ".pki", home / ".pki")
        try:
            browser = driver.Browser(home, ids)
            check(browser, home, homes, lambda: register(vornctl, host, home, ids))
            # Firefox lets a host whose answer it refused live for three seconds more.
            until(lambda: len(host_processes(home)) == 1, "one host alone", 10)
            browser.close()
        finally:
            end_started()
        until(lambda: not host_processes(home), "the host to leave with the browser", 5)
        expect(True, "closing the browser leaves no host behind")


if __name__ == "__main__":
    main()
