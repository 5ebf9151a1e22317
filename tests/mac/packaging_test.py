#!/usr/bin/env python3
"""Holds the macOS build and packaging to what can be known of them on another system.

Usage: packaging_test.py SOURCES CLANG++ VORNCTL, with the name of the libraries' folder in ARCHITECTURE.
"""

import json
import os
import pathlib
import plistlib
import re
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
from helpers import run

SOURCES, CLANG, VORNCTL = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3]
PACKAGING = SOURCES / "packaging/macos"
VERSION, BUILD = re.search(r"^project\(.* VERSION ([\d.]+)\.(\d+) ", (SOURCES / "CMakeLists.txt").read_text(), re.M).groups()
HOST = "/Applications/Vorn Signing.app/Contents/MacOS/Vorn Signing"

# A program file of this pretended system is a text: "id NAME", "needs NAME", "rpath FOLDER", "minos SYSTEM" and "signed" on a
# line each; a change to it breaks the signature.
OTOOL = r"""#!/bin/sh
case $1 in
  -L) echo "$2:"; sed -nE 's/^(id|needs) (.*)/\t\2 (compatibility version 1.0.0, current version 1.2.0)/p' "$2" ;;
  -l) sed -nE 's/^rpath (.*)/          cmd LC_RPATH\n      cmdsize 40\n         path \1 (offset 12)/p
               s/^minos (.*)/          cmd LC_BUILD_VERSION\n    minos \1\n      sdk 15.0\n          cmd LC_SOURCE_VERSION\n  version 99.0/p' "$2" ;;
esac
"""
CODESIGN = r"""#!/bin/sh
[ "$*" = "--force --sign - $4" ] && { grep -q '^signed$' "$4" || echo signed >> "$4"; }
"""
PLUTIL = r"""#!/bin/sh
[ "$1 $2 $3" = "-replace LSMinimumSystemVersion -string" ] && echo "$4" > "$5"
"""
INSTALL_NAME_TOOL = r"""#!/bin/sh
for file in "$@"; do :; done
sed -i '/^signed$/d' "$file"
case $1 in
  -id) sed -i "s|^id .*|id $2|" "$3" ;;
  -change) sed -i "s|^needs $2\$|needs $3|" "$4" ;;
  -delete_rpath) sed -i "\|^rpath $2\$|d" "$3" ;;
esac
"""


