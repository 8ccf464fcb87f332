"""Installs the package under Wine, uses the program from where it is then, and removes it without a trace.

usage: check_installer.py INSTALLER VERSION WINE

Wine's prefix is that of QUORVEL_WINEPREFIX. What is compared is every file of the drive and every key of the registry, before
and after; what the installer service itself keeps of its runs is left out.
"""
import os
import re
import subprocess
import sys
from pathlib import Path

# The service's own: its caches, and the keys below which it keeps a key for each product.
NOT_OURS = re.compile(r"\\Installer\\(Folders|InProgress|RollbackScripts)|\\Windows\\CurrentVersion\\Explorer$|\\SideBySide"
                      r"|\\Installer(\\(Features|Products|UpgradeCodes|UserData(\\S-1-5-18(\\(Components|Products))?)?))?$", re.I)


class Fault(Exception):
    pass


class Machine:
    def __init__(self, wine, prefix):
        self.wine, self.prefix = wine, Path(prefix)

    def run(self, *command, status=0):
        done = subprocess.run([self.wine, *command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False,
                              stdin=subprocess.DEVNULL, timeout=300)
        printed = done.stdout.decode("utf-8", "replace").replace("\r\n", "\n")
        if done.returncode != status:
            raise Fault(f"{' '.join(command)} ended with {done.returncode} instead of {status}:\n{printed}")
        return printed

    def files(self):
        drive = self.prefix / "drive_c"
        return {str(path.relative_to(drive)) for path in drive.rglob("*")
                if not str(path.relative_to(drive)).startswith(("windows/temp", "windows/Installer", "users"))}

    def registry(self):
        """Every value with its key, as lines."""
        found = set()
        # Wine takes an entry out of the PATH and leaves the semicolon: entries are compared, not the text.
        environment = "HKLM\\System\\CurrentControlSet\\Control\\Session Manager\\Environment"
        for entry in filter(None, re.split(r"[;\n]", self.run("reg", "query", environment))):
            found.add(f"Environment: {entry.strip()}")
        for root in ("HKLM\\Software", "HKCU\\Software", "HKCU\\Environment", "HKCR"):
            target = self.prefix / "drive_c/windows/temp/registry.reg"
            subprocess.run([self.wine, "reg", "export", root, "C:\\windows\\temp\\registry.reg", "/y"], check=False,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=300)
            if not target.exists():
                continue
            key = ""
            for line in target.read_text(encoding="utf-16").splitlines():
                if line.startswith("["):
                    key = line.strip("[]")
                if line and not NOT_OURS.search(key) and not line.startswith("Windows Registry"):
                    found.add(f"{key}: {line}")
            target.unlink()
        return found


def differences(before, after, what):
    return [f"{what} left behind: {line}" for line in sorted(after - before)] + \
           [f"{what} gone: {line}" for line in sorted(before - after)]


def main():
    installer, version = Path(sys.argv[1]).resolve(), sys.argv[2]
    machine = Machine(sys.argv[3], os.environ["QUORVEL_WINEPREFIX"])
    windows_path = "Z:" + str(installer).replace("/", "\\")
    machine.run("cmd", "/c", "exit")
    files, registry = machine.files(), machine.registry()

    machine.run("msiexec", "/i", windows_path, "/qn")
    installed = machine.files() - files
    if "Program Files/Quorvel/bin/quorvel.exe" not in installed:
        raise Fault("the program was not installed:\n" + "\n".join(sorted(installed)))
    strangers = sorted(path for path in installed if not path.startswith("Program Files/Quorvel"))
    if strangers:
        raise Fault("installed elsewhere:\n" + "\n".join(strangers))
    registered = sorted(line for line in machine.registry() - registry
                        if not re.search(r"\\Installer(\\|:)|\\Uninstall\\", line))
    if registered != ["Environment: C:\\Program Files\\Quorvel\\bin\\"]:
        raise Fault("registered, where only the PATH should be:\n" + "\n".join(registered))

    # By its name alone: from the PATH.
    printed = machine.run("quorvel", "--version")
    if printed.strip() != f"quorvel {version}":
        raise Fault(f"quorvel --version printed {printed!r}")
    report = machine.run("quorvel", "--quiet", "--mailbox", "C:\\Program Files\\Quorvel\\samples\\mailbox.json", "scan", "--kind", "mail",
                         status=1)
    if "29 items, 7 groups, 7 duplicates" not in report:
        raise Fault("the scan of the sample printed\n" + report)

    machine.run("msiexec", "/x", windows_path, "/qn")
    faults = differences(files, machine.files(), "file") + differences(registry, machine.registry(), "registry")
    if faults:
        raise Fault("\n".join(faults))
    print(f"{len(installed)} files and folders came and went, {installer.stat().st_size} bytes")


if __name__ == "__main__":
    try:
        main()
    except Fault as fault:
        sys.exit(str(fault))
