#!/usr/bin/env python3
"""msi.py VERSION x64|x86 FILES OUTPUT: makes the MSI of one bitness out of the installer's files.

It registers by tables. wixl writes most of them, msibuild those that wixl does not know.
"""
import hashlib
import pathlib
import subprocess
import sys
import tempfile
import uuid
from xml.sax.saxutils import quoteattr

import registration

OURS = uuid.UUID("6c1d9c5e-1a5b-4a56-9d0e-2f6a3b8f7c11")  # names below it become identifiers
AUTHORS = "the mvSMS authors"
CLASSES = "Software\\Classes\\"


def identifier(*names):
    return str(uuid.uuid5(OURS, "/".join(names))).upper()


def short(prefix, name):
    """A key of a table, for any file name."""
    return prefix + hashlib.sha1(name.encode()).hexdigest()[:16]


class Package:
    def __init__(self, version, bits, files):
        self.version, self.bits, self.files = version, bits, files
        self.native = bits == "x64"
        self.components = []

    def component(self, name, content, win64=None):
        """A component, which is of the feature. One that is not of 64 bits belongs to both packages when its
        name is the same in both."""
        key = short("c", name)
        self.components.append(key)
        shared = "both" if win64 is False else self.bits
        win64 = self.native if win64 is None else win64
        return (f'<Component Id="{key}" Guid="{identifier(shared, name)}" Win64="{"yes" if win64 else "no"}">'
                f"{content}</Component>")

    def file(self, path, name):
        key = {"mvSMS.dll": "dll", "mvsms.exe": "command"}.get(path.name) or short("f", name)
        return (f'<File Id="{key}" Name={quoteattr(path.name)} Source={quoteattr(str(path.relative_to(registration.ROOT)))} KeyPath="yes"/>')

    def values(self, rows, first_is_key_path=False):
        for number, (key, name, text) in enumerate(rows):
            named = f' Name="{name}"' if name else ""
            key_path = ' KeyPath="yes"' if first_is_key_path and number == 0 else ""
            key = quoteattr(CLASSES + key)
            text = quoteattr(text)
            yield f'<RegistryValue Root="HKLM" Key={key}{named} Type="string" Value={text}{key_path}/>'

    def folder(self, path, name):
        """The files in a folder, and the folders in it."""
        for entry in sorted(path.iterdir()):
            inner = f"{name}/{entry.name}"
            if entry.is_dir():
                yield f'<Directory Id="{short("d", inner)}" Name={quoteattr(entry.name)}>'
                yield from self.folder(entry, inner)
                yield "</Directory>"
            else:
                yield self.component(inner, self.file(entry, inner) + self.more_of(entry.name))

    def more_of(self, name):
        if name == "mvSMS.dll":
            return "".join(self.values(registration.own_values(64 if self.native else 32, "[#dll]")))
        if name == "mvsms.exe":
            return "".join(
                f'<Shortcut Id="{short("s", title)}" Directory="StartMenu" Name="{title}" Target="[#command]" '
                f'Arguments="{arguments}" Icon="mvsms.ico"/>'
                for title, arguments in (("Configuration", "dialog"), ("Test tool", "dialog --test-tool")))
        return ""

    def shared(self):
        rows = registration.shared_values("[INSTALLDIR]")
        return self.component("shared registration", "".join(self.values(rows, True)), win64=False)

    def place(self):
        """Where it is installed, for the next version to go there, and for what names the folder to be
        found again when it is removed. In the part of the registry that a search looks into."""
        value = (f'<RegistryValue Root="HKLM" Key="Software\\mvSMS" Name="{self.bits}" Type="string" '
                 f'Value="[INSTALLDIR]" KeyPath="yes"/>')
        return self.component(f"place {self.bits}", value, win64=False)

    def start_menu(self):
        key = '<RegistryValue Root="HKCU" Key="Software\\mvSMS" Name="StartMenu" Type="string" Value="" KeyPath="yes"/>'
        return self.component("start menu", '<RemoveFolder Id="StartMenu" On="uninstall"/>' + key)

    def source(self):
        programs = "ProgramFiles64Folder" if self.native else "ProgramFilesFolder"
        contents = "".join(self.folder(self.files, ""))
        return f"""<?xml version="1.0" encoding="utf-8"?>
<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi">
  <Product Id="{identifier(self.version, self.bits)}" Name="mvSMS ({self.bits})" Language="1033" Codepage="1252"
      Version="{self.version}" Manufacturer="{AUTHORS}" UpgradeCode="{identifier("upgrade", self.bits)}">
    <Package InstallerVersion="500" Compressed="yes" InstallScope="perMachine" Manufacturer="{AUTHORS}"
        Description="mvSMS {self.version} ({self.bits})"/>
    <MajorUpgrade DowngradeErrorMessage="A newer version of mvSMS is installed. Uninstall it first; the settings stay."/>
    <MediaTemplate EmbedCab="yes"/>
    <Icon Id="mvsms.ico" SourceFile="com/mvsms.ico"/>
    <Property Id="ARPPRODUCTICON" Value="mvsms.ico"/>
    <Property Id="ARPNOMODIFY" Value="1"/>
    <Property Id="INSTALLDIR">
      <RegistrySearch Id="Place" Root="HKLM" Key="Software\\mvSMS" Name="{self.bits}" Type="raw"/>
    </Property>
    <Condition Message="mvSMS needs Windows 7 or later.">VersionNT &gt;= 601</Condition>
    <Directory Id="TARGETDIR" Name="SourceDir">
      <Directory Id="{programs}"><Directory Id="INSTALLDIR" Name="mvSMS">{contents}{self.shared()}{self.place()}</Directory></Directory>
      <Directory Id="ProgramMenuFolder"><Directory Id="StartMenu" Name="mvSMS ({self.bits})">{self.start_menu()}</Directory></Directory>
    </Directory>
    <Feature Id="Everything" Title="mvSMS" Level="1">{"".join(f'<ComponentRef Id="{key}"/>' for key in self.components)}</Feature>
  </Product>
</Wix>
"""

    def rest(self):
        """What wixl has no element for: the path; versions, for an upgrade replaces files by them; and
        the catalogue, which may be somebody's own: 128 never overwritten, 16 never removed."""
        command = short("c", "/mvsms.exe")
        yield ("CREATE TABLE `Environment` (`Environment` CHAR(72) NOT NULL, `Name` CHAR(255) NOT NULL "
               "LOCALIZABLE, `Value` CHAR(255) LOCALIZABLE, `Component_` CHAR(72) NOT NULL "
               "PRIMARY KEY `Environment`)")
        yield ("INSERT INTO `Environment` (`Environment`, `Name`, `Value`, `Component_`) VALUES "
               f"('Path', '=-*PATH', '[~];[INSTALLDIR]', '{command}')")
        for action, number in (("RemoveEnvironmentStrings", 3300), ("WriteEnvironmentStrings", 5200)):
            yield f"INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('{action}', {number})"
        for key in ("dll", "command"):
            yield f"UPDATE `File` SET `Version` = '{self.version}.0', `Language` = '1033' WHERE `File` = '{key}'"
        catalogue = short("c", "/smstransports.inf")
        attributes = 128 + 16 + (256 if self.native else 0)
        yield f"UPDATE `Component` SET `Attributes` = {attributes} WHERE `Component` = '{catalogue}'"
        yield ("UPDATE `Property` SET `Value` = 'INSTALLDIR;WIX_DOWNGRADE_DETECTED;WIX_UPGRADE_DETECTED' "
               "WHERE `Property` = 'SecureCustomProperties'")
        yield "UPDATE `Shortcut` SET `ShowCmd` = 7"  # minimised, for the command has a window of its own


def digest(folder):
    found = hashlib.sha256()
    for path in sorted(folder.rglob("*")):
        if path.is_file():
            found.update(path.read_bytes())
    return found.hexdigest()


def run(*command):
    """wixl warns of what it leaves out, and ends with 0: a word from it is a failure."""
    ended = subprocess.run(command, cwd=registration.ROOT, capture_output=True, text=True, check=False)
    if ended.returncode or ended.stderr.strip():
        sys.exit(f"{command[0]}: {ended.stderr}{ended.stdout}")


def main():
    version, bits, files, output = sys.argv[1:]
    package = Package(version, bits, pathlib.Path(files).resolve())
    output = str(pathlib.Path(output).resolve())
    with tempfile.NamedTemporaryFile("w", suffix=".wxs", dir=registration.ROOT) as source:  # its paths begin here
        source.write(package.source())
        source.flush()
        run("wixl", "--arch", bits, "--output", output, source.name)
    for query in package.rest():
        run("msibuild", output, "-q", query)
    name = identifier("package", version, bits, digest(package.files))
    run("msibuild", output, "-s", f"mvSMS {version} ({bits})", AUTHORS, f"{'x64' if package.native else 'Intel'};1033",
        "{" + name + "}")


main()
