#!/usr/bin/env python3
"""A card in a reader, with the software that people have for it: card_test.py HOST VORNCTL HOMES"""

import base64
import concurrent.futures
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import threading
import time

TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path[:0] = [str(TESTS), str(TESTS / "browser"), str(TESTS.parent / "examples")]
from card import GENERAL_AUTHENTICATE, GET_DATA, TRIES, VERIFY, card_of
from helpers import JANE, aki_of, expect, run
from process import until
from reader import Service, run_alone
from talk import Host

HOST, VORNCTL, HOMES = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
PIN = "73915264"
AGREEMENT = TESTS.parent / "examples/agreement.xml"
USER = {**JANE, "aki": [aki_of(HOMES)]}

# OpenSC 0.23 may wait for itself when a card leaves.
OUT = "is not in its reader|opensc-pkcs11.so"
FIND = json.dumps({"type": "version", "user_details": USER})


class Desk:
    """A home folder whose prompt gives these answers, and hosts that a browser has started there."""

    def __init__(self, folder, card):
        self.home, self.card = folder, card
        self.environment = {**os.environ, "HOME": str(folder), "VORN_PINENTRY": str(TESTS / "e2e/scripted-pinentry")}
        self.host = None

    def sit_down(self, *answers, tries=TRIES):
        """Everything as it is in the morning."""
        if self.host:
            self.host.close()
        self.card.tries, self.card.moments = tries, {}
        self.answer(*answers)
        self.host = Host(HOST, self.environment)

    def answer(self, *answers):
        (self.home / "answers").write_text("\n".join(answers or [PIN]) + "\n")
        for name in ("prompts", "typed"):
            (self.home / name).unlink(missing_ok=True)

    def prompts(self):
        file = self.home / "prompts"
        return file.read_text() if file.exists() else ""

    def questions(self):
        return self.prompts().count("GETPIN")

    def find(self, host=None):
        return json.loads((host or self.host).ask(FIND))

    def sign(self, documents=1, host=None):
        data = base64.b64encode(AGREEMENT.read_bytes()).decode()
        request = {"type": "sign", "user_details": USER, "xml_data": [{"id": str(i), "data": data} for i in range(documents)]}
        return json.loads((host or self.host).ask(json.dumps(request)))

    def expect_doctor(self, text):
        said = []
        taken = seconds(lambda: said.append(subprocess.run([VORNCTL, "doctor"], env=self.environment, capture_output=True, text=True,
                                                           check=False).stdout))
        expect(re.search(text, said[0]) and taken < 30, f"doctor says {text}, after {taken:.1f} s", said[0])

    def expect_found(self, what):
        answer = self.find()
        expect(answer.get("error_code", 0) == 0, what, answer)

    def expect_signed(self, what, documents=1, questions=1):
        self.answer()
        answer = self.sign(documents)
        expect(answer.get("error_code", 0) == 0 and self.questions() == questions, what, (answer, self.questions()))
        for document in answer["signed_data"]:
            signed = self.home / "signed.xml"
            signed.write_bytes(base64.b64decode(document["data"]))
            run("xmlsec1", "--verify", "--trusted-pem", HOMES / "main/certificates/Test Authority.pem", signed)

    def expect_refused(self, what, text, code=105):
        answer = self.sign()
        codes = code if isinstance(code, tuple) else (code,)
        expect(answer.get("error_code") in codes and re.search(text, answer["error_message"]), what, answer)


def check_pins(desk):
    card = desk.card
    desk.sit_down()
    desk.expect_found("finds the card")
    expect(desk.questions() == 0 and card.pins == 0, "and asks nobody")
    desk.expect_signed("signs five documents for one PIN", 5)
    expect(card.tries == TRIES and card.pins >= card.signatures == 10, "and gives it before each signature", (card.pins, card.signatures))
    desk.sit_down("00000000", PIN)
    expect(desk.sign().get("error_code", 0) == 0 and desk.questions() == 2, "asks again after a wrong PIN", desk.prompts())
    expect("SETERROR Wrong PIN" in desk.prompts(), "and says that it was wrong", desk.prompts())
    desk.sit_down("00000000", "cancel", tries=2)
    desk.expect_refused("gives the last try to nobody", "cancelled")
    expect(card.tries == 1 and "1 try left" in desk.prompts(), "and announces it", desk.prompts())
    desk.sit_down("00000000", tries=1)
    desk.expect_refused("says that the PIN is blocked", "locked|blocked")
    asked = desk.questions()
    desk.expect_refused("and says so again", "locked|blocked")
    expect(card.tries == 0 and desk.questions() == asked, "without a question", desk.prompts())
    desk.expect_doctor('PIN of the token "Jane Citizen" is blocked')
    card.tries = TRIES


