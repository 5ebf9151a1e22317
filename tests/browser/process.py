"""What both browsers' drivers stand on: the browser's process, and waiting with an end."""

import ctypes
import os
import pathlib
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
    """The ids of the running programs named vorn-signing that were started for this home folder."""
    found = []
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{pid}/environ", "rb") as environment:
                if f"HOME={home}".encode() not in environment.read().split(b"\0"):
                    continue
            if os.path.basename(os.readlink(f"/proc/{pid}/exe")) == "vorn-signing":
                found.append(int(pid))
        except OSError:
            continue
    return found


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


def _die_with_the_test():
    """Whatever ends the test, be it SIGKILL at the end of its time, ends the browser."""
    set_parent_death_signal = 1
    ctypes.CDLL(None).prctl(set_parent_death_signal, signal.SIGKILL)


def start(command, home, **options):
    """Starts a browser whose settings, files and manifests all lie in the home folder."""
    environment = {name: value for name, value in os.environ.items() if not name.startswith("XDG_")}
    log = open(home / "browser.log", "wb")  # what browsers say of a machine without a desktop is of no interest
    with log:
        started.append(subprocess.Popen(command, env={**environment, "HOME": str(home)}, stdin=subprocess.DEVNULL,
                                        stdout=log, stderr=log, preexec_fn=_die_with_the_test, **options))
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
