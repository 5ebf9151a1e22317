#!/usr/bin/env python3
"""Makes both packages from a build and tries them: package_test.py CPACK_CONFIG HOMES

The Debian package is installed into a folder that stands for an empty system, used from there and purged; the archive is
unpacked, moved and used without any of the system's XML libraries.
"""

import base64
import gzip
import json
import os
import pathlib
import re
import shutil
import sys
import tempfile

sys.path += [str(pathlib.Path(__file__).resolve().parents[1]), str(pathlib.Path(__file__).resolve().parents[2] / "examples")]
import hardening
import talk
from helpers import JANE, aki_of, expect, run

IDS = ("mfhbkomhbodjalemnkcbfeabgimhoion", "sample@vorn-signing.example")
LEFT_TO_THE_SYSTEM = ("ld-linux", "libc.so", "libm.so", "libdl.so", "libstdc++", "libgcc_s", "libnss", "libsmime", "libssl",
                      "libnspr", "libplc", "libplds", "libcrypto", "libsoftokn", "libfreebl", "libsqlite", "libz.so", "libzstd.so")


def try_host(program, home, homes, document):
    """Asks for the version and signs; returns the libraries that are loaded by then."""
    linker = home / "linker"  # nobody may look into a host, but its linker says what it loads
    host = talk.Host(program, {"HOME": str(home), "LD_DEBUG": "libs", "LD_DEBUG_OUTPUT": str(linker)})
    version = json.loads(host.ask('{"type": "version"}'))
    expect(version["install_location"] == str(program.parent), "the host tells where it is installed", version)
    answer = json.loads(host.ask(json.dumps({
        "type": "sign",
        "user_details": {**JANE, "aki": [aki_of(homes)]},
        "xml_data": [{"data": base64.b64encode(document.read_bytes()).decode()}],
    })))
    expect(answer["result"] == "ok", "it signs", answer)
    expect(host.close() == 0, "and leaves")
    return set(re.findall(r"calling init: (/\S.*\.so.*)", linker.with_name(f"linker.{host.process.pid}").read_text()))


def try_hardening(folder, what, ours):
    """No file searches the current folder, and those of ours, by name or all of them (None), are hardened."""
    found = [path for path in hardening.binaries(folder) if "CMakeFiles" not in path.parts]
    names = {path.name for path in found}
    expect(set(hardening.PROGRAMS) <= names, f"{what} hold all programs", names)
    lacking = [fault for path in found for fault in
               (hardening.faults(path) if ours is None or path.name in ours else hardening.search_path_faults(path))]
    expect(not lacking, f"{what} are hardened", "\n".join(lacking))


def files_below(folder):
    return {path.relative_to(folder) for path in folder.rglob("*")}


def try_debian_package(package, folder, home, homes):
    root = folder / "root"
    (root / "var/lib/dpkg/info").mkdir(parents=True)
    (root / "var/lib/dpkg/updates").mkdir()
    for file in ("status", "available"):
        (root / "var/lib/dpkg" / file).touch()
    (root / "var/log").mkdir()
    for kept in ("etc/opt/edge/native-messaging-hosts", "etc/vorn-signing", "usr/bin", "usr/lib", "usr/share/doc", "usr/share/man/man1", "usr/share/bash-completion/completions"):
        (root / kept).mkdir(parents=True)  # other packages have made these
    foreign = root / "etc/opt/edge/native-messaging-hosts/vorn.signing.json"
    foreign.write_text('{"path": "/opt/another/host"}')
    before = files_below(root) - {pathlib.Path("etc/vorn-signing")}
    (root / "etc/vorn-signing/extension-ids").write_text("# ours\n" + "\n".join(IDS))

    depends = run("dpkg-deb", "--field", package, "Depends")
    for library in ("libc6", "liblog4cplus", "libnss3", "libssl3", "libxalan-c", "libxerces-c", "libxml-security-c"):
        expect(library in depends, f"depends on {library}", depends)
    as_root = [] if os.geteuid() == 0 else ["unshare", "--map-root-user"]
    dpkg = [*as_root, "dpkg", f"--root={root}", "--force-depends", "--force-script-chrootless", f"--log={root}/var/log/dpkg.log"]
    run(*dpkg, "--install", package)
    expect(not [path for path in root.rglob("lib*.so*")], "brings no library of others")
    try_hardening(root, "the package's files", None)
    libraries = try_host(root / "usr/lib/vorn-signing/vorn-signing", home, homes, root / "usr/share/vorn-signing/agreement.xml")
    expect(str(root / "usr/lib/vorn-signing/vorn-signing-module.so") in libraries, "with its own module")

    doc = root / "usr/share/doc/vorn-signing"
    for page in doc.rglob("*.md"):
        for link in re.findall(r"\]\((?!https?:)([^)#\s]+)", page.read_text()):
            expect((page.parent / link).exists(), f"{page.name} leads to {link}")
    control = root / "control"
    run("dpkg-deb", "--control", package, control)
    expect(not (control / "conffiles").exists(), "dpkg asks about no file")
    shutil.rmtree(control)
    version = run("dpkg-deb", "--field", package, "Version").strip()
    expect(re.fullmatch(r"[\d.]+-\d+", version), "its version has a revision", version)
    expect(f"({version})" in gzip.open(doc / "changelog.Debian.gz", "rt").readline(), "as its changelog says")

    manifests = {path.relative_to(root) for path in root.rglob("vorn.signing.json")}
    for manifest in manifests:
        path = json.loads((root / manifest).read_text())["path"]
        expect(path == "/usr/lib/vorn-signing/vorn-signing", f"/{manifest} names the installed host", path)
    expect(len(manifests) >= 4, "all browsers' folders have a manifest", manifests)

    # One id that is none changes nothing; line ends of Windows are ends of lines.
    ids = root / "etc/vorn-signing/extension-ids"
    (root / "etc/vorn-signing/confirm").touch()
    expect(ids.read_text().startswith("# ours"), "the administrator's file is left alone")
    for text, count in (("abc\r\n", len(manifests) - 1), (f"{IDS[1]}\r\n", 1)):
        ids.write_text(text, newline="")
        run(*dpkg, "--install", package)
        left = [path for path in root.rglob("vorn.signing.json") if path != foreign]
        expect(len(left) == count if count > 1 else left and all("mozilla" in str(path) for path in left), "registered anew", left)

    foreign.parent.mkdir(parents=True, exist_ok=True)
    foreign.write_text('{"path": "/opt/another/host"}')
    run(*dpkg, "--purge", "vorn-signing")
    expect(foreign.exists(), "removal leaves the manifest of another host alone")
    left = {path for path in files_below(root) - before if path.parts[:3] not in (("var", "lib", "dpkg"), ("var", "log", "dpkg.log"))}
    expect(not left, "leaves nothing behind", sorted(map(str, left)))


