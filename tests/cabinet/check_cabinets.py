#!/usr/bin/env python3
"""Packs cabinets with the shipped library and holds them against two programs that know the format,
cabextract and 7z: what they list and what they extract, byte for byte.

    check_cabinets.py WINE PACKER
"""
import datetime
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import zoneinfo
from pathlib import Path

WINE, PACKER = sys.argv[1:3]
ZONES = ["UTC", "America/New_York", "Europe/Berlin", "Australia/Sydney", "Asia/Kolkata"]
ATTRIBUTES = {"R": 0x01, "H": 0x02, "S": 0x04, "A": 0x20}


def windows(path):
    return "Z:" + str(path).replace("/", "\\")


def pseudo_random(size):
    """Bytes that do not compress to nothing and are the same in every run."""
    state, out = 12345, bytearray()
    while len(out) < size:
        state = (state * 6364136223846793005 + 1442695040888963407) & (2**64 - 1)
        out += state.to_bytes(8, "little")
    return bytes(out[:size])


class Cabinets(unittest.TestCase):
    def setUp(self):
        self.folder = Path(tempfile.mkdtemp(prefix="cabinets"))
        self.addCleanup(shutil.rmtree, self.folder)
        for name in ("in", "out", "temp"):
            (self.folder / name).mkdir()

    def pack(self, commands, zone="Europe/Berlin", overrides=""):
        """Runs the commands and returns what each printed."""
        script = self.folder / "script"
        lines = [("temp", windows(self.folder / "temp")), *commands]
        script.write_bytes(b"".join("\t".join(line).encode("cp1252") + b"\n" for line in lines))
        environment = dict(os.environ, TZ=zone, LC_ALL="C.UTF-8", QUORVEL_DLLOVERRIDES=overrides)
        output = self.folder / "output"
        # Into a file: the processes that Wine leaves behind for a while would hold a pipe open.
        with output.open("wb") as stream:
            done = subprocess.run([WINE, PACKER, windows(script)], env=environment, stdout=stream, stderr=stream)
        printed = output.read_text()
        self.assertEqual(done.returncode, 0, printed)
        self.assertEqual(list((self.folder / "temp").iterdir()), [], "temporary files are left")
        return [int(line) for line in printed.split()]

    def source(self, name, content=b"content", time=1_700_000_000):
        path = self.folder / "in" / name
        path.write_bytes(content)
        os.utime(path, (time, time))
        return path

    def create(self, name="out.cab", folder=None):
        return ("create", windows(folder or self.folder / "out") + "\\", name)

    def whole(self, files, cabinet="out.cab"):
        """The commands that pack {stored name: source}; each has to succeed."""
        adds = [("add", windows(path), name) for name, path in files.items()]
        return [self.create(cabinet), *adds, ("flush",), ("delete",)]

    def run_tool(self, *command):
        return subprocess.run(command, cwd=self.folder, capture_output=True, text=True, errors="replace",
                              env=dict(os.environ, LC_ALL="C.UTF-8", TZ="UTC"))

    def tool(self, *command):
        done = self.run_tool(*command)
        self.assertEqual(done.returncode, 0, f"{command}: {done.stdout}{done.stderr}")
        return done.stdout

    def assert_extracts(self, files, cabinet="out.cab"):
        """Both programs take the cabinet for whole and extract the sources, byte for byte, and nothing else."""
        path = str(self.folder / "out" / cabinet)
        for command in (["cabextract", "-q", "-e", "CP1252", "-d", "{}"], ["7z", "x", "-y", "-o{}"]):
            target = self.folder / ("extracted_" + command[0])
            self.tool(*(part.format(target) for part in command), path)
            found = {str(p.relative_to(target)): p.read_bytes() for p in target.rglob("*") if p.is_file()}
            wanted = {name.replace("\\", "/"): source.read_bytes() for name, source in files.items()}
            # 7z knows no code page but its own: there the bytes alone tell.
            if command[0] == "cabextract" or all(name.isascii() for name in wanted):
                self.assertEqual(sorted(found), sorted(wanted), command[0])
                different = [name for name in wanted if found[name] != wanted[name]]
                self.assertEqual(different, [], f"{command[0]} extracts other bytes")
            else:
                self.assertTrue(sorted(found.values()) == sorted(wanted.values()), "7z extracts other bytes")
            shutil.rmtree(target)

    def assert_refused(self, cabinet="out.cab"):
        path = self.folder / "out" / cabinet
        for command in (["cabextract", "-t"], ["7z", "t"]):
            self.assertNotEqual(self.run_tool(*command, str(path)).returncode, 0, f"{command[0]} takes it for whole")

    def test_content_of_every_size(self):
        sizes = [1, 0, 2, 32767, 32768, 32769, 65536, 899_999, 900_000, 900_001, 5_000_000]
        files = {f"{size}.bin": self.source(f"{size}.bin", pseudo_random(size)) for size in sizes}
        files["zeros"] = self.source("zeros", bytes(3_000_000))
        self.assertEqual(self.pack(self.whole(files)), [1] * (len(files) + 2))
        self.assert_extracts(files)
        listed = re.findall(r"^Size = (\d+)$", self.tool("7z", "l", "-slt", "out/out.cab"), re.M)
        self.assertEqual(sorted(map(int, listed)), sorted(p.stat().st_size for p in files.values()))
        methods = set(re.findall(r"^Method = (\S+)$", self.tool("7z", "l", "-slt", "out/out.cab"), re.M))
        self.assertEqual(methods, {"MSZip"})

    def test_files_without_content(self):
        for name, sizes in {"only.cab": [0, 0], "one.cab": [0], "last.cab": [900_001, 0, 0], "first.cab": [0, 5]}.items():
            with self.subTest(name):
                files = {f"{i}": self.source(f"{i}", pseudo_random(size)) for i, size in enumerate(sizes)}
                self.assertEqual(self.pack(self.whole(files, name)), [1] * (len(files) + 2))
                self.assert_extracts(files, name)

    def test_names(self):
        accented = "caf\u00e9 \u2013 r\u00e9sum\u00e9.txt"
        long_name = "n" * 255
        files = {name: self.source(f"{i}", name.encode()) for i, name in enumerate(
            ["plain", "with blanks.txt", "sub\\folder\\deep.txt", "sub\\other.txt", "100%s%n.txt", "a.b.c"])}
        files[accented] = self.source(accented, b"accented")
        files[long_name] = self.source("long", b"long")
        self.assertEqual(self.pack(self.whole(files)), [1] * (len(files) + 2))
        self.assert_extracts(files)

    def test_attributes(self):
        wanted = {"none": 0x80, "readonly": 0x01, "hidden": 0x02, "system": 0x04, "archive": 0x20,
                  "readonly_hidden": 0x03, "all": 0x27, ".dot": 0x80}
        files = {name: self.source(name) for name in wanted}
        setting = [("attributes", windows(files[name]), str(bits)) for name, bits in wanted.items()]
        got = self.pack(setting + self.whole(files))
        has = dict(zip(wanted, got))
        self.assertEqual(got[len(wanted):], [1] * (len(files) + 2))
        self.assertTrue(has["readonly_hidden"] & 3 == 3, "the file system keeps no attributes: nothing is tested")
        listing = self.tool("7z", "l", "-slt", "out/out.cab")
        listed = dict(re.findall(r"^Path = (.+)\n(?:.+\n)*?Attributes = (.*)$", listing.split("----------")[1], re.M))
        for name, bits in has.items():
            letters = listed[name].split()[0] if listed[name].split() else ""
            stored = sum(ATTRIBUTES[letter] for letter in letters if letter in ATTRIBUTES)
            self.assertEqual(stored, bits & 0x27, f"{name}: {listed[name]!r}")

    def test_times_are_local(self):
        times = [0x12CEA600 + 86400, 951_782_400, 1_700_000_002, 1_720_000_000, 4_000_000_000]
        files = {f"{time}": self.source(f"{time}", time=time) for time in times}
        for zone in ZONES:
            with self.subTest(zone):
                self.assertEqual(self.pack(self.whole(files), zone), [1] * (len(files) + 2))
                listing = self.tool("cabextract", "-l", "out/out.cab")
                listed = dict((name, when) for when, name in
                              re.findall(r"\| (\d\d\.\d\d\.\d{4} \d\d:\d\d:\d\d) \| (\S+)", listing))
                # The bias of today, whatever the day of the file was.
                bias = datetime.datetime.now(zoneinfo.ZoneInfo(zone)).utcoffset()
                for time in times:
                    local = datetime.datetime.fromtimestamp(time, datetime.timezone.utc) + bias
                    self.assertEqual(listed[str(time)], local.strftime("%d.%m.%Y %H:%M:%S"))

    def test_unflushed_is_incomplete(self):
        files = {"one": self.source("one", pseudo_random(2_000_000))}
        commands = [command for command in self.whole(files) if command != ("flush",)]
        self.assertEqual(self.pack(commands), [1, 1])
        self.assert_refused()

    def test_where_nothing_can_be_written(self):
        files = {"one": self.source("one")}
        self.source("a_file")
        for folder in (self.folder / "missing", self.folder / "in" / "a_file"):
            with self.subTest(folder):
                commands = self.whole(files)
                commands[0] = self.create(folder=folder)
                self.assertEqual(self.pack(commands)[-1], 0)
                self.assertFalse((folder / "out.cab").exists())

    def test_long_names(self):
        files = {"one": self.source("one")}
        self.assertEqual(self.pack(self.whole(files, "n" * 300)), [1, 1, 1])
        self.assert_extracts(files, "n" * 255)
        self.assertEqual(self.pack(self.whole({"s" * 300: files["one"]}))[:2], [1, 0])

    def test_full_disk(self):
        if os.geteuid() != 0 or subprocess.run(
                ["mount", "-t", "tmpfs", "-o", "size=256k", "tmpfs", str(self.folder / "out")]).returncode != 0:
            self.skipTest("a small file system can only be mounted by root")
        try:
            files = {"big": self.source("big", pseudo_random(1_000_000))}
            self.assertEqual(self.pack(self.whole(files)), [1, 1, 0])
            self.assert_refused()
        finally:
            self.tool("umount", str(self.folder / "out"))

    def test_missing_library(self):
        log = self.folder / "log"
        files = {"one": self.source("one")}
        printed = self.pack([("log", windows(log)), *self.whole(files)], overrides="cabinet=")
        self.assertEqual(printed, [0, 0, 0])
        line = log.read_bytes().decode("utf-8-sig")
        self.assertRegex(line, r"Err.*FCI_Create")
        self.assertTrue(line.endswith("GetLastError = 0x7e"), line)
        self.assertEqual(list((self.folder / "out").iterdir()), [])

    def test_failures_are_not_logged_but_that_one(self):
        log = self.folder / "log"
        files = {"one": self.source("one")}
        commands = [("log", windows(log)), self.create(), ("add", windows(self.folder / "missing"), "missing"),
                    ("delete",), *self.whole(files)]
        self.assertEqual(self.pack(commands), [1, 0, 1, 1, 1])
        self.assertFalse(log.exists() and log.read_text("utf-8-sig"))
        self.assert_extracts(files)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
