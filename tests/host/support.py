"""What the tests of the program share: mailboxes made for the purpose, the program run on them, what it left behind."""

from __future__ import annotations

import json
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import unittest

import jsonschema

ROOT = pathlib.Path(__file__).resolve().parents[2]
WINE = ROOT / "cmake" / "wine"
BIN = pathlib.Path(os.environ.get("QUORVEL_BIN", ROOT / "build" / "release" / "bin"))
# What takes long, or goes by the clock, and runs next to no line of the program that others do not: the debug build leaves it out.
release_only = unittest.skipIf("QUORVEL_SHORT" in os.environ, "the release build runs it")
SAMPLES = ROOT / "samples"
SCHEMAS = ROOT / "docs" / "schemas"

SUBJECT, BODY, FROM, SENT, CLASS, NAME = "0037001F", "1000001F", "0065001F", "00390040", "001A001F", "3001001F"
MODIFIED, FIRST, LAST, COMPANY = "30080040", "3A06001F", "3A11001F", "3A16001F"
FILE_AS = "{00062004-0000-0000-C000-000000000046}:0x8005:001F"
BIRTHDAY, NICKNAME, HOME = "3A420040", "3A4F001F", "3A09001F"
READ, STATUS = "0E070003", "0E170003"
MARKS = {READ: 1, STATUS: 0x203}


def mail(number: int, subject: str = "Minutes", body: str = "All present.\r\n", **more: object) -> dict:
    item = {
        "id": f"{0xC1000000 + number:016X}",
        "properties": {
            CLASS: "IPM.Note", SUBJECT: subject, BODY: body, FROM: "ann@example.org",
            SENT: "2024-03-04T08:15:00Z", MODIFIED: "2024-03-04T09:00:00Z",
        },
        "recipients": [{"0C150003": 1, NAME: "Bob", "3002001F": "SMTP", "3003001F": "bob@example.org"}],
    }
    item["properties"].update(more.pop("properties", {}))
    item.update(more)
    return item


def contact(number: int, last: str, first: str = "Ann", **more: object) -> dict:
    item: dict = {"id": f"{0xD1000000 + number:016X}", "properties": {
        CLASS: "IPM.Contact", FIRST: first, LAST: last, COMPANY: "Quay Ltd", FILE_AS: f"{last}, {first}",
        MODIFIED: "2024-03-04T09:00:00Z"}}
    item["properties"].update(more.pop("properties", {}))
    item.update(more)
    return item


def attachment(name: str, base64: str) -> dict:
    return {"properties": {"37050003": 1, "3707001F": name, "37010102": base64}}


def folder(number: int, name: str, container_class: str, items: list[dict], folders: list[dict] | None = None) -> dict:
    return {
        "id": f"{0xB1000000 + number:016X}",
        "properties": {NAME: name, "3613001F": container_class},
        "items": items,
        "folders": folders or [],
    }


def mailbox(*folders: dict, store: str = "00000000A1A2A3A4") -> dict:
    return {
        "format": "quorvel-mailbox", "version": 1,
        "services": [{"uid": "0A0B0C0D0E0F1011121314151617181A", "dll": "mspst.dll", "entry": "PSTServiceEntry",
                      "name": "PST", "displayName": "Personal Folders"}],
        "stores": [{
            "id": store, "default": True, "service": "0A0B0C0D0E0F1011121314151617181A", "properties": {NAME: "Mailbox"},
            "root": {"id": "00000000B0000000", "properties": {NAME: "Top"}, "folders": list(folders)},
        }],
    }


def inventory(box: dict) -> list[str]:
    """Every item with its folder and everything in it but its identifier and the order in its folder."""
    found: list[str] = []

    def walk(one: dict, path: str) -> None:
        for item in one.get("items", []):
            content = {name: value for name, value in item.items() if name != "id"}
            # What the platform computes is written with the first save.
            content["properties"] = {
                key: value for key, value in content["properties"].items() if key[:4] not in ("0E08", "0E1B", "300B", "0E02", "0E03", "0E04")
            }
            content = {name: value for name, value in content.items() if value not in ([], {}, False)}
            found.append(path + ": " + json.dumps(content, sort_keys=True))
        for sub in one.get("folders", []):
            walk(sub, path + "/" + sub["properties"][NAME])

    for store in box["stores"]:
        walk(store["root"], store["properties"][NAME])
    return sorted(found)


def items(box: dict) -> dict[str, dict]:
    return {item["id"]: item for one in box["stores"][0]["root"]["folders"] for item in one.get("items", [])}


