#!/usr/bin/env python3
"""Check the dynamic symbols of the shared library: exactly what a header marks for export with DDS_API (the public
headers, and those .pkg.h that declare documented entry points), and its SONAME.

usage: check_exports.py LIBRARY SONAME C_COMPILER ROOT
"""
import pathlib
import re
import subprocess
import sys

EXPORTED = re.compile(r'__attribute__\s*\(\(visibility\("default"\)\)\)([^;{]*)')


def run(*command):
    return subprocess.run(command, capture_output=True, check=True, text=True).stdout


def declared_names(compiler, root):
    """The functions and objects that headers mark for export."""
    headers = sorted((root / "include/dds_c").rglob("*.h"))
    headers += sorted(header for header in (root / "srcC").rglob("*.pkg.h") if "DDS_API" in header.read_text())
    arguments = [argument for header in headers for argument in ("-include", str(header))]
    text = run(compiler, "-std=c11", "-E", "-P", f"-I{root}/include", f"-I{root}/srcC", *arguments, "-x", "c",
               "/dev/null")
    names = set()
    for declaration in EXPORTED.findall(text):
        before = re.split(r"[(\[]", declaration.strip())[0]
        names.add(re.findall(r"\w+", before)[-1])
    return names


def main(arguments):
    library, soname, compiler, root = arguments
    declared = declared_names(compiler, pathlib.Path(root))
    exported = {line.split()[-1] for line in run("nm", "-D", "--defined-only", library).splitlines()}
    findings = [f"{name} is exported, but no header marks it for export" for name in sorted(exported - declared)]
    findings += [f"{name} is marked for export, but not there" for name in sorted(declared - exported)]
    findings += [f"{name} has a prefix that is not documented" for name in sorted(exported)
                 if not name.startswith(("DDS_", "DDSLog_", "ZYL"))]
    actual = re.search(r"SONAME\s+(\S+)", run("objdump", "-p", library))
    if actual is None or actual[1] != soname:
        findings.append(f"the SONAME is {actual and actual[1]}, not {soname}")
    for finding in findings:
        print(finding)
    print(f"{len(exported)} names are exported")
    return 1 if findings or not exported else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