def try_archive(archive, folder, home, homes):
    (folder / "first").mkdir()
    run("tar", "-xzf", archive, "-C", folder / "first")
    (unpacked,) = (folder / "first").iterdir()
    moved = folder / "moved to here"
    unpacked.rename(moved)
    program = moved / "lib/vorn-signing/vorn-signing"
    try_hardening(moved, "the archive's files", {*hardening.PROGRAMS, "libcurl-gnutls.so.4"})
    libraries = try_host(program, home, homes, moved / "share/vorn-signing/agreement.xml")
    foreign = [path for path in libraries if not path.startswith(str(moved))
               and not pathlib.Path(path).name.startswith(LEFT_TO_THE_SYSTEM)]
    expect(not foreign, "loads its libraries from its own folder", foreign)
    for name in ("libxerces-c", "libxml-security-c", "libxalan-c", "liblog4cplus", "libcurl-gnutls"):
        expect(any(path.startswith(f"{moved}/lib/vorn-signing/{name}") for path in libraries), f"{name} among them", libraries)
    signed = folder / "signed.xml"
    user = [word for name, value in {**JANE, "aki": aki_of(homes)}.items() for word in (f"--{name}", value)]
    user_home = {"env": {"HOME": str(home)}}
    run(moved / "bin/vornctl", "sign", *user, "-o", signed, moved / "share/vorn-signing/agreement.xml", **user_home)
    expect("Jane Citizen" in run(moved / "bin/vornctl", "verify", "--trusted", homes / "main/certificates/Test Authority.pem", signed, **user_home), "vornctl signs and verifies")
    licences = list((moved / "share/doc/vorn-signing/licences").iterdir())
    expect(len(licences) >= 5, "their licences come along", licences)


def main():
    config, homes = sys.argv[1], pathlib.Path(sys.argv[2])
    presets = (pathlib.Path(__file__).resolve().parents[2] / "CMakePresets.json").read_text()
    expect(not any(name in presets for name in IDS), "no extension may start a host from a package unless it is named")
    try_hardening(pathlib.Path(config).parent / "bin", "the built files", None)
    with tempfile.TemporaryDirectory(prefix="vorn-") as name:
        folder = pathlib.Path(name).resolve()
        home = folder / "home"
        shutil.copytree(homes / "main" / ".pki", home / ".pki")
        (home / ".config/pkcs11").mkdir(parents=True)
        (home / ".config/pkcs11/pkcs11.conf").write_text("user-config: only\n")  # no libraries of the system's tokens
        run("cpack", "--config", config, "-B", folder / "packages")
        run("cpack", "--config", config, "-B", folder / "again", env={**os.environ, "TZ": "Asia/Tokyo"})
        for file in (folder / "packages").glob("vorn-*"):
            expect(file.read_bytes() == (folder / "again" / file.name).read_bytes(), f"{file.name} has the same bytes made again")
        (package,) = (folder / "packages").glob("*.deb")
        (archive,) = (folder / "packages").glob("*.tar.gz")
        for file in (package, archive):
            print(f"        {file.name}: {file.stat().st_size:,} bytes")
        run("lintian", "--allow-root", "--no-tag-display-limit", "--fail-on", "error,warning", package)
        try_debian_package(package, folder, home, homes)
        try_archive(archive, folder, home, homes)


if __name__ == "__main__":
    main()
