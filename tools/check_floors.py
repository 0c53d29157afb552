#!/usr/bin/env python3
"""Check the floors: a file includes its own floor or a lower one, and only the lowest one sees the operating system.

  0  srcC/halo_runtime/platform
  1  srcC/halo_runtime/zyl, include/dds_c/generic, dds_c_common.h, dds_c_log.h
  2  srcC/halo_runtime/vesk
  3  srcC/halo_runtime/dds, dds_c_condition.h, dds_c_waitset.h, dds_c_threadfactory.h
  4  srcC/halo_utility, dds_c_asyncwaitset.h, dds_c_asyncwaitset_impl.h
  5  test, bench, examples

Inside srcC/halo_utility the same once more, by subject (see SUBJECTS): a subject includes and calls those below it, so
that the folder reads downwards and nothing calls back up. Calls are found by name, whatever header declares them.

Besides: public headers include each other, <stdint.h> and <stddef.h>, those for C++ alone what its library has; an .hpp
under srcC stays in its folder, unless it is a .pkg.hpp; examples see include/ only. Above floor 0 the library names no
thread, lock, clock or sleep, and has no local static that is made at run time, whose lock nobody sees.

usage: check_floors.py [ROOT]
"""
import pathlib
import re
import sys

from source_text import ROOT, line_of, source_files, without_comments, without_comments_and_strings

FLOORS = (  # the first prefix that fits
    ("srcC/halo_runtime/platform/", 0),
    ("srcC/halo_runtime/zyl/", 1),
    ("srcC/halo_runtime/vesk/", 2),
    ("srcC/halo_runtime/dds/", 3),
    ("srcC/halo_utility/", 4),
    ("include/dds_c/generic/", 1),
    ("include/dds_c/dds_c_common.h", 1),
    ("include/dds_c/dds_c_log.h", 1),
    ("include/dds_c/dds_c_condition.h", 3),
    ("include/dds_c/dds_c_waitset.h", 3),
    ("include/dds_c/dds_c_threadfactory.h", 3),
    ("include/dds_c/dds_c_asyncwaitset", 4),
    ("test/", 5),
    ("bench/", 5),
    ("examples/", 5),
)
FOR_EVERYONE = ("srcC/halo_runtime/platform/Annotations.pkg.h", "srcC/halo_runtime/platform/Boundary.pkg.hpp",
                "srcC/halo_runtime/platform/Platform.hpp")
# Declarations of a lower floor that have their place in the header of a higher one.
EXCEPTIONS = {
    # the sequence of CPU information of threads
    ("srcC/halo_runtime/zyl/ZYLOsapiThread.pkg.h", "include/dds_c/dds_c_asyncwaitset_impl.h"),
    ("srcC/halo_runtime/zyl/ZYLOsapiThreadCpuInfoSeq.cpp", "include/dds_c/dds_c_asyncwaitset_impl.h"),
}

# The subjects of srcC/halo_utility, each above all that it uses. AsyncWaitSet.pkg.h, the records, the locks and the log
# words are for all of them and stand below. AsyncWaitSet itself is the subject "".
SUBJECTS = ("", "Lifecycle", "Operations", "Start", "OldPool", "Submission", "Thread", "Run", "Dispatch", "Execution",
            "Task", "Notification", "Request", "TokenWait", "CompletionToken", "SemaphoreToken", "Relay", "Leadership",
            "Registry", "Stats", "Query", "Property", "Locks", "Log", "Globals", "Records")
SUBJECT_FOLDER = "srcC/halo_utility/"
SUBJECT_OF_ALL = ("AsyncWaitSet.pkg.h", "AsyncWaitSetCompletionToken.pkg.h", "AsyncWaitSetGlobals.pkg.h")

# What the library may use above floor 0: headers of the languages that neither block nor measure time.
LANGUAGE_HEADERS = set(
    """algorithm any array atomic bit bitset cassert cctype cerrno cfloat charconv cinttypes climits cmath compare
    concepts cstdarg cstddef cstdint cstdio cstdlib cstring deque exception functional initializer_list inttypes.h
    iterator limits limits.h list map memory memory_resource new numeric optional queue random ranges set source_location
    span stdarg.h stddef.h stdint.h stdio.h stdlib.h string string.h string_view tuple type_traits typeinfo
    unordered_map unordered_set utility variant vector version
    sanitizer/asan_interface.h""".split())
PUBLIC_HEADERS_MAY_INCLUDE = {"stdint.h", "stddef.h"}

BELOW_THE_SEAM = re.compile(
    r"\bstd::(?:this_thread|chrono|thread|jthread|mutex|condition_variable\w*|counting_semaphore|atomic_wait|atomic_notify\w*)\b"
    r"|[.>](?:notify_one|notify_all)\s*\(|\b(?:sleep|usleep|nanosleep|clock_\w+|gettimeofday|futex|pthread_\w+|sched_\w+)\s*\(")
# A variable that its function, or its class, makes when it is first used.
LOCAL_STATIC = re.compile(r"^[ \t]+static\s+(?!constexpr\b|constinit\b)[^;(){}=]*[;={]", re.MULTILINE)
INCLUDE_FOLDERS = ("include", "srcC", "test/support", "test/support/std", "test/support/sim")
INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(?:"([^"\n]+)"|<([^>\n]+)>)', re.MULTILINE)


def floor_of(path):
    for prefix, floor in FLOORS:
        if path.startswith(prefix):
            return floor
    return None


