#!/usr/bin/env python3
"""Shows the host at work: demo.py HOST signs agreement.xml and has xmlsec1 judge the result.

Everything happens in a throw-away home folder. The exit status is not 0 as soon as anything is not as it should be.
"""

import base64
import json
import os
import pathlib
import subprocess
import sys
import tempfile

from talk import Host

HERE = pathlib.Path(__file__).resolve().parent
MAKE_IDENTITY = HERE / "make-identity"
PARTS = ("CounterpartData", "RenderedData")


def paint(code, text):
    return f"\033[{code}m{text}\033[0m" if sys.stdout.isatty() else text


def step(text):
    print("\n" + paint("1;36", text), flush=True)


def expect(condition, what):
    """Prints the outcome of one check and ends the demonstration at the first that fails."""
    print("  " + (paint("32", "ok") if condition else paint("1;31", "FAILED")) + "  " + what, flush=True)
    if not condition:
        sys.exit(1)


def shortened(value):
    if isinstance(value, dict):
        return {key: shortened(item) for key, item in value.items()}
    if isinstance(value, list):
        return [shortened(item) for item in value]
    if isinstance(value, str) and len(value) > 80:
        return f"{value[:32]}... ({len(value)} characters)"
    return value


def show(title, message):
    print(paint("2", title))
    for line in json.dumps(shortened(message), indent=2, ensure_ascii=False).splitlines():
        print("  " + line)


def verifies(home, document, part):
    """Whether xmlsec1 accepts the signature of one part, made with a certificate of the demonstration's authority."""
    signed = home / "signed.xml"
    signed.write_bytes(document)
    verdict = subprocess.run(
        ["xmlsec1", "--verify", "--trusted-pem", str(home / "certificates" / "Demo Authority.pem"),
         "--enabled-key-data", "x509", "--node-xpath", f"//{part}/*[local-name()='Signature']", str(signed)],
        capture_output=True, check=False)
    return verdict.returncode == 0


def make_identity(home):
    lines = subprocess.run(
        [MAKE_IDENTITY, "--authority", "Demo Authority", "--name", "Robin Banksia", "--email", "robin@example.com",
         "--abn", "98765432109", str(home)],
        check=True, capture_output=True, text=True).stdout
    return dict(line.split("=", 1) for line in lines.splitlines())


def main(host_path):
    with tempfile.TemporaryDirectory() as folder:
        home = pathlib.Path(folder)

        step("1. A throw-away home with a certificate authority and an identity in the NSS key store")
        identity = make_identity(home)
        print(f"  Robin Banksia, issued by Demo Authority (key identifier {identity['aki']})")

        step("2. The host is started, as a browser starts it, and asked who it is")
        host = Host(host_path, {**os.environ, "HOME": folder})
        version = json.loads(host.ask('{"type": "version"}') or "{}")
        expect(version.get("result") == "ok", f"version {version.get('version')} on {version.get('os_type')}")

        step("3. A hire agreement of two parts is sent to be signed")
        document = (HERE / "agreement.xml").read_bytes()
        request = {
            "type": "sign",
            "user_details": {"name": "Robin Banksia", "email": "robin@example.com", "abn": "98765432109",
                             "aki": [identity["aki"]]},
            "xml_data": [{"id": "agreement", "data": base64.b64encode(document).decode()}],
        }
        show("request", request)
        answer = json.loads(host.ask(json.dumps(request)) or "{}")
        show("answer", answer)
        expect(answer.get("result") == "ok", "the host signed")
        signed = base64.b64decode(answer["signed_data"][0]["data"])

        step("4. Another implementation, xmlsec1, checks both signatures and the certificate's chain")
        for part in PARTS:
            expect(verifies(home, signed, part), f"the signature of {part} is good")

        step("5. One character is changed")
        for part, before, after in ((PARTS[0], b">2500.00<", b">3500.00<"), (PARTS[1], b"$2,500.00", b"$3,500.00")):
            expect(signed.count(before) == 1, f"{before.strip(b'<>').decode()} becomes {after.strip(b'<>').decode()}")
            changed = signed.replace(before, after)
            other = PARTS[1 - PARTS.index(part)]
            expect(not verifies(home, changed, part), f"the signature of {part} is refused")
            expect(verifies(home, changed, other), f"the signature of {other}, which did not change, is still good")

        step("6. The browser closes the connection")
        expect(host.close() == 0, "the host has left with status 0")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
