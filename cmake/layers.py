#!/usr/bin/python3
"""Checks that the parts of the library see only what they say they use, and have their names in a namespace each.

usage: layers.py ROOT

A part is a folder below src; what it may include is itself and what its CMakeLists.txt names behind DEPENDS (frame: links).
The program, the mailbox and the examples see nothing of any part, nor of one another. Every include that breaks this is printed, and
a circle of parts is; so is a file of a part that declares anything and has not the part's namespace (frame's sources are the exports, which
have none). Exit status 1 then.
"""
import re
import sys
from pathlib import Path

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"/]+)/', re.M)
USES = re.compile(r"\bDEPENDS([^)]*)\)|target_link_libraries\(frame PUBLIC ([^)]*) PRIVATE")
COMMENT = re.compile(r"//.*|^\s*#.*(?:\\\n.*)*", re.M)
# `log` is a function of the C library.
NAMESPACES = {"log": "logging"}
OUTSIDE = ("host", "mailbox", "examples", "include")


def uses(part):
    """The parts that a part may include."""
    names = [first or second for first, second in USES.findall((part / "CMakeLists.txt").read_text())]
    return set(" ".join(names).split())


def circles(parts):
    """Parts that use themselves by way of others."""
    for start in parts:
        seen, waiting = set(), list(parts[start])
        while waiting:
            part = waiting.pop()
            if part == start:
                yield start
                break
            if part not in seen:
                seen.add(part)
                waiting += parts.get(part, ())


def faults(root):
    parts = {folder.name: uses(folder) for folder in sorted((root / "src").iterdir()) if (folder / "CMakeLists.txt").exists()}
    for part in circles(parts):
        yield f"src/{part}/CMakeLists.txt: {part} uses itself by way of others"
    folders = {root / "src" / part: {part} | used for part, used in parts.items()}
    for part, folder in ((folder.name, folder) for folder in folders):
        for file in sorted((*folder.glob("*.h"), *folder.glob("*.cpp"))):
            if not is_named(file, part):
                yield f"{file.relative_to(root)}: has no namespace {NAMESPACES.get(part, part)}"
    folders |= {root / outside: {outside} for outside in OUTSIDE}
    for folder, allowed in folders.items():
        for file in sorted(folder.rglob("*.*")):
            if file.suffix in (".h", ".cpp", ".c"):
                for included in INCLUDE.findall(file.read_text(encoding="utf-8")):
                    if (included in parts or included in OUTSIDE) and included not in allowed:
                        yield f"{file.relative_to(root)}: includes {included}, which {folder.relative_to(root)} does not use"


def is_named(file, part):
    """Whether a source of a part has the part's namespace, or nothing to put into one."""
    code = COMMENT.sub("", file.read_text(encoding="utf-8"))
    exports = part == "frame" and file.suffix == ".cpp"
    return exports or not code.strip() or f"\nnamespace {NAMESPACES.get(part, part)} {{\n" in code


def main():
    found = list(faults(Path(sys.argv[1])))
    print("\n".join(found) if found else "every part sees only what it uses, and has its own namespace")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
