#!/usr/bin/python3
"""Measures an import side by side with the bare work, in one run: bench/import_times.py FOLDER

The bare work is what the standard library's parser (`email.message_from_bytes`, its default policy) costs over the
.eml files of the folder in one process. Times are the processor's (of all processes) and the clock's, in seconds.
"""

from __future__ import annotations

import pathlib
import resource
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
BARE = """
import email, os, sys
for folder, _, names in sorted(os.walk(sys.argv[1])):
    for name in sorted(names):
        if name.endswith(".eml"):
            with open(os.path.join(folder, name), "rb") as file:
                email.message_from_bytes(file.read())
"""


def measured(*command: str | pathlib.Path) -> tuple[float, float]:
    before, begun = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
    status = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False).returncode
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if status not in (0, 1):
        sys.exit(f"{command[0]} failed with {status}")
    spent = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    return spent, time.monotonic() - begun


def main() -> None:
    folder = sys.argv[1]
    with tempfile.TemporaryDirectory() as name:
        command = (ROOT / "mailbox/import", "--output", f"{name}/mailbox.json", folder)
        rows = [("bare work", measured(sys.executable, "-c", BARE, folder)), ("import", measured(*command)),
                ("import again, nothing changed", measured(*command))]  # fmt: skip
    bare = rows[0][1]
    print(f"{'':30} {'CPU':>7} {'of bare':>8} {'clock':>7} {'of bare':>8}")
    for label, (spent, passed) in rows:
        print(f"{label:30} {spent:7.2f} {spent / bare[0]:8.2f} {passed:7.2f} {passed / bare[1]:8.2f}")


if __name__ == "__main__":
    main()
