"""Every program under examples/verifying accepts what the host signed and refuses what was done to it afterwards."""

import pathlib
import re
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
from helpers import expect, run

ROOT = pathlib.Path(__file__).resolve().parents[2]
VERIFYING = ROOT / "examples" / "verifying"
VORNCTL, BUILD = map(pathlib.Path, sys.argv[1:])

# What canonical forms differ in: scope from above, attributes' order, escapes, line ends, what is no text.
DIFFICULT = """<?xml version="1.0" encoding="UTF-8"?>
<a:Doc xmlns:a="urn:a" xmlns:b="urn:b" xml:space="preserve"><Mid xmlns:a="urn:a2" xml:lang="de">
<CounterpartData b:x="1" a:x="2" z="3"><b:q xmlns:c="urn:c" c:y='&quot;&#9;&#10;&#13;'>a&amp;b &lt;&gt; "' \U0001F600\u0085\u2028
</b:q><!-- c --><?pi some data?><![CDATA[<x>&]]> 2500.00</CounterpartData>
<RenderedData><r xmlns="urn:r"><s xmlns=""/></r>text</RenderedData></Mid></a:Doc>
"""


def verifiers():
    run("javac", "-d", BUILD, VERIFYING / "Verify.java")
    run("mcs", "-r:System.Security", f"-out:{BUILD / 'Verify.exe'}", VERIFYING / "Verify.cs")
    return {
        "Java": ["java", "-Xshare:auto", "-cp", BUILD, "Verify"],
        ".NET": ["mono", BUILD / "Verify.exe"],
        "JavaScript": ["node", VERIFYING / "verify.mjs"],
        "Python": ["/usr/bin/python3", VERIFYING / "verify.py"],
        "PHP": ["php", VERIFYING / "verify.php"],
        "xmlsec1": [VERIFYING / "verify.sh"],
    }


def make_identity(home, *options):
    aki = run(ROOT / "examples" / "make-identity", *options, home).splitlines()[0].split("=")[1]
    return ["--name", "Jane Citizen", "--email", "jane@example.com", "--abn", "12345678901", "--aki", aki]


def signed(home, identity, document, *options):
    (home / "in.xml").write_bytes(document)
    run(VORNCTL, "sign", *identity, *options, "-f", "-o", home / "out.xml", home / "in.xml", env={"HOME": str(home), "PATH": "/usr/bin:/bin"})
    return (home / "out.xml").read_bytes()


def part(name, document):
    return re.search(rf"<{name}.*</{name}>".encode(), document, re.DOTALL).group()


def main():
    with tempfile.TemporaryDirectory() as folder:
        home, stranger = pathlib.Path(folder, "home"), pathlib.Path(folder, "stranger")
        for path in home, stranger:
            path.mkdir()
        jane, other = make_identity(home), make_identity(stranger)
        agreement = (ROOT / "examples" / "agreement.xml").read_bytes()
        good = signed(home, jane, agreement)
        strange = signed(stranger, other, agreement)
        digest = re.search(rb"<DigestValue>(.)", good)
        at = digest.start(1)
        documents = {
            "good": good,
            "good, by SHA-512": signed(home, jane, agreement, "--algorithm", "RSA_SHA512"),
            "good, and difficult": signed(home, jane, DIFFICULT.encode()),
            "an amount": good.replace(b"2500.00", b"3500.00", 1),
            "a text of the page": good.replace(b"$12,180.00", b"$12,190.00"),
            "a digest": good[:at] + (b"A" if digest.group(1) != b"A" else b"B") + good[at + 1:],
            "by SHA-1": signed(home, jane, agreement, "--algorithm", "RSA_SHA1"),
            "another authority": strange,
            "two signers": good.replace(part("RenderedData", good), part("RenderedData", strange)),
            "a second part": good.replace(b"<RenderedData", b"<CounterpartData/><RenderedData", 1),
            "a second part in a namespace": good.replace(b"<RenderedData", b"<p:CounterpartData xmlns:p='urn:p'/><RenderedData", 1),
            "a document type": good.replace(b"<AgreementDocument", b"<!DOCTYPE AgreementDocument [<!ATTLIST Bond currency CDATA 'AUD'>]><AgreementDocument"),
            "a document type in UTF-16": good.decode().replace('encoding="UTF-8"', 'encoding="UTF-16"')
            .replace("<AgreementDocument", "<!DOCTYPE A [<!ATTLIST Bond currency CDATA 'AUD'>]><AgreementDocument", 1).encode("utf-16"),
            "not signed": agreement,
            "cut off": good[:-30],
            "no certificate": re.sub(rb"(<X509Certificate>)[^<]*", rb"\1AAAA", good),
            "an empty value": re.sub(rb"(<SignatureValue>)[^<]*", rb"\1", good),
            "no signature in its element": re.sub(rb"(<Signature [^>]*>).*?(</Signature>)", rb"\1\2", good, flags=re.DOTALL),
            "deep": good.replace(b"2500.00", b"<a>" * 100000 + b"</a>" * 100000, 1),
            "no text": b"",
        }
        programs = verifiers()
        authority = home / "certificates" / "Test Authority.pem"
        files = {}
        for number, (name, document) in enumerate(documents.items()):
            files[name] = pathlib.Path(folder, f"{number}.xml")
            files[name].write_bytes(document)

        arguments = {name: ((0, "Jane Citizen") if name.startswith("good") else (1, "refused: "), [file, authority]) for name, file in files.items()}
        for name, parameters in (("nothing to do", []), ("a folder", [home, authority]), ("no authority", [files["good"], files["no text"]])):
            arguments[name] = (2, ""), parameters

        def outcome(case):
            platform, name = case
            (status, word), parameters = arguments[name]
            done = subprocess.run([str(part) for part in (*programs[platform], *parameters)], capture_output=True, text=True, check=False)
            said, silent = (done.stdout, done.stderr) if status == 0 else (done.stderr, done.stdout)
            return case, done.returncode == status and word in said and said.count("\n") == 1 and not silent, f"{done.returncode}: {said}{silent}"

        with ThreadPoolExecutor(2) as pool:
            for (platform, name), is_right, text in pool.map(outcome, [(p, n) for p in programs for n in arguments]):
                expect(is_right, f"{platform}: {name}", text[:2000])


main()
