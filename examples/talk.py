#!/usr/bin/env python3
"""Talks to the host as a browser does.

usage: talk.py HOST [REQUEST...]

Starts the program HOST, sends each REQUEST (JSON text; without any, every line of standard input) in a frame of its
own and prints each answer as it comes. The exit status is the host's, or 1 when an answer is missing.
"""

import struct
import subprocess
import sys


class Host:
    """The running host: `ask` sends one request text and returns the answer's text, or None when there is none."""

    def __init__(self, path, environment=None):
        self.process = subprocess.Popen([path], stdin=subprocess.PIPE, stdout=subprocess.PIPE, env=environment)

    def ask(self, request):
        body = request.encode()
        try:
            self.process.stdin.write(struct.pack("=I", len(body)) + body)
            self.process.stdin.flush()
        except BrokenPipeError:
            return None
        prefix = self.process.stdout.read(4)
        if len(prefix) < 4:
            return None
        (length,) = struct.unpack("=I", prefix)
        answer = self.process.stdout.read(length)
        return answer.decode() if len(answer) == length else None

    def close(self):
        """Closes the host's input, which is how a browser ends it; returns the exit status."""
        try:
            self.process.stdin.close()
        except BrokenPipeError:
            pass
        return self.process.wait()


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    host = Host(sys.argv[1])
    answered = True
    for request in sys.argv[2:] or (line for line in sys.stdin if line.strip()):
        answer = host.ask(request)
        if answer is None:
            answered = False
            break
        print(answer, end="", flush=True)
    return host.close() or (0 if answered else 1)


if __name__ == "__main__":
    sys.exit(main())
