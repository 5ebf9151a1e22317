"""A card reader and the service for it, both of them out of sight of the rest of the machine."""

import fcntl
import os
import pathlib
import signal
import socket
import struct
import subprocess
import sys

from process import die_with_the_test, until

SKIPPED = 77


def run_alone():
    """Starts this program again where /run and the ports of 127.0.0.1 are its own; only in there it returns."""
    inside = "--inside"
    if inside not in sys.argv:
        spaces = ["unshare", "--mount", "--net"] + (["--user", "--map-root-user"] if os.geteuid() != 0 else [])
        if subprocess.run([*spaces, "true"], check=False).returncode != 0:
            print("This system lets nobody but root have a reader of his own: skipped.")
            sys.exit(SKIPPED)
        os.execvp(spaces[0], [*spaces, sys.executable, *sys.argv, inside])
    sys.argv.remove(inside)
    subprocess.run(["mount", "-t", "tmpfs", "none", "/run"], check=True)
    interface_up, set_flags = 0x41, 0x8914
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        fcntl.ioctl(any_socket, set_flags, struct.pack("16sh", b"lo", interface_up))


class Service:
    """The running pcscd."""

    def __init__(self, log):
        self.log = log
        self.start()

    def start(self):
        with open(self.log, "ab") as log:
            self.process = subprocess.Popen(["/usr/sbin/pcscd", "--foreground"], stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                            preexec_fn=die_with_the_test)
        until(pathlib.Path("/run/pcscd/pcscd.comm").exists, "the service for card readers")

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()
