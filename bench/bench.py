#!/usr/bin/env python3
"""Measures the host against its peers: bench.py [--quick] BUILD_FOLDER, usually by way of script/bench.

Every ratio is ours divided by the peer's, in CPU time (user and system, all threads; "clock" is the same in elapsed
time) and taken in one run: ours and the peer take turns, and the medians are compared. Below 1.00 ours is the faster.
"""

import argparse
import glob
import json
import os
import pathlib
import shutil
import subprocess
import tempfile
from statistics import median

import participants
from documents import make_document, with_templates

ROOT = pathlib.Path(__file__).resolve().parent.parent
KB, MB = 1024, 1024 * 1024
SIZES = {"1 KB": KB, "128 KB": 128 * KB, "512 KB": 512 * KB, "2 MB": 2 * MB, "7 MB": 7 * MB}


class Setting:
    """An identity in a throw-away home, and where the programs are."""

    def __init__(self, build, folder):
        self.folder = folder
        self.build = os.path.abspath(build)
        self.host = self.program("vorn-signing")
        self.environment = {**os.environ, "HOME": folder}
        report = subprocess.run([ROOT / "examples/make-identity", "--name", "Robin Banksia", "--file", "robin", folder],
                                check=True, capture_output=True, text=True).stdout
        self.aki = dict(line.split("=", 1) for line in report.splitlines())["aki"]
        self.authority = f"{folder}/certificates/Test Authority.pem"
        self.certificate = f"{folder}/certificates/robin.pem"
        self.key = f"{folder}/robin.key"
        self.store = f"sql:{folder}/.pki/nssdb"
        subprocess.run(["pk12util", "-d", self.store, "-K", "", "-W", "", "-n", "Robin Banksia", "-o", f"{folder}/robin.p12"],
                       check=True, capture_output=True)
        subprocess.run(["openssl", "pkcs12", "-in", f"{folder}/robin.p12", "-passin", "pass:", "-noenc", "-nocerts",
                        "-out", f"{folder}/robin.pem"], check=True, capture_output=True)
        subprocess.run(["openssl", "pkey", "-in", f"{folder}/robin.pem", "-out", self.key], check=True)
        self.java = self.compile_for_jdk()

    def program(self, name):
        return os.path.join(self.build, "bin", name)

    def compile_for_jdk(self):
        """The JDK's `java`, or None where there is no JDK."""
        compilers = filter(None, [shutil.which("javac"), *sorted(glob.glob("/usr/lib/jvm/*/bin/javac"))])
        for compiler in compilers:
            subprocess.run([compiler, "-d", self.folder, ROOT / "bench/JdkSigner.java"], check=True)
            return os.path.join(os.path.dirname(os.path.realpath(compiler)), "java")
        return None


class Document:
    """One document in the forms that the participants take."""

    def __init__(self, setting, size, shape="records"):
        text = make_document(size, shape)
        self.size = len(text)
        self.plain, self.template = (f"{setting.folder}/{kind}-{shape}-{size}.xml" for kind in ("plain", "template"))
        pathlib.Path(self.plain).write_bytes(text)
        pathlib.Path(self.template).write_bytes(with_templates(text))
        self.request = participants.frame({
            "type": "sign",
            "user_details": {"name": "Robin Banksia", "email": "jane@example.com", "abn": "12345678901",
                             "aki": [setting.aki]},
            "xml_data": [{"data": participants.base64.b64encode(text).decode()}]})


def in_turns(rounds, *tasks):
    """Lets the tasks take turns; returns, for each, its costs with the medians of CPU and clock."""
    costs = [[] for _ in tasks]
    for _ in range(rounds):
        for task, spent in zip(tasks, costs):
            spent.append(task())
    return [participants.Spent(median(s.cpu for s in spent), median(s.wall for s in spent),
                               max(s.memory for s in spent)) for spent in costs]


def row(what, peer, ours, theirs, note=""):
    print(f"{what:<34}{peer:<18}{ours.cpu / theirs.cpu:>8.2f}{ours.wall / theirs.wall:>8.2f}"
          f"{1e3 * ours.cpu:>11.1f}{1e3 * theirs.cpu:>10.1f}  {note}", flush=True)


def check_results(setting, document):
    """What is not a good signature is not worth measuring."""
    path = f"{setting.folder}/signed.xml"
    pathlib.Path(path).write_bytes(participants.signed_by_host(setting, document))
    workers = [(kind(setting), document.template) for kind in (participants.LibXmlSec, participants.LibXmlSecNss)]
    if setting.java:
        workers.append((participants.Jdk(setting), document.plain))
    assert participants.verifies(setting, path), "the host's signatures do not verify"
    for worker, source in workers:
        worker.ask(source, path)
        worker.close()
        assert participants.verifies(setting, path), f"the signatures of {worker.process.args[0]} do not verify"
    participants.sign_cold_with_xmlsec1(setting, document)
    assert participants.verifies(setting, f"{setting.folder}/xmlsec1-1.xml"), "those of xmlsec1 do not verify"


def bench_cold(setting, documents, rounds):
    version = participants.frame({"type": "version"})
    ours, empty = in_turns(4 * rounds, lambda: participants.run_once([setting.host], setting.environment, version)[0],
                           lambda: participants.run_once([setting.program("bench-empty")])[0])
    row("version answer, cold", "empty process", ours, empty)
    for name, document in documents.items():
        ours, theirs = in_turns(rounds, lambda d=document: participants.sign_cold_with_host(setting, d),
                                lambda d=document: participants.sign_cold_with_xmlsec1(setting, d))
        row(f"sign {name}, cold", "xmlsec1 program", ours, theirs)


