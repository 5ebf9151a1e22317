#!/usr/bin/env python3
"""A card with a PIN, from the page in Chromium to xmlsec1: pin_test.py HOST VORNCTL HOMES [--reader] [PICTURE]

The card is the software token or, with --reader, one in a card reader. The desktop's own pinentry asks on a display without a screen, and xdotool types. PICTURE is where the prompt is saved as it
looks; that alone needs ImageMagick.
"""

import os
import pathlib
import subprocess
import sys
import tempfile

TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path[:0] = [str(TESTS), str(TESTS / "card")]
import chromium
from browser_test import AGREEMENT, Page, ROOT, document_of, expect_signed, extension, register
from card import card_of
from helpers import JANE, aki_of, expect, run
from process import end_started, host_processes, start, until
from reader import Service, run_alone

HOST, VORNCTL, HOMES = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
PIN = "73915264"
IN_READER = "--reader" in sys.argv


def start_display(home):
    """Sets DISPLAY to a display of its own."""
    numbers, number = os.pipe()
    start(["Xvfb", "-displayfd", str(number), "-screen", "0", "800x600x24", "-nolisten", "tcp"], home, pass_fds=(number,))
    os.close(number)
    os.environ["DISPLAY"] = f":{os.read(numbers, 16).decode().strip()}"


def prompts():
    return subprocess.run(["xdotool", "search", "--onlyvisible", "--name", "^VORN Signing$"], capture_output=True, text=True,
                          check=False).stdout.split()


def answer(*keys):
    """Types into the prompt once it is there, and waits until it has gone."""
    window = until(prompts, "the prompt")[0]
    run("xdotool", "windowfocus", "--sync", window)
    if keys[0] == PIN and len(sys.argv) > 4 and not IN_READER:
        run("import", "-window", window, "-strip", sys.argv[4])
    for key in keys:
        run("xdotool", *(["type", key] if key.isdigit() else ["key", key]))
    until(lambda: window not in prompts(), "the prompt to go")


def check(browser, home):
    page = Page(browser)
    browser.open("page.html")
    page.fill(**JANE, aki=aki_of(HOMES))
    browser.run("Date.now = () => Date.parse('2049-06-28');")
    page.click("check")
    until(lambda: page.text("progress").startswith("This certificate was found."), "the certificate")
    expect(page.text("ending").startswith("This certificate ends in 2 days."), "says that it ends soon", page.text("ending"))
    expect(not prompts(), "finds the certificate without a question")
    second = document_of(home, "second.xml", 2000)
    page.choose(AGREEMENT, second)
    page.click("sign")
    answer("00000000", "Return")
    answer(PIN, "Return")
    expect(page.wait() == "" and page.outcomes() == ["Signed", "Signed"], "signs two documents for one PIN", page.outcomes())
    page.download()
    expect_signed(HOMES, home, AGREEMENT)
    expect(True, "xmlsec1 accepts what was signed")
    page.choose(second)
    page.click("sign")
    answer("Escape")
    expect(page.wait() == "You closed the question for your PIN, so nothing more was signed.", "says that nothing was signed when the person cancels", page.text("problem-title"))
    page.click("sign")
    until(prompts, "the prompt")


def give_token(home):
    if IN_READER:
        Service(home / "pcscd.log")
        card_of(HOMES / "main", home, PIN).insert()
        return
    run(ROOT / "tests/e2e/make-token", home, "/usr/lib/softhsm/libsofthsm2.so", HOMES / "main")
    os.environ["SOFTHSM2_CONF"] = str(home / "softhsm.conf")


def main():
    if IN_READER:
        run_alone()
    ids = extension()
    with tempfile.TemporaryDirectory(prefix="vorn-", ignore_cleanup_errors=True) as folder:
        home = pathlib.Path(folder).resolve()
        (home / "Downloads").mkdir()
        give_token(home)
        register(VORNCTL, HOST, home, ids)
        try:
            start_display(home)
            browser = chromium.Browser(home, ids)
            check(browser, home)
            browser.close()
            until(lambda: not prompts() and not host_processes(home), "prompt and host to leave with the browser", 10)
            expect("Executable removed" in (home / "vorn-signing.log").read_text().splitlines()[-1], "prompt and host leave in order")
        finally:
            end_started()


if __name__ == "__main__":
    main()