def resolve(root, includer, name):
    """The included file relative to the root, or None when it is not one of ours."""
    for folder in (includer.parent, *(pathlib.Path(folder) for folder in INCLUDE_FOLDERS)):
        path = root / folder / name
        if path.is_file():
            return path.resolve().relative_to(root)
    return None


def check_system_header(path, floor, name):
    if path.startswith("include/dds_c/") and path.endswith(".h"):
        if name not in PUBLIC_HEADERS_MAY_INCLUDE:
            return f"a public header must not include <{name}>"
    elif floor in (1, 2, 3, 4) and name not in LANGUAGE_HEADERS:
        return f"only srcC/halo_runtime/platform may include <{name}>"
    return None


def check_own_header(path, floor, included):
    included_floor = floor_of(included)
    if path.startswith("examples/"):
        if not included.startswith(("include/", "examples/")):
            return f"an example sees include/ only, not {included}"
    elif included_floor is None:
        return f"{included} stands on no floor"
    elif (included in FOR_EVERYONE and floor <= 4) or (path, included) in EXCEPTIONS:
        return None
    elif included_floor > floor:
        return f"floor {floor} must not include {included} of floor {included_floor}"
    elif (path.startswith(("srcC/", "include/")) and included.startswith("srcC/") and included.endswith(".hpp")
          and not included.endswith(".pkg.hpp") and pathlib.Path(path).parent != pathlib.Path(included).parent
          and not (floor == 0 and included_floor == 0)):
        return f"{included} stays in its folder"
    if path.startswith("include/dds_c/") and not included.startswith("include/"):
        return f"a public header must not include {included}"
    return None


def check_file(root, relative):
    """The findings of one file, as lines of text."""
    path = relative.as_posix()
    floor = floor_of(path)
    if floor is None:
        return [f"{path}: stands on no floor"]
    findings = []
    text = (root / relative).read_text()
    for match in INCLUDE.finditer(without_comments(text)):
        name = match[1] or match[2]
        included = resolve(root, relative, name)
        if included is not None:
            finding = check_own_header(path, floor, included.as_posix())
        elif match[1]:
            finding = f'"{name}" is not there'
        else:
            finding = check_system_header(path, floor, name)
        if finding:
            findings.append(f"{path}:{line_of(text, match.start())}: {finding}")
    if 1 <= floor <= 4:
        for match in BELOW_THE_SEAM.finditer(without_comments_and_strings(text)):
            findings.append(f"{path}:{line_of(text, match.start())}: '{match[0]}' belongs below the platform seam")
        for match in LOCAL_STATIC.finditer(without_comments_and_strings(text)):
            findings.append(f"{path}:{line_of(text, match.start())}: a local static: use ZYLPlatform_makeOnce")
    return findings


# The name of a function that begins in the first column, with a body: its parameters are followed by a line "{".
DEFINITION = re.compile(r"^(?!return\b|else\b)[A-Za-z_][\w \t*&:<>]*?[ \t*&](\w+)\((?=[^;{}]*\n\{)", re.MULTILINE)


def subject_of(name):
    """The place of a file of the wait set's folder in SUBJECTS, or None."""
    subject = name.split(".")[0].removeprefix("AsyncWaitSet")
    return SUBJECTS.index(subject) if subject in SUBJECTS else None


def check_subjects(root):
    """The order inside the wait set's folder."""
    texts = {path.name: without_comments_and_strings((root / path).read_text())
             for path in source_files(root, SUBJECT_FOLDER)}
    findings = [f"{SUBJECT_FOLDER}{name}: its subject has no place in the order" for name in texts
                if subject_of(name) is None]
    if findings:
        return findings
    definers = {}  # documented and shared names only: helpers of one file have no prefix
    for name, text in texts.items():
        for definition in DEFINITION.finditer(text):
            if definition[1].startswith(("DDS_", "AWS_")):
                definers[definition[1]] = name
    for name, text in texts.items():
        rank = subject_of(name)
        for match in INCLUDE.finditer(without_comments((root / SUBJECT_FOLDER / name).read_text())):
            included = match[1]
            if included in texts and included not in SUBJECT_OF_ALL and subject_of(included) < rank:
                findings.append(f"{SUBJECT_FOLDER}{name}: includes {included}, which stands above it")
        if name.endswith(".h"):
            continue  # declarations only
        for use in sorted(set(re.findall(r"\b(?:DDS|AWS)_\w+", text)) & definers.keys()):
            if subject_of(definers[use]) < rank and not is_declared_only(text, use):
                findings.append(f"{SUBJECT_FOLDER}{name}: uses {use} of {definers[use]}, which stands above it")
    return findings


def is_declared_only(text, name):
    """Whether every mention of the name is a declaration: it begins in the first column and has no body."""
    def is_declaration(position):
        line = text.rfind("\n", 0, position) + 1
        return re.match(r"\w+\([^;{}]*;", text[position:]) and not text[line].isspace()
    return all(is_declaration(match.start()) for match in re.finditer(rf"\b{name}\b", text))


def check_tree(root):
    findings = []
    for relative in source_files(root, "include", "srcC", "test", "bench", "examples"):
        findings += check_file(root, relative)
    return findings + check_subjects(root)


def main(arguments):
    root = pathlib.Path(arguments[0]).resolve() if arguments else ROOT
    findings = check_tree(root)
    for finding in findings:
        print(finding)
    print(f"floors: {len(findings)} findings")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
