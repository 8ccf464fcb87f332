#!/usr/bin/python3
"""Makes the installer of an installed kit, with wixl and msibuild.

usage: installer.py KIT VERSION OUTPUT.msi

Every file is a component of its own whose identifier follows from its path: a newer version replaces what an older one
installed. The program's folder is put at the end of the PATH, and nothing else is registered.
"""
import subprocess
import sys
import tempfile
import uuid
from pathlib import Path
from xml.sax.saxutils import quoteattr

# Names everything that the installer of any version identifies itself by. Never changes.
FAMILY = uuid.UUID("5d0c3f8e-7a41-4b6d-9a57-0e4c1b8f2d36")


def identifier(what):
    return str(uuid.uuid5(FAMILY, what)).upper()


def xml_id(kind, path):
    return kind + uuid.uuid5(FAMILY, str(path)).hex.upper()


def contents(folder, kit, components, indent):
    """Lines of a folder's element, without the element itself."""
    lines = []
    for path in sorted(folder.iterdir()):
        name = path.relative_to(kit)
        if path.is_dir():
            lines.append(f"{indent}<Directory Id={quoteattr(xml_id('D', name))} Name={quoteattr(path.name)}>")
            lines += contents(path, kit, components, indent + " ")
            lines.append(f"{indent}</Directory>")
            continue
        component = xml_id("C", name)
        components.append(component)
        lines += [
            f"{indent}<Component Id={quoteattr(component)} Guid={quoteattr(identifier(str(name)))} Win64=\"yes\">",
            f"{indent} <File Id={quoteattr(xml_id('F', name))} Name={quoteattr(path.name)} Source={quoteattr(str(name))}"
            " KeyPath=\"yes\"/>",
        ]
        lines.append(f"{indent}</Component>")
    return lines


def description(kit, version):
    components = []
    tree = contents(kit, kit, components, "     ")
    references = [f"   <ComponentRef Id={quoteattr(component)}/>" for component in components]
    return "\n".join([
        '<?xml version="1.0" encoding="utf-8"?>',
        '<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi">',
        f' <Product Id="{identifier("product " + version)}" Name="Quorvel {version}" Language="1033" Version="{version}"',
        f'  Manufacturer="Quorvel" UpgradeCode="{identifier("upgrades")}">',
        '  <Package InstallerVersion="200" Compressed="yes" InstallScope="perMachine"/>',
        f'  <Upgrade Id="{identifier("upgrades")}">',
        f'   <UpgradeVersion Minimum="0.0.0" IncludeMinimum="yes" Maximum="{version}" Property="OLDERVERSION"/>',
        '  </Upgrade>',
        '  <InstallExecuteSequence><RemoveExistingProducts After="InstallInitialize"/></InstallExecuteSequence>',
        '  <Media Id="1" Cabinet="files.cab" EmbedCab="yes"/>',
        '  <Directory Id="TARGETDIR" Name="SourceDir">',
        '   <Directory Id="ProgramFiles64Folder">',
        '    <Directory Id="INSTALLDIR" Name="Quorvel">',
        *tree,
        '    </Directory>',
        '   </Directory>',
        '  </Directory>',
        '  <Feature Id="Complete" Level="1">',
        *references,
        '  </Feature>',
        ' </Product>',
        '</Wix>',
    ]) + "\n"


# wixl knows no entries of the environment: their table is added to what it made. "=-*": set, taken away with the component,
# the machine's; "[~]": behind what is there.
PATH_ENTRY = """Environment\tName\tValue\tComponent_
s72\tl255\tL255\ts72
Environment\tEnvironment
Path\t=-*PATH\t[~];[{folder}]\t{component}
"""
ACTIONS = {"RemoveEnvironmentStrings": 3300, "WriteEnvironmentStrings": 5200}


def main():
    kit, version, output = Path(sys.argv[1]), sys.argv[2], Path(sys.argv[3]).resolve()
    with tempfile.TemporaryDirectory() as scratch:
        source, table = Path(scratch, "quorvel.wxs"), Path(scratch, "Environment.idt")
        source.write_text(description(kit, version), encoding="utf-8")
        table.write_text(PATH_ENTRY.format(folder=xml_id("D", "bin"), component=xml_id("C", Path("bin/quorvel.exe"))),
                         encoding="utf-8", newline="\r\n")
        # It takes files by their place below the folder that it runs in, and no others.
        subprocess.run(["wixl", "--arch", "x64", "--output", output, source], cwd=kit, check=True)
        subprocess.run(["msibuild", output, "-i", table], check=True)
        for action, place in ACTIONS.items():
            subprocess.run(["msibuild", output, "-q", "INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) "
                            f"VALUES ('{action}', {place})"], check=True)


if __name__ == "__main__":
    main()
