#!/usr/bin/env python3
"""Signs in a real browser: browser_test.py BROWSER HOST VORNCTL HOMES [SCREENSHOTS]

BROWSER is chromium or firefox, HOMES the folder of the tests' key stores. The sample extension runs in a throw-away
home folder, in which VORNCTL registers the host; everything is done and read on its page. Ends with 77 when the browser
is not installed.
"""

import base64
import functools
import hashlib
import http.server
import importlib
import json
import os
import pathlib
import re
import shutil
import signal
import sys
import tempfile
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
from helpers import JANE, aki_of, expect, run
from process import end_started, host_processes, peak_megabytes, tree_megabytes, until

SKIPPED = 77
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
EXTENSION = ROOT / "examples" / "extension"
AGREEMENT = ROOT / "examples" / "agreement.xml"
VERSION = re.search(r"^project\(.* VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text(), re.M)[1]


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

    def text(self, element_id):
        return self.browser.run(f"const e = document.getElementById('{element_id}');"
                                "return e.checkVisibility() ? e.textContent : '';")

    def click(self, element_id):
        self.browser.run(f"document.getElementById('{element_id}').click();")

    def fill(self, **fields):
        for element_id, value in fields.items():
            self.browser.run(f"""const e = document.getElementById('{element_id}'); e.value = {json.dumps(value)};
                             e.dispatchEvent(new Event('input'));""")

    def choose(self, *files):
        self.browser.choose_files("documents", files)
        until(lambda: self.browser.run(f"""const rows = [...document.querySelectorAll('#items > li')];
              return rows.length === {len(files)} && rows.every((row) => row.querySelector('.contents').hasChildNodes());"""),
              "what the files say")
        self.wait_until_live()

    def wait_until_live(self):
        until(lambda: not self.browser.run("return document.getElementById('sign').disabled;"), "the button")

    def wait(self):
        """Returns when the signing is over: the problem that is then shown, or ""."""
        until(lambda: self.browser.run("return !document.getElementById('form').hasAttribute('aria-busy');"), "an outcome", 50)
        return self.text("problem-title")

    def sign(self, *files):
        if files:
            self.choose(*files)
        self.wait_until_live()
        self.click("sign")
        return self.wait()

    def outcomes(self):
        return self.browser.run("return [...document.querySelectorAll('#items .outcome')].map((e) => e.textContent);")

    def download(self):
        self.browser.run("document.querySelector('#items a').click();")

    def offered(self, folder):
        """Saves what every link holds, under the name that it gives. Browsers save no thirty files unasked."""
        names = self.browser.run("return [...document.querySelectorAll('#items a')].map((e) => e.download);")
        for number, name in enumerate(names):
            data = self.browser.run(f"""const blob = await (await fetch(document.querySelectorAll('#items a')[{number}].href)).blob();
                const reader = new FileReader();
                return await new Promise((done) => {{
                  reader.onload = () => done(reader.result.split(',')[1]);
                  reader.readAsDataURL(blob);
                }});""")
            (folder / name).write_bytes(base64.b64decode(data))
        return len(names)


def register(vornctl, host, home, ids):
    run(vornctl, "register", "--host", host, "--all", "--extension-id", ids["chromium_id"], "--extension-id", ids["gecko_id"],
        env={"HOME": str(home), "PATH": os.environ["PATH"]})


def document_of(folder, name, size):
    """A valid document of about that many bytes, most of them a scan such as contracts carry."""
    file = folder / name
    scan = base64.b64encode(os.urandom(size * 3 // 4)).decode()
    file.write_text(f"<D><CounterpartData><Sum>12.50</Sum></CounterpartData><RenderedData>{scan}</RenderedData></D>")
    return file


def expect_signed(homes, home, file):
    signed = home / "Downloads" / f"{file.stem}.signed.xml"
    size = file.stat().st_size + 4000
    until(lambda: signed.exists() and signed.stat().st_size > size, f"the download of {signed.name}")
    until(lambda: not signed.with_name(signed.name + ".part").exists(), "its end")
    for part in ("CounterpartData", "RenderedData"):
        run("xmlsec1", "--verify", "--trusted-pem", homes / "main/certificates/Test Authority.pem", "--enabled-key-data", "x509",
            "--node-xpath", f"//{part}/*[local-name()='Signature']", signed)
    signed.unlink()


def check_page(browser, page, home, homes, install, shoot):
    browser.open("page.html")
    missing = until(lambda: page.text("problem-title"), "the missing host's words")
    expect(missing == "The signing program is not installed for this browser.", "says that the host is missing", missing)
    commands = page.text("problem-commands")
    expect(f"--extension-id {page.text('extension-id')}" in commands, "gives the command that helps", commands)
    shoot("missing")

    install()
    page.click("retry")
    until(lambda: page.text("version") == VERSION, "the version")
    expect(page.text("problem-title") == "", "shows the version once the host is registered")

    page.fill(**JANE, aki="zz")
    expect(not browser.run("return document.getElementById('aki').checkValidity();"), "takes no key identifier that is none")
    command = page.text("setup-command")
    expect("vornctl identities --for-page --name='Jane Citizen' --email=jane@example.com" in command, "gives the command that fills in the rest", command)
    page.fill(pasted="jane@pc:~$ " + command)
    expect("not the line" in page.text("pasted-outcome"), "takes nothing else", page.text("pasted-outcome"))
    page.fill(pasted="jane@pc:~$ ...\n" + json.dumps({**JANE, "abn": "12 345 678 901", "aki": [aki_of(homes).upper()]}) + "\njane@pc:~$")
    expect(page.text("pasted-outcome") == "Filled in for Jane Citizen.", "takes what the command prints")
    browser.run("document.getElementById('remember').checked = true;")
    page.click("check")
    until(lambda: page.text("progress") == "This certificate was found.", "the certificate")
    odd = home / "odd.xml"
    odd.write_text("<!DOCTYPE D [<!ATTLIST a b CDATA 'c'>]><D xmlns='urn:d'><CounterpartData x='1&#10;B: “2”'>\u202ecafé<!-- hidden -->, joined"
                   "<b>1&#10;Sum: 2\u3164</b><a><Signature xmlns='http://www.w3.org/2000/09/xmldsig#'>"
                   "and more</Signature></a></CounterpartData><RenderedData/></D>", encoding="utf-16")
    page.choose(odd)
    shown = page.text("items")
    expect("“‹U+202E›café, joined”" in shown and "default namespace" in shown and "hidden" not in shown, "shows every encoding as it is", shown)
    expect(all(text in shown for text in ("x=“1‹U+000A›B: ‹U+201C›2‹U+201D›”", "“1”\n“Sum: 2‹U+3164›”\n", "document type")),
           "shows no text or value that looks like an element", shown)
    expect("Signature: “and more”" in shown, "shows what an earlier signature holds, which the new one covers", shown)
    page.choose(AGREEMENT)
    shown = page.text("items")
    expect("Name: “Wattlebird Equipment Hire Pty Ltd”" in shown and "RenderedData" in shown, "shows what would be signed", shown)
    shoot("ready")
    moment = browser.run("""const sign = document.getElementById('sign'), start = performance.now();
        document.getElementById('documents').dispatchEvent(new Event('change'));
        await new Promise((done) => setTimeout(done, 500));
        window.dispatchEvent(new Event('focus'));
        while (sign.disabled) await new Promise((done) => setTimeout(done, 10));
        return performance.now() - start;""")
    expect(moment >= 1500, "lets nobody sign within a moment of what is new, or of coming back", moment)
    problem = page.sign()
    expect(problem == "", "signs", problem)
    expect(page.text("serial") == "1920354224474384430", "shows the certificate", page.text("serial"))
    expect("Test Authority" in page.text("issuer"), "shows its issuer", page.text("issuer"))
    shoot("signed")
    page.download()
    expect_signed(homes, home, AGREEMENT)
    expect(True, "xmlsec1 accepts both signatures in the downloaded file")

    for field, other, code in (("email", "someone.else@example.com", 107), ("name", "Someone Else", 102)):
        page.fill(**{**JANE, field: other})
        problem = page.sign()
        expect(problem == "No certificate was found for these details.", f"says that no certificate fits the {field}", problem)
        expect(f"--email={other}" in page.text("problem-commands") or f"--name='{other}'" in page.text("problem-commands"), "gives the command that says why")
        detail = page.text("problem-detail")
        expect(detail == f"Code {code}", "names the code", detail)
        expect(page.text("serial") == "" and page.outcomes() == [""], "shows nothing of the last signing")
    shoot("wrong-user")
    page.fill(**JANE)

    problem = page.sign(ROOT / "README.md")
    expect(problem == "The document could not be read.", "says that the document is no XML", problem)
    expect(not browser.run("return document.querySelector('#items .remark').checkVisibility();"), "once")
    (host,) = host_processes(home)
    os.kill(host, signal.SIGKILL)
    until(lambda: page.text("state") == "Starts when needed", "the loss of the host")
    problem = page.sign(AGREEMENT)
    expect(problem == "", "starts a lost host again", problem)
    expect(host_processes(home) not in ([], [host]), "in a new process")


def check_large(browser, page, home, homes, shoot):
    def timed(what, *files):
        page.choose(*files)
        expect("Sum: “12.50”" in page.text("items"), f"shows {what}")
        start = time.monotonic()
        problem = page.sign()
        print(f"        {what}: {time.monotonic() - start:.1f} s, host's memory at most "
              f"{peak_megabytes(host_processes(home)[0]):.0f} MB, the browser's now {tree_megabytes(browser.process.pid):.0f} MB", flush=True)
        expect(problem == "", f"signs {what}", problem)

    large = document_of(home, "large.xml", 7000000)
    timed("a document of 7 MB", large)
    page.download()
    expect_signed(homes, home, large)

    batch = [document_of(home, f"batch-{number}.xml", round(1000 * 2000 ** (number / 29))) for number in range(30)]
    good = batch[:17] + batch[18:]
    batch[17].write_text("<D><CounterpartData></D>")
    timed("a batch of thirty, of which one is broken", *batch)
    expect(browser.run("return document.querySelectorAll('#items details[open]').length;") == 29, "all of them unfolded")
    expect(page.text("progress") == "29 of 30 documents are signed.", "tells how many", page.text("progress"))
    expect([number for number, outcome in enumerate(page.outcomes()) if outcome != "Signed"] == [17], "and which one is not")
    shoot("batch")
    expect(page.offered(home / "Downloads") == 29, "offers every file")
    for file in good:
        expect_signed(homes, home, file)
    expect(True, "xmlsec1 accepts them all")

    def one_is_signed():
        return "Signed" in page.outcomes()

    page.click("sign")
    until(one_is_signed, "the first of them")
    page.click("stop")
    problem = page.wait()
    outcomes = page.outcomes()
    expect(problem == "Signing was stopped." and "Not signed" in outcomes and "Signed" in outcomes,
           "stops in the middle, and keeps what was signed", outcomes)


def check_web_page(browser, page, home, homes, shoot):
    """A page on the web hands over a document, and gets it back signed when the person agrees."""
    class Quiet(http.server.SimpleHTTPRequestHandler):
        def log_message(self, *_):
            pass

    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(Quiet, directory=ROOT / "examples"))
    threading.Thread(target=server.serve_forever, daemon=True).start()
    origin = f"http://localhost:{server.server_port}"
    browser.open_address(f"{origin}/web-page/")
    until(lambda: browser.run("return document.documentElement.dataset.vornSigning === 'ready';"), "the content script")
    until(lambda: browser.run("return document.getElementById('document').value !== '';"), "the document")
    for button, outcome in (("decline", "You did not sign."), ("sign", "Signed.")):
        browser.switch_to(origin)
        page.click("sign")
        browser.switch_to("page.html#")
        until(lambda: "Wattlebird" in page.text("items"), "the document in the extension's window")
        expect(page.text("request-title") == f"{origin} asks for your signature", "names the page that asks", page.text("request-title"))
        shoot(f"request-{button}")
        expect(browser.run("return document.getElementById('name').value;") == JANE["name"], "remembers who signs")
        if button == "sign":
            expect(page.sign() == "" and page.outcomes() == ["Signed"], "signs for the page", page.text("problem-title"))
            shoot("request-signed")
            browser.run("setTimeout(() => document.getElementById('decline').click(), 50);")
        else:
            browser.run("setTimeout(() => document.getElementById('decline').click(), 50);")
        browser.switch_to(origin)
        until(lambda: page.text("outcome") == outcome, f"the page to say: {outcome}")
        expect(True, f"the page learns of it: {outcome}")
    browser.run("document.getElementById('signed').click();")
    expect_signed(homes, home, AGREEMENT)
    expect(True, "xmlsec1 accepts what the page got")
    server.shutdown()


def check(browser, home, homes, install):
    shots = pathlib.Path(sys.argv[5]) if len(sys.argv) > 5 else None

    def shoot(name):
        if shots:
            browser.screenshot(shots / f"{sys.argv[1]}-{name}.png")

    page = Page(browser)
    check_page(browser, page, home, homes, install, shoot)
    check_large(browser, page, home, homes, shoot)
    expect("larger than" not in (home / "vorn-signing.log").read_text(), "no answer was too large for a browser")
    check_web_page(browser, page, home, homes, shoot)


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
            browser.close()
        finally:
            end_started()
        until(lambda: not host_processes(home), "the host to leave with the browser", 5)
        expect(True, "closing the browser leaves no host behind")


if __name__ == "__main__":
    main()