def bared(item: dict) -> dict:
    """Without what stores work out or note at each save; a mark that is not set is none."""
    kept = {key: value & MARKS[key] if key in MARKS else value for key, value in item["properties"].items()
            if key[:4] not in ("0E08", "0E1B", "300B", "0E02", "0E03", "0E04", "3007", "3008") and (key not in MARKS or value & MARKS[key])}
    return {name: value for name, value in {**item, "properties": kept}.items() if name != "id" and value not in ([], {})}


def settled(box: dict) -> list[dict]:
    return sorted(map(bared, items(box).values()), key=lambda item: json.dumps(item, sort_keys=True))


class HostTest(unittest.TestCase):
    """A test with a folder of its own, in which the program runs."""

    def setUp(self) -> None:
        temporary = tempfile.TemporaryDirectory(prefix="quorvel-host-")
        self.addCleanup(temporary.cleanup)
        self.dir = pathlib.Path(temporary.name)
        self.box = self.dir / "mailbox.json"
        self.bin = BIN

    def write(self, box: dict) -> None:
        self.box.write_text(json.dumps(box), encoding="utf-8")

    def read(self) -> dict:
        return json.loads(self.box.read_text(encoding="utf-8"))

    def start(self, *arguments: str, box: bool = True) -> subprocess.Popen[bytes]:
        command = [str(WINE), str(self.bin / "quorvel.exe"), *arguments]
        if box:
            command += ["--mailbox", str(self.box)]
        return subprocess.Popen(command, cwd=self.dir, stdout=subprocess.PIPE, stderr=subprocess.PIPE, stdin=subprocess.DEVNULL)

    def run_program(self, *arguments: str, status: int | None, box: bool = True) -> str:
        process = self.start(*arguments, box=box)
        out, err = process.communicate(timeout=300)
        self.out, self.err = out.decode("utf-8"), err.decode("utf-8").replace("\r\n", "\n")
        self.status = process.returncode
        if status is not None:
            self.assertEqual(process.returncode, status, f"quorvel {' '.join(arguments)} printed:\n{self.out}{self.err}")
        return self.out

    def killed(self, call: str, nth: int, file: str, *arguments: str) -> bool:
        """Whether the program was killed with its nth call of this name for this file, before it is carried out."""
        subprocess.run([WINE, "cmd", "/c", "exit"], check=True, capture_output=True, timeout=300)
        kill = ["strace", "-f", "-qq", "-o", "/dev/null", "-P", str(self.dir / file), "-e", f"inject={call}:signal=KILL:when={nth}"]
        done = subprocess.run([*kill, str(WINE), str(self.bin / "quorvel.exe"), *arguments, "--mailbox", str(self.box)], cwd=self.dir,
                              capture_output=True, timeout=300, check=False)
        self.assertIn(done.returncode, (0, -signal.SIGKILL), done.stderr)
        return done.returncode != 0

    def use_faulty_mailbox(self) -> None:
        """From now on QUORVEL_TEST_FAULT says which call fails."""
        self.bin = self.dir / "bin"
        self.bin.mkdir()
        for name in ("quorvel.exe", "Quorvel.dll", "definitions"):
            (self.bin / name).symlink_to(BIN / name)
        shutil.copy(BIN / "faulty_mailbox.dll", self.bin / "qvmailbox.dll")

    def scan(self, *arguments: str, status: int) -> dict:
        report = json.loads(self.run_program("scan", "--format", "json", *arguments, status=status))
        self.assert_valid(report, "report")
        for scanned in report["scans"]:
            self.assert_valid(scanned["definitions"], "definitions")
        return report

    def assert_valid(self, document: object, form: str) -> None:
        """It is as the published schema of its form says."""
        schema = json.loads((SCHEMAS / f"{form}.schema.json").read_text(encoding="utf-8"))
        faults = [f"{fault.json_path}: {fault.message}" for fault in jsonschema.Draft202012Validator(schema).iter_errors(document)]
        self.assertEqual(faults, [], f"not as {form}.schema.json says")

    def groups(self, report: dict) -> list[list[str]]:
        """Each group's items as Folder#number, the kept one first."""
        def place(item: dict) -> str:
            return item["folder"].rsplit("/", 1)[-1] + "#" + str(item["number"])
        return [[place(group["keep"]), *map(place, group["duplicates"])] for group in report["groups"]]

    def assert_refused(self, *arguments: str, because: str, box: bool = True) -> None:
        """Exit status 2 and one sentence on standard error that holds the reason."""
        self.run_program(*arguments, status=2, box=box)
        self.assertIn(because, self.err)
        self.assertEqual(self.err.count("\n"), 1, f"more than one sentence: {self.err}")
        self.assertTrue(self.err.startswith("quorvel: "), self.err)
