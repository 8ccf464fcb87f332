#!/usr/bin/python3
"""Rewrites a compile database so that Debian's clang compiles the same sources for the same target.

usage: clang_database.py BUILD_DIRECTORY OUTPUT_DIRECTORY
       clang_database.py --compile OUTPUT_DIRECTORY SOURCE

Takes the project's own entries of BUILD_DIRECTORY/compile_commands.json (nothing of the libraries it is built with),
keeps definitions, include folders, language level and warnings, and writes OUTPUT_DIRECTORY/compile_commands.json.
The second form checks one source of that database and gives the compiler's exit status.
"""
import json
import shlex
import subprocess
import sys
from pathlib import Path

GCC = "/usr/lib/gcc/x86_64-w64-mingw32/12-posix/include"
TARGET = ["--target=x86_64-w64-windows-gnu"]
CXX_FOLDERS = ["-isystem", f"{GCC}/c++", "-isystem", f"{GCC}/c++/x86_64-w64-mingw32"]
C_FOLDERS = ["-isystem", "/usr/share/mingw-w64/include"]
# Where gcc is content under the same flags: the platform's header promises not to throw and declares without export
# what the mailbox implements and exports; its records end in arrays of a declared length of 1, whatever they hold;
# gcc's -Wconversion leaves signs alone.
QUIET = [
    "-Wno-microsoft-exception-spec",
    "-Wno-dll-attribute-on-redeclaration",
    "-Wno-array-bounds",
    "-Wno-sign-conversion",
]
KEPT = ("-D", "-I", "-W", "-std=")


def clang_arguments(arguments, source):
    is_c = source.endswith(".c")
    result = ["clang" if is_c else "clang++", *TARGET, *([] if is_c else CXX_FOLDERS), *C_FOLDERS]
    words = iter(arguments)
    for word in words:
        if word == "-isystem":
            result += [word, next(words)]
        elif word.startswith(KEPT):
            result.append(word)
    return [*result, *QUIET, "-fsyntax-only", source]


def compile_one(database, source):
    for entry in json.loads((database / "compile_commands.json").read_text()):
        if entry["file"] == source:
            return subprocess.run(entry["arguments"], cwd=entry["directory"], check=False).returncode
    print(f"{source} is not in the database", file=sys.stderr)
    return 1


def write_database(build, output):
    root = Path(__file__).resolve().parent.parent
    entries = []
    for entry in json.loads((build / "compile_commands.json").read_text()):
        source = entry["file"]
        if not Path(source).is_relative_to(root) or Path(source).is_relative_to(build.resolve()):
            continue
        arguments = clang_arguments(shlex.split(entry["command"]), source)
        entries.append({"directory": entry["directory"], "file": source, "arguments": arguments})
    output.mkdir(parents=True, exist_ok=True)
    (output / "compile_commands.json").write_text(json.dumps(entries, indent=1))


if __name__ == "__main__":
    if sys.argv[1] == "--compile":
        sys.exit(compile_one(Path(sys.argv[2]), sys.argv[3]))
    write_database(Path(sys.argv[1]), Path(sys.argv[2]))