def check_moments(desk):
    """The card is taken out at each moment, and put in again."""
    card = desk.card
    card.remove()
    desk.sit_down()
    expect(desk.find().get("error_code") == 102, "finds nothing in an empty reader")
    desk.expect_doctor("there is no card in the reader .Virtual PCD")
    card.insert()
    desk.expect_found("finds the card that is put in later")
    desk.expect_signed("and signs with it")
    card.remove()
    desk.expect_refused("says when it is out", OUT, (100, 105))
    card.insert()
    desk.expect_signed("and signs when it is back")

    desk.answer("wait")
    leaving = threading.Thread(target=leave_prompt, args=(desk,))
    leaving.start()
    desk.expect_refused("says that it left while the PIN was typed", OUT, (100, 105))
    leaving.join()
    card.insert()
    desk.expect_signed("and signs when it is back")

    for moment, name, after in ((GET_DATA, "it is read", 0), (VERIFY, "it is given its PIN", 0),
                                (GENERAL_AUTHENTICATE, "it signs", 0), (GENERAL_AUTHENTICATE, "it signs the second time", 1)):
        desk.sit_down()
        if moment != GET_DATA:
            desk.expect_found("finds it")
        card.leave_at(moment, after)
        desk.expect_refused(f"says that it left while {name}", OUT if after or moment != GET_DATA else "", (100, 102, 105))
        expect(card.tries == TRIES, "without a wrong PIN")
        card.insert()
        desk.expect_signed("and signs when it is back")


def leave_prompt(desk):
    until(desk.questions, "the prompt")
    desk.card.remove()
    (desk.home / "typed").write_text(PIN)


def check_service(desk, service):
    desk.sit_down()
    desk.expect_found("finds the card")
    service.stop()
    answer = desk.sign()
    expect(answer.get("error_code") in (100, 102, 105), "answers without the service for readers", answer)
    service.start()
    desk.card.insert()
    desk.expect_signed("and signs when that is back")


def check_hosts(desk):
    """One signs as long as its PIN is typed and more, the other finds, waits and signs."""
    desk.sit_down("wait", PIN)
    desk.expect_found("finds the card")
    other = Host(HOST, desk.environment)
    with concurrent.futures.ThreadPoolExecutor() as pool:
        first = pool.submit(desk.sign, 5)
        until(desk.questions, "the prompt")
        found = pool.submit(desk.find, other)
        expect(found.result().get("error_code", 0) == 0, "another host finds it while one asks", found.result())
        (desk.home / "typed").write_text(PIN)
        second = pool.submit(desk.sign, 5, other)
        for signed in (first, second):
            expect(signed.result().get("error_code", 0) == 0, "both sign", signed.result())
    other.close()


def check_slowness(desk):
    desk.card.delay = 0.2
    expected = seconds(lambda: run("pkcs11-tool", "-O", env=desk.environment))
    desk.sit_down()
    taken = seconds(lambda: desk.expect_found("finds a slow card"))
    expect(taken <= 1.5 * expected + 0.5, f"in time, {taken:.1f} s beside {expected:.1f} s")
    desk.expect_signed("and signs with it")
    desk.expect_doctor("1 of 1 identities can sign")


def seconds(work):
    start = time.monotonic()
    work()
    return time.monotonic() - start


def main():
    run_alone()
    with tempfile.TemporaryDirectory(prefix="vorn-", ignore_cleanup_errors=True) as folder:
        home = pathlib.Path(folder).resolve()
        service = Service(home / "pcscd.log")
        desk = Desk(home, card_of(HOMES / "main", home, PIN))
        try:
            desk.card.insert()
            check_pins(desk)
            check_moments(desk)
            check_service(desk, service)
            check_hosts(desk)
            check_slowness(desk)
        finally:
            service.stop()


if __name__ == "__main__":
    main()
