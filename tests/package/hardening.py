"""What the files of this project are held to, read from the files by readelf."""

import pathlib
import re
import subprocess

PROGRAMS = ("vorn-signing", "vorn-signing-keys", "vorn-signing-module.so", "vorn-key-files.so", "vornctl")


def readelf(*arguments):
    return subprocess.run(["readelf", "--wide", *arguments], capture_output=True, text=True, check=True).stdout


def binaries(folder):
    """Every program and library below the folder."""
    for path in sorted(pathlib.Path(folder).rglob("*")):
        if path.is_file() and not path.is_symlink() and path.suffix != ".o":
            with path.open("rb") as file:
                if file.read(4) == b"\x7fELF":
                    yield path


def search_path_faults(path):
    """An empty or relative entry means the current folder, whosever that is."""
    entries = [entry for text in re.findall(r"\((?:RPATH|RUNPATH)\).*\[(.*)\]", readelf("--dynamic", path)) for entry in text.split(":")]
    return [f"{path.name}: searches \"{entry}\"" for entry in entries if not entry.startswith(("/", "$ORIGIN"))]


def faults(path):
    """What one of our own files lacks."""
    dynamic, segments, symbols = readelf("--dynamic", path), readelf("--segments", path), readelf("--dyn-syms", path)
    stack = re.search(r"GNU_STACK.*", segments)
    held = {
        "is position independent": "Elf file type is DYN" in segments and ("INTERP" not in segments or re.search(r"FLAGS_1\).*PIE", dynamic)),
        "has RELRO": "GNU_RELRO" in segments,
        "is bound at once": re.search(r"FLAGS(_1)?\).*NOW", dynamic),
        "has a stack without code": stack and "RWE" not in stack[0],
    }
    if path.name in PROGRAMS:
        held["protects the stack"] = "__stack_chk_fail" in symbols
        held["has its calls checked"] = re.search(r"__(?!stack)\w+_chk\b", symbols)
        held["starts without NSS"] = path.name != "vornctl" or "libnss" not in dynamic
        held["has the library's assertions"] = "__glibcxx_assert_fail" in symbols
    return [f"{path.name}: not so: {what}" for what, holds in held.items() if not holds] + search_path_faults(path)
