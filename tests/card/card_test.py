#!/usr/bin/env python3
"""A card in a reader, with the software that people have for it: card_test.py HOST VORNCTL HOMES"""

import base64
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
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
        return json.loads((host or self.host).ask(json.dumps({"type": "version", "user_details": USER})))

    def sign(self, documents=1, host=None):
        data = base64.b64encode(AGREEMENT.read_bytes()).decode()
        request = {"type": "sign", "user_details": USER, "xml_data": [{"id": str(i), "data": data} for i in range(documents)]}
        return json.loads((host or self.host).ask(json.dumps(request)))

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
        expect(answer.get("error_code") == code and re.search(text, answer["error_message"]), what, answer)


def put_in(desk):
    desk.card.insert()
    until(lambda: "Virtual" in subprocess.run(["pkcs11-tool", "-T"], env=desk.environment, capture_output=True, text=True,
                                              check=False).stdout, "the reader to see its card")


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
    card.tries = TRIES


def check_moments(desk):
    card = desk.card

    def leave_prompt():
        until(desk.questions, "the prompt")
        card.remove()
        (desk.home / "typed").write_text(PIN)

    card.remove()
    time.sleep(2)
    desk.sit_down()
    expect(desk.find().get("error_code") == 102, "finds nothing in an empty reader")
    put_in(desk)
    desk.expect_found("finds the card that is put in later")
    for moment in (GET_DATA, VERIFY, GENERAL_AUTHENTICATE):
        desk.sit_down()
        if moment != GET_DATA:
            desk.expect_found(f"finds it, with {moment:02x} to come")
        card.moments[moment] = card.remove
        answer = desk.sign()
        print(answer)
        expect(answer.get("error_code") in (100, 102, 105), f"answers when it is taken out at {moment:02x}", answer)
        put_in(desk)
        desk.expect_signed("and signs when it is back")


def main():
    t=time.time()
    global expect
    old=expect
    def expect(*a):
        print("%.1f"%(time.time()-t),end=" ")
        old(*a)
    run_alone()
    with tempfile.TemporaryDirectory(prefix="vorn-", ignore_cleanup_errors=True) as folder:
        home = pathlib.Path(folder).resolve()
        service = Service(home / "pcscd.log")
        desk = Desk(home, card_of(HOMES / "main", home, PIN))
        try:
            put_in(desk)
            check_pins(desk)
            check_moments(desk)
        finally:
            service.stop()


if __name__ == "__main__":
    main()
