#!/usr/bin/python3
"""Checks that the parts of the library see only what they say they use.

usage: layers.py ROOT

A part is a folder below src; what it may include is itself and what its CMakeLists.txt names behind DEPENDS (frame: links).
The program, the mailbox and the examples see nothing of any part, nor of one another. Every include that breaks this is printed, and
a circle of parts is; exit status 1 then.
"""
import re
import sys
from pathlib import Path

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"/]+)/', re.M)
USES = re.compile(r"\bDEPENDS([^)]*)\)|target_link_libraries\(frame PUBLIC ([^)]*) PRIVATE")
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
    folders |= {root / outside: {outside} for outside in OUTSIDE}
    for folder, allowed in folders.items():
        for file in sorted(folder.rglob("*.*")):
            if file.suffix in (".h", ".cpp", ".c"):
                for included in INCLUDE.findall(file.read_text(encoding="utf-8")):
                    if (included in parts or included in OUTSIDE) and included not in allowed:
                        yield f"{file.relative_to(root)}: includes {included}, which {folder.relative_to(root)} does not use"


def main():
    found = list(faults(Path(sys.argv[1])))
    print("\n".join(found) if found else "every part sees only what it uses")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