def bench_warm(setting, documents, rounds, rsa):
    host = participants.Host(setting)
    peers = {"libxmlsec (C)": participants.LibXmlSec(setting), "libxmlsec, NSS": participants.LibXmlSecNss(setting)}
    if setting.java:
        peers["JDK"] = participants.Jdk(setting)
    everyone = [host, *peers.values()]
    for name, document in documents.items():
        # The JDK's compiler needs a while before the JDK is as fast as it gets.
        settled = in_turns(max(3, rounds // 2), *(lambda p=p: p.sign(document) for p in everyone))
        if setting.java and document.size < 600 * KB:
            in_turns(40 if document.size > 64 * KB else 150, lambda: peers["JDK"].sign(document))
        turns = max(rounds, min(10 * rounds, int(0.5 / settled[0].cpu)))
        ours, *theirs = in_turns(turns, *(lambda p=p: p.sign(document) for p in everyone))
        for peer, spent in zip(peers, theirs):
            note = ""
            if peer == "libxmlsec (C)" and rsa:
                # Each makes two signatures; the peer's key is OpenSSL's, ours is in the NSS token.
                less = (ours.cpu - 2 * rsa["ours"].cpu) / (spent.cpu - 2 * rsa["OpenSSL"].cpu)
                note = f"{less:.2f} less the RSA operations"
            row(f"sign {name}, warm", peer, ours, spent, note)
    for participant in everyone:
        participant.close()


def bench_pace(setting, document, rounds, rsa):
    """A small document against two plain RSA operations of the key store, and against two as the host has them made."""
    everyone = [participants.Host(setting), participants.RsaPairs(setting)]
    in_turns(20, *(lambda p=p: p.sign(document) for p in everyone))
    ours, floor = in_turns(20 * rounds, *(lambda p=p: p.sign(document) for p in everyone))
    note = f"{ours.cpu / (2 * rsa['ours'].cpu):.2f} with the key in the token's memory" if rsa else ""
    row("sign 1 KB, warm", "two RSA, NSS", ours, floor, note)
    for participant in everyone:
        participant.close()


def bench_growth(setting, rounds):
    small, large = Document(setting, 128 * KB), Document(setting, 6 * MB)
    host = participants.Host(setting)
    host.sign(large)
    low, high = in_turns(2 * rounds, lambda: host.sign(small), lambda: host.sign(large))
    host.close()
    row("growth, 6 MB to 128 KB", "(size: x48)", high, low)


def bench_memory(setting, documents):
    for name, document in documents.items():
        peaks = []
        for kind in (participants.Host, participants.LibXmlSec):
            participant = kind(setting)
            for _ in range(3):
                participant.sign(document)
            peaks.append(participant.peak())
            participant.close()
        ours, theirs = peaks
        allowed = 1.3 * theirs + 3 * len(document.request)
        print(f"{'peak memory, ' + name:<34}{'libxmlsec (C)':<18}{ours / theirs:>8.2f}{'':>8}"
              f"{ours / MB:>8.1f} MB{theirs / MB:>7.1f} MB  {ours / allowed:.2f} of the bound", flush=True)


def measure_in_process(setting, quick):
    """The costs of each row of the program bench-in-process, by participant."""
    command = [setting.program("bench-in-process"), "--benchmark_format=json", "--benchmark_enable_random_interleaving",
               "--benchmark_repetitions=" + ("3" if quick else "9"), "--benchmark_report_aggregates_only",
               "--benchmark_min_time=0.05"]
    environment = {**os.environ, "BENCH_STORE": setting.store, "BENCH_KEY": setting.key}
    report = json.loads(subprocess.run(command, check=True, capture_output=True, env=environment).stdout)
    unit = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3}
    costs = {}
    for entry in report["benchmarks"]:
        if entry["aggregate_name"] == "median":
            name, participant = entry["run_name"].split("/")[:2]
            spent = (entry[kind] * unit[entry["time_unit"]] for kind in ("cpu_time", "real_time"))
            costs.setdefault(name, {})[participant] = participants.Spent(*spent)
    return costs


def main():
    arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    arguments.add_argument("--quick", action="store_true", help="fewer rounds and sizes")
    arguments.add_argument("build", help="folder of the release build with its benchmarks")
    options = arguments.parse_args()
    rounds = 5 if options.quick else 15
    names = ("1 KB", "128 KB", "2 MB") if options.quick else tuple(SIZES)

    with tempfile.TemporaryDirectory() as folder:
        setting = Setting(options.build, folder)
        documents = {name: Document(setting, SIZES[name]) for name in names}
        documents["2 MB of text"] = Document(setting, 2 * MB, "text")
        check_results(setting, documents["128 KB"])
        print(f"{'':<34}{'peer':<18}{'CPU':>8}{'clock':>8}{'ours ms':>11}{'peer ms':>10}")
        in_process = measure_in_process(setting, options.quick)
        bench_cold(setting, documents, rounds)
        bench_warm(setting, documents, rounds, in_process.get("rsa 2048"))
        bench_pace(setting, documents["1 KB"], rounds, in_process.get("rsa 2048"))
        bench_growth(setting, rounds)
        bench_memory(setting, documents)
        for name, costs in sorted(in_process.items()):
            for peer in costs.keys() - {"ours"}:
                row(name, peer, costs["ours"], costs[peer])
        if not setting.java:
            print("No JDK is installed: its rows are left out.")


if __name__ == "__main__":
    main()
