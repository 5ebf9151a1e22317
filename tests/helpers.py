"""What the tests that are written in Python share."""

import subprocess
import sys

JANE = {"name": "Jane Citizen", "email": "jane@example.com", "abn": "12345678901"}


def expect(condition, what, found=""):
    print(("ok      " if condition else "FAILED  ") + what + (f": {found!r}" if found and not condition else ""), flush=True)
    if not condition:
        sys.exit(1)


def run(*command, **options):
    """The output of a command, which has to succeed."""
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, check=False, **options)
    if done.returncode != 0:
        raise RuntimeError(f"{command}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def aki_of(homes):
    """The key identifier of the authority that Jane's certificate comes from."""
    return (homes / "main.aki").read_text().strip()
