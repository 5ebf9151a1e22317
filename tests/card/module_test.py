#!/usr/bin/env python3
"""A token library with a fault, at each call that the host makes: module_test.py HOST VORNCTL MODULE HOMES

MODULE is the software token of tests/e2e. All cases run at the same time, as those of a library that hangs do nothing but wait.
"""

import base64
import concurrent.futures
import json
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import threading
import time

TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path[:0] = [str(TESTS), str(TESTS / "browser"), str(TESTS.parent / "examples")]
from helpers import JANE, aki_of, run
from process import until
from talk import Host

HOST, VORNCTL, MODULE, HOMES = [pathlib.Path(argument).resolve() for argument in sys.argv[1:]]
DATA = base64.b64encode((TESTS.parent / "examples/agreement.xml").read_bytes()).decode()
SIGN = json.dumps({"type": "sign", "user_details": {**JANE, "aki": [aki_of(HOMES)]}, "xml_data": [{"id": "1", "data": DATA}]})
PATIENCE = 120

IN_SEARCH = ["dlopen", "C_GetFunctionList", "C_Initialize", "C_GetInfo", "C_GetSlotList", "C_GetSlotInfo", "C_GetTokenInfo",
             "C_GetMechanismList", "C_OpenSession", "C_FindObjectsInit", "C_FindObjects", "C_GetAttributeValue"]
IN_SIGNATURE = ["C_Login", "C_SignInit", "C_Sign"]
LOUD = ["print", "slow"]
DEEDS = ["crash", "exit", "close", "signals", *LOUD]
CASES = [
    *((function, "hang", others) for function in IN_SEARCH for others in (True, False)),
    ("any", "slow", False), ("C_FindObjects", "spin", False),
    *((function, "hang", False) for function in IN_SIGNATURE),
    *((function, deed, False) for function in ("C_Initialize", "C_FindObjects", "C_Login", "C_Sign") for deed in DEEDS),
    *(("C_GetTokenInfo", deed, True) for deed in DEEDS),
]

ENDINGS = [(function, deed, is_killed) for function in ("C_Initialize", "C_FindObjects", "C_Login", "C_Sign")
           for deed in ("hang", "signals") for is_killed in (True, False)]


class Quiet(Host):
    """One whose library may print what it likes."""

    def __init__(self, path, environment):
        self.process = subprocess.Popen([path], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                        env=environment)


class Case:
    def __init__(self, template, home, function, deed, others):
        self.home, self.function, self.deed, self.others = home, function, deed, others
        shutil.copytree(template, home)
        for name in ("softhsm.conf", ".config/pkcs11/modules/token.module"):
            (home / name).write_text((home / name).read_text().replace(str(template), str(home)))
        if others:
            shutil.copytree(HOMES / "main/.pki", home / ".pki")
        self.fault = home / "token.so.fault"
        self.fault.write_text(f"{function} {deed}")
        (home / "answers").write_text("73915264\n")
        self.environment = {**os.environ, "HOME": str(home), "SOFTHSM2_CONF": str(home / "softhsm.conf"),
                            "VORN_PINENTRY": str(TESTS / "e2e/scripted-pinentry")}
        self.host = Quiet(HOST, self.environment)

    def run(self):
        patience = threading.Timer(PATIENCE, self.host.process.kill)
        patience.start()
        try:
            return self.faults()
        except Exception as problem:  # one case is not to end the others
            return [repr(problem)]
        finally:
            patience.cancel()
            self.host.process.kill()

    def sign(self):
        answer = self.host.ask(SIGN)
        return json.loads(answer) if answer else {"error_code": -1, "error_message": f"none, {self.host.process.wait()}"}

    def faults(self):
        """What is not as it should be."""
        faults = []
        start = time.monotonic()
        answer = self.sign()
        if self.deed == "close" and answer["result"] == "ok":
            pass  # whom it hurts depends on what was open
        elif self.others or self.deed in LOUD:
            if answer["result"] != "ok":
                faults.append(f"is not signed: {answer}")
        elif answer.get("error_code") != 100 or not re.search(r"token\.so", answer["error_message"]):
            faults.append(f"is answered {answer}")
        call = "its start" if self.function == "dlopen" else self.function
        if self.deed not in ("close", *LOUD) and not re.search(rf"WARN .*token\.so.*{call}", self.log()):
            faults.append("is not logged")
        if time.monotonic() - start > 60:
            faults.append(f"takes {time.monotonic() - start} seconds")
        self.fault.unlink()
        answer = self.sign()
        if answer["result"] != "ok":
            faults.append(f"is not signed afterwards: {answer}")
        return faults

    def log(self):
        return (self.home / "vorn-signing.log").read_text()