class Packaging(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def write(self, path, text, mode=0o644):
        path = self.folder / path
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        path.chmod(mode)
        return path

    def test_project_configures_for_macos(self):
        run("cmake", "-S", SOURCES, "-B", self.folder, "-G", "Ninja", "-DCMAKE_SYSTEM_NAME=Darwin",
            *(f"-DCMAKE_{language}_COMPILER{rest}" for language in ("CXX", "OBJCXX") for rest in (f"={CLANG}", "_WORKS=1")),
            "-DCMAKE_HAVE_LIBC_PTHREAD=1", "-DCMAKE_INSTALL_NAME_TOOL=/bin/true",
            f"-DCMAKE_LIBRARY_ARCHITECTURE={os.environ['ARCHITECTURE']}")
        information = plistlib.loads((self.folder / "bin/Vorn Signing.app/Contents/Info.plist").read_bytes())
        self.assertEqual([information[key] for key in ("CFBundleExecutable", "CFBundleShortVersionString",
                                                       "CFBundleVersion", "LSMinimumSystemVersion", "LSBackgroundOnly")],
                         ["Vorn Signing", VERSION, BUILD, "10.15", True])
        build = (self.folder / "build.ninja").read_text()
        self.assertNotIn("host/linux", build)
        for framework in ("Foundation", "CoreFoundation", "CoreServices", "Security"):
            self.assertIn(f"-framework {framework}", build)

    def test_hardened_runtime_has_no_exception(self):
        entitlements = plistlib.loads((PACKAGING / "entitlements.plist").read_bytes())
        self.assertEqual(set(entitlements.values()), {False})

    def test_manifests_are_those_of_vornctl(self):
        ids = ["abcdefghijklmnopabcdefghijklmnop", "bbcdefghijklmnopabcdefghijklmnop", "signing@vorn.example",
               "{01234567-89ab-cdef-0123-456789abcdef}"]
        run(PACKAGING / "write-manifests", self.folder / "ours", HOST, *ids)
        run(VORNCTL, "register", "--system", "--all", "--target-system", "macos", "--root", self.folder / "theirs",
            "--host", HOST, *(part for name in ids for part in ("-e", name)))
        ours, theirs = ({str(path.relative_to(root)): json.loads(path.read_text()) for path in root.rglob("*.json")}
                        for root in (self.folder / "ours", self.folder / "theirs"))
        self.assertEqual(ours, theirs)

    def test_manifests_are_for_extensions_alone(self):
        for ids in ([], ["*"], ["abcdefghijklmnopabcdefghijklmnoq"], ["chrome-extension://x/"], ['a"@b']):
            with self.assertRaises(RuntimeError, msg=ids):
                run(PACKAGING / "write-manifests", self.folder, HOST, *ids)
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_libraries_are_taken_along(self):
        system = "needs /usr/lib/libSystem.B.dylib\n"
        for name, text in (("otool", OTOOL), ("install_name_tool", INSTALL_NAME_TOOL), ("codesign", CODESIGN), ("plutil", PLUTIL)):
            self.write(f"tools/{name}", text, 0o755)
        cellar, opt = self.folder / "cellar", self.folder / "opt"
        # One library is asked for by its path, one along the search path, one beside the library that needs it.
        program = self.write("Vorn Signing.app/Contents/MacOS/Vorn Signing",
                             f"needs {cellar}/liba.1.dylib\nneeds @rpath/libb.dylib\n{system}rpath {opt}\nminos 10.15\n", 0o755)
        self.write("cellar/liba.1.dylib", f"id {cellar}/liba.1.dylib\nneeds @loader_path/libc.dylib\n{system}", 0o444)
        self.write("cellar/libc.dylib", f"id @rpath/libc.dylib\nneeds {cellar}/liba.1.dylib\n")
        self.write("opt/libb.dylib", f"id @rpath/libb.dylib\nneeds @rpath/libc.dylib\nneeds {opt}/libd.dylib\n")
        self.write("opt/libd.dylib", f"id {opt}/libd.dylib\nminos 9.3\nminos 11.0\n")
        command = [PACKAGING / "bundle-libraries", self.folder / "Vorn Signing.app"]
        environment = {**os.environ, "PATH": f"{self.folder}/tools:{os.environ['PATH']}"}
        for _ in range(2):
            run(*command, env=environment)
            self.assertEqual(program.read_text(), "needs @loader_path/../Frameworks/liba.1.dylib\n"
                                                  f"needs @loader_path/../Frameworks/libb.dylib\n{system}minos 10.15\nsigned\n")
            self.assertEqual((program.parents[1] / "Info.plist").read_text(), "11.0\n")
            copies = {path.name: path.read_text() for path in (program.parents[1] / "Frameworks").iterdir()}
            self.assertEqual(copies, {
                "liba.1.dylib": f"id @loader_path/liba.1.dylib\nneeds @loader_path/libc.dylib\n{system}signed\n",
                "libb.dylib": "id @loader_path/libb.dylib\nneeds @loader_path/libc.dylib\nneeds @loader_path/libd.dylib\nsigned\n",
                "libc.dylib": "id @loader_path/libc.dylib\nneeds @loader_path/liba.1.dylib\nsigned\n",
                "libd.dylib": "id @loader_path/libd.dylib\nminos 9.3\nminos 11.0\nsigned\n"})
        program.write_text("needs @rpath/missing.dylib\n")
        with self.assertRaises(RuntimeError):
            run(*command, env=environment)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
