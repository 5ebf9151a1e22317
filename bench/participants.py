"""The programs under measurement: the host, and the peers that make the same two signatures."""

import base64
import ctypes
import json
import os
import struct
import subprocess
import time

from documents import PARTS


# What a program has started and left behind, as the host its process for keys, is ours to count.
PR_SET_CHILD_SUBREAPER = 36
ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)


class Spent:
    """What a task has cost: CPU time of all threads and time on the clock, in seconds; peak memory, in bytes."""

    def __init__(self, cpu, wall, memory=0):
        self.cpu, self.wall, self.memory = cpu, wall, memory


def children_of(process):
    with open(f"/proc/{process}/task/{process}/children", encoding="ascii") as children:
        return set(map(int, children.read().split()))


def run_once(command, environment=None, send=b""):
    """A whole process, from its start to its end."""
    before = children_of(os.getpid())
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
    used = [usage]
    while left := children_of(os.getpid()) - before:  # and what these leave behind
        used += [os.wait4(process, 0)[2] for process in left]
    return Spent(sum(one.ru_utime + one.ru_stime for one in used), wall, sum(one.ru_maxrss for one in used) * 1024), output


def clock_of(process):
    """The clock of another process' CPU time, as clock_getcpuclockid makes it."""
    return (~process << 3) | 2


class Running:
    """A process that does one task after another."""

    def __init__(self, command, environment=None):
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, env=environment)
        self.processes = [self.process.pid]

    def cpu(self):
        return sum(time.clock_gettime(clock_of(process)) for process in self.processes)

    def measure(self, task):
        cpu, start = self.cpu(), time.perf_counter()
        task()
        return Spent(self.cpu() - cpu, time.perf_counter() - start)

    def peak(self):
        peak = 0
        for process in self.processes:
            with open(f"/proc/{process}/status", encoding="ascii") as status:
                peak += next(int(line.split()[1]) * 1024 for line in status if line.startswith("VmHWM"))
        return peak

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
        answer = self.process.stdout.read(length)
        if len(self.processes) == 1:  # the one for keys is there from the first signature on
            for process in self.processes:  # grows meanwhile
                self.processes += children_of(process)
        return answer

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