def family(pid):
    """The process and all that have come of it, each with the time of its start."""
    members = {pid}
    processes = {}
    for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
        try:
            fields = stat.read_text().rpartition(")")[2].split()
        except OSError:
            continue
        processes[int(stat.parent.name)] = (int(fields[1]), fields[19])
    while True:
        more = {one for one, (parent, _) in processes.items() if parent in members} - members
        if not more:
            return {(one, processes[one][1]) for one in members if one in processes}
        members |= more


def is_alive(member):
    pid, start = member
    try:
        fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
        return fields[19] == start and fields[0] not in "ZX"
    except OSError:
        return False


class Advice(Case):
    """What people are told while the library hangs."""

    def faults(self):
        faults = []
        said, taken = self.vornctl("doctor")
        if not re.search(rf"token\.so.*{self.function}", said) or "remove" in said or "install it again" in said or taken > 30:
            faults.append(f"the doctor says after {taken} seconds: {said}")
        self.fault.unlink()
        signed = self.home / "signed.xml"
        signed.write_bytes(base64.b64decode(self.sign()["signed_data"][0]["data"]))
        self.fault.write_text(f"{self.function} {self.deed}")
        said, taken = self.vornctl("verify", "--trusted", HOMES / "main/certificates/Test Authority.pem", signed)
        if not re.search("passed", said) or taken > 10:
            faults.append(f"the verdict after {taken} seconds: {said}")
        return faults

    def vornctl(self, *arguments):
        start = time.monotonic()
        done = subprocess.run([VORNCTL, *arguments], capture_output=True, text=True, env=self.environment, check=False)
        return done.stdout + done.stderr, time.monotonic() - start


class Ending(Case):
    """Whoever asks goes while the library is in its call."""

    def __init__(self, template, home, function, deed, is_killed):
        super().__init__(template, home, function, deed, False)
        self.is_killed = is_killed

    def faults(self):
        process = self.host.process
        process.stdin.write(struct.pack("=I", len(SIGN)) + SIGN.encode())
        process.stdin.flush()
        until((self.home / "token.so.met").exists, "the call", 60)
        members = family(process.pid)
        if self.is_killed:
            process.kill()
        else:
            process.stdin.close()
        try:
            until(lambda: not any(map(is_alive, members)), "the end", 2)
        except TimeoutError:
            return [f"lives on: {[pathlib.Path(f'/proc/{pid}/comm').read_text() for pid, start in members if is_alive((pid, start))]}"]
        return [] if len(members) > 1 else ["has nobody else"]


def main():
    with tempfile.TemporaryDirectory(prefix="vorn-", ignore_cleanup_errors=True) as folder:
        template = pathlib.Path(folder).resolve() / "template"
        template.mkdir()
        shutil.copy(MODULE, template / "token.so")
        run(TESTS / "e2e/make-token", template, template / "token.so", HOMES / "main")
        cases = [Case(template, template.parent / str(number), *case) for number, case in enumerate(CASES)]
        cases += [Ending(template, template.parent / f"ending{number}", *case) for number, case in enumerate(ENDINGS)]
        cases += [Advice(template, template.parent / function, function, "hang", False) for function in IN_SEARCH[2::3]]
        failed = False
        with concurrent.futures.ThreadPoolExecutor(len(cases)) as pool:
            for case, faults in zip(cases, pool.map(lambda case: case.run(), cases)):
                print("FAILED " if faults else "ok     ", case.function, case.deed, type(case).__name__, case.others, *faults)
                failed = failed or faults
        sys.exit(bool(failed))


if __name__ == "__main__":
    main()
