"""The programs under measurement: the host, and the peers that make the same two signatures."""

import base64
import json
import os
import struct
import subprocess
import time

from documents import PARTS


class Spent:
    """What a task has cost: CPU time of all threads and time on the clock, in seconds; peak memory, in bytes."""

    def __init__(self, cpu, wall, memory=0):
        self.cpu, self.wall, self.memory = cpu, wall, memory


def run_once(command, environment=None, send=b""):
    """A whole process, from its start to its end."""
    start = time.perf_counter()
    process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                               env=environment)
    if send:
        process.stdin.write(send)
    process.stdin.close()
    output = process.stdout.read()
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    process.stdout.close()
    if process.returncode != 0:
        raise RuntimeError(f"{command[0]} ended with status {process.returncode}")
    wall = time.perf_counter() - start
    return Spent(usage.ru_utime + usage.ru_stime, wall, usage.ru_maxrss * 1024), output


class Running:
    """A process that does one task after another."""

    def __init__(self, command, environment=None):
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, env=environment)
        # The clock of another process' CPU time, as clock_getcpuclockid makes it.
        self.clock = (~self.process.pid << 3) | 2

    def measure(self, task):
        cpu, start = time.clock_gettime(self.clock), time.perf_counter()
        task()
        return Spent(time.clock_gettime(self.clock) - cpu, time.perf_counter() - start)

    def peak(self):
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as status:
            return next(int(line.split()[1]) * 1024 for line in status if line.startswith("VmHWM"))

    def close(self):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()


def frame(request):
    text = json.dumps(request).encode()
    return struct.pack("=I", len(text)) + text


class Host(Running):
    """Ours: the real program in the identity's home folder, spoken to as a browser does."""

    def __init__(self, setting):
        super().__init__([setting.host], setting.environment)

    def ask(self, message):
        self.process.stdin.write(message)
        self.process.stdin.flush()
        (length,) = struct.unpack("=I", self.process.stdout.read(4))
        return self.process.stdout.read(length)

    def sign(self, document):
        return self.measure(lambda: self.ask(document.request))


class Worker(Running):
    """A peer that reads paths and signs what they name."""

    def ask(self, path, result=""):
        self.process.stdin.write(f"{path}\t{result}\n".encode())
        self.process.stdin.flush()
        if not self.process.stdout.readline():
            raise RuntimeError(f"{self.process.args[0]} has ended")


class LibXmlSec(Worker):
    """Over OpenSSL, with the key from a file."""

    def __init__(self, setting):
        super().__init__([setting.program("bench-libxmlsec"), setting.key, setting.certificate])

    def sign(self, document):
        return self.measure(lambda: self.ask(document.template))


class LibXmlSecNss(Worker):
    """Over NSS, with the key in the database that ours has it in."""

    def __init__(self, setting):
        super().__init__([setting.program("bench-libxmlsec-nss"), setting.store])

    def sign(self, document):
        return self.measure(lambda: self.ask(document.template))


class RsaPairs(Worker):
    """Two RSA operations of the key store that ours signs with, and nothing else."""

    def __init__(self, setting):
        super().__init__([setting.program("bench-rsa"), setting.store])

    def sign(self, _):
        return self.measure(lambda: self.ask(""))


class Jdk(Worker):
    def __init__(self, setting):
        super().__init__([setting.java, "-cp", setting.folder, "JdkSigner", setting.key, setting.certificate])

    def sign(self, document):
        return self.measure(lambda: self.ask(document.plain))


def sign_cold_with_host(setting, document):
    spent, answer = run_once([setting.host], setting.environment, document.request)
    if b'"result": "ok"' not in answer:
        raise RuntimeError("the host did not sign")
    return spent


def sign_cold_with_xmlsec1(setting, document):
    """One run of the program a signature: it signs one template of a document."""
    spent = Spent(0, 0)
    source = document.template
    for number, part in enumerate(PARTS):
        result = os.path.join(setting.folder, f"xmlsec1-{number}.xml")
        one, _ = run_once(["xmlsec1", "--sign", "--privkey-pem", f"{setting.key},{setting.certificate}",
                           "--node-xpath", f"//{part}/*[local-name()='Signature']", "--output", result, source])
        spent = Spent(spent.cpu + one.cpu, spent.wall + one.wall, max(spent.memory, one.memory))
        source = result
    return spent


def signed_by_host(setting, document):
    _, answer = run_once([setting.host], setting.environment, document.request)
    return base64.b64decode(json.loads(answer[4:])["signed_data"][0]["data"])


def verifies(setting, path):
    return all(subprocess.run(["xmlsec1", "--verify", "--trusted-pem", setting.authority, "--enabled-key-data", "x509",
                               "--node-xpath", f"//{part}/*[local-name()='Signature']", path],
                              capture_output=True, check=False).returncode == 0 for part in PARTS)
