"""What both browsers' drivers stand on: the browser's process, and waiting with an end."""

import ctypes
import os
import pathlib
import re
import signal
import subprocess
import time

WAIT_SECONDS = 25

started = []


class BrowserGone(Exception):
    """The browser ended while something was still asked of it."""


def until(condition, what, seconds=WAIT_SECONDS):
    """Returns the first true value of `condition()`."""
    end = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise TimeoutError(f"waited {seconds} s for {what}")
        time.sleep(0.02)


def host_processes(home):
    """The ids of the hosts of this home folder that run: nobody may look into them, but their log names them."""
    log = home / "vorn-signing.log"
    text = log.read_text(errors="replace") if log.exists() else ""
    return [int(pid) for pid in sorted(set(re.findall(r"^\S+ \S+ \[(\d+)\] ", text, re.MULTILINE))) if is_host(pid)]


def is_host(pid):
    """Whether a process of this id is one that runs the host."""
    try:
        with open(f"/proc/{pid}/stat", encoding="utf-8") as stat:
            return re.match(r"\d+ \(vorn-signing\) [^ZX]", stat.read()) is not None
    except OSError:
        return False


def megabytes(pid, file, field):
    with open(f"/proc/{pid}/{file}", encoding="utf-8") as fields:
        return next(int(line.split()[1]) for line in fields if line.startswith(f"{field}:")) / 1024


def peak_megabytes(pid):
    """The most memory that a process has had resident."""
    return megabytes(pid, "status", "VmHWM")


def tree_megabytes(pid):
    """The memory of a process and of all that it has started, what they share counted once."""
    try:
        children = {child for file in pathlib.Path(f"/proc/{pid}/task").glob("*/children") for child in file.read_text().split()}
        return megabytes(pid, "smaps_rollup", "Pss") + sum(tree_megabytes(child) for child in children)
    except OSError:  # gone meanwhile
        return 0


def die_with_the_test():
    """Whatever ends the test, be it SIGKILL at the end of its time, ends the browser."""
    set_parent_death_signal = 1
    ctypes.CDLL(None).prctl(set_parent_death_signal, signal.SIGKILL)


def start(command, home, **options):
    """Starts a browser whose settings, files and manifests all lie in the home folder."""
    environment = {name: value for name, value in os.environ.items() if not name.startswith("XDG_")}
    log = open(home / "browser.log", "wb")  # what browsers say of a machine without a desktop is of no interest
    with log:
        started.append(subprocess.Popen(command, env={**environment, "HOME": str(home)}, stdin=subprocess.DEVNULL,
                                        stdout=log, stderr=log, preexec_fn=die_with_the_test, **options))
    return started[-1]


def end(process):
    """Waits for the browser to leave, and makes it when it does not."""
    try:
        process.wait(10)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


def end_started():
    """Ends whatever browser still runs, even one whose start failed half way."""
    for process in started:
        process.kill()
        process.wait()
