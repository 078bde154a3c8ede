#!/usr/bin/env python3
"""sbom.py VERSION COMMIT FOLDER: mvsms-VERSION.spdx.json in the folder, a bill of materials (SPDX 2.3):
the files that lie there, and what they were made with. SOURCE_DATE_EPOCH is its date."""
import datetime
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys

# What others wrote, by the package of this system that has it; how our programs have it; its licence.
PARTS = {
    "libcli11-dev": ("CLI11", "STATIC_LINK", "BSD-3-Clause"),
    "nlohmann-json3-dev": ("JSON for Modern C++", "STATIC_LINK", "MIT"),
    "libsqlite3-dev": ("SQLite", "DYNAMIC_LINK", "blessing"),
    "libstdc++6": ("GNU C++ library", "DYNAMIC_LINK", "GPL-3.0-or-later WITH GCC-exception-3.1"),
    "g++-mingw-w64-x86-64-posix": ("GNU C++ library for Windows", "STATIC_LINK",
                                   "GPL-3.0-or-later WITH GCC-exception-3.1"),
    "mingw-w64-x86-64-dev": ("MinGW-w64 runtime", "STATIC_LINK", "ZPL-2.1"),
}
ONLY_ON_WINDOWS = ("g++-mingw-w64-x86-64-posix", "mingw-w64-x86-64-dev")


def installed_version(package):
    done = subprocess.run(["dpkg-query", "--show", "--showformat=${Version}", package],
                          capture_output=True, text=True, check=False)
    return done.stdout if done.returncode == 0 else ""


def spdx_id(name):
    return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.-]", "-", name)


def package(name, version, licence, **more):
    return {"SPDXID": spdx_id(name), "name": name, "versionInfo": version, "downloadLocation": "NOASSERTION",
            "filesAnalyzed": False, "licenseConcluded": licence, "licenseDeclared": licence,
            "copyrightText": "NOASSERTION", **more}


def artefact(file, version, folder):
    digest = hashlib.sha256(file.read_bytes()).hexdigest()
    name = str(file.relative_to(folder))
    return package(name, version, "MIT", packageFileName=name,
                   checksums=[{"algorithm": "SHA256", "checksumValue": digest}])


def relation(one, kind, other):
    return {"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}


def document(version, commit, folder):
    files = sorted(f for f in folder.rglob("*") if f.is_file() and f.name not in ("SHA256SUMS", spdx_name(version)))
    for_windows = any(f.suffix in (".exe", ".msi") for f in files)
    packages = [package("mvSMS", version, "MIT", sourceInfo=f"commit {commit}")]
    relations = [relation("SPDXRef-DOCUMENT", "DESCRIBES", "SPDXRef-mvSMS")]
    for file in files:
        packages.append(artefact(file, version, folder))
        relations.append(relation(packages[-1]["SPDXID"], "GENERATED_FROM", "SPDXRef-mvSMS"))
    for origin, (name, link, licence) in PARTS.items():
        if origin in ONLY_ON_WINDOWS and not for_windows:
            continue
        packages.append(package(name, installed_version(origin), licence, supplier="Organization: Debian"))
        relations.append(relation("SPDXRef-mvSMS", link, packages[-1]["SPDXID"]))
    created = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), datetime.timezone.utc)
    return {"spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
            "name": f"mvSMS {version}",
            "documentNamespace": f"https://spdx.org/spdxdocs/mvsms-{version}-{commit}",
            "creationInfo": {"created": created.strftime("%Y-%m-%dT%H:%M:%SZ"),
                             "creators": ["Organization: the mvSMS authors", "Tool: scripts/sbom.py"]},
            "packages": packages, "relationships": relations}


def spdx_name(version):
    return f"mvsms-{version}.spdx.json"


def main():
    version, commit, folder = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
    text = json.dumps(document(version, commit, folder), indent=2) + "\n"
    (folder / spdx_name(version)).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
