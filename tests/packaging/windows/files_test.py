#!/usr/bin/env python3
"""files_test.py FOLDER: the files for administrators name what there is: settings, functions, hashes."""
import hashlib
import pathlib
import re
import sys
import unittest
import xml.etree.ElementTree as xml

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent.parent
WINDOWS = ROOT / "packaging/windows"
DIST = pathlib.Path(sys.argv.pop(1))
VERSION = re.search(r"project\(mvsms VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text())[1]
SETTINGS = (ROOT / "engine/settings.h").read_text()
POLICY = "{http://schemas.microsoft.com/GroupPolicy/2006/07/PolicyDefinitions}"


def values_of(table):
    """Names of the values of a table of settings.h, with their kind and meaning."""
    rows = re.search(rf"{table}{{\s*{{(.*?)}}}}", SETTINGS, re.DOTALL)[1]
    found = {}
    for constant in re.findall(r"setting::(\w+)", rows):
        row = re.search(rf"ValueInfo {constant}{{(.*?)}};", SETTINGS, re.DOTALL)[1]
        name = re.search(r'\.name = "(\w+)"', row)[1]
        kind = (re.findall(r"ValueKind::(\w+)", row) or ["kText"])[0]
        found[name] = kind, "(Linux)" in row
    return found


class Policies(unittest.TestCase):
    def setUp(self):
        self.policies = {policy.get("name"): policy
                         for policy in xml.parse(WINDOWS / "policies/mvsms.admx").iter(POLICY + "policy")}

    def test_every_value_of_a_profile_has_one(self):
        values = values_of("kProfileValues")
        self.assertGreater(len(values), 8)
        self.assertEqual(set(self.policies), {name for name, (_, linux) in values.items() if not linux})

    def test_its_kind_is_that_of_the_value(self):
        for name, (kind, _) in values_of("kProfileValues").items():
            if name in self.policies:
                policy = self.policies[name]
                shape = {"kSwitch": "enabledValue", "kNumber": "elements/" + POLICY + "decimal",
                         "kText": "elements/" + POLICY + "text"}[kind]
                found = policy.findall(POLICY + shape)
                self.assertEqual(len(found), 1, name)
                self.assertEqual((policy if kind == "kSwitch" else found[0]).get("valueName"), name)

    def test_every_text_is_there_in_both_languages(self):
        admx = (WINDOWS / "policies/mvsms.admx").read_text()
        for language in "en-US", "de-DE":
            adml = xml.parse(WINDOWS / f"policies/{language}/mvsms.adml")
            for kind in "string", "presentation":
                there = {element.get("id") for element in adml.iter(POLICY + kind)}
                self.assertEqual(there, set(re.findall(rf"\$\({kind}\.(\w+)\)", admx)), language)


class Module(unittest.TestCase):
    def test_it_exports_what_it_defines(self):
        code = (WINDOWS / "MvSms/MvSms.psm1").read_text()
        manifest = (WINDOWS / "MvSms/MvSms.psd1").read_text()
        exported = re.findall(r"'([\w-]+)'", re.search(r"FunctionsToExport = @\((.*)\)", manifest)[1])
        self.assertEqual(exported, re.search(r"Export-ModuleMember -Function (.*)", code)[1].split(", "))
        self.assertLessEqual(set(exported), set(re.findall(r"^function ([\w-]+)", code, re.MULTILINE)))
        self.assertIn(f"ModuleVersion = '{VERSION}'", manifest)

    def test_it_is_ascii(self):
        (WINDOWS / "MvSms/MvSms.psm1").read_bytes().decode("ascii")  # older PowerShells take it for ANSI

    def test_every_option_it_uses_is_one_of_the_command(self):
        code = (WINDOWS / "MvSms/MvSms.psm1").read_text()
        known = "".join(path.read_text() for path in (ROOT / "cli").glob("*.cpp"))
        for option in set(re.findall(r"'--([a-z-]+)'", code)):
            self.assertRegex(known, rf'"(?:-\w,)?(?:--)?{option}"', option)


class Sample(unittest.TestCase):
    def test_it_sets_what_there_is(self):
        sample = (WINDOWS / "settings.reg").read_text()
        profile, service, route = re.findall(r"^\[.*\]\n((?:\".*\n)+)", sample, re.MULTILINE)
        names = lambda block: set(re.findall(r'^"(\w+)"=', block, re.MULTILINE))
        self.assertLessEqual(names(profile), set(values_of("kProfileValues")))
        self.assertEqual(names(service), set(values_of("kServiceValues")) | {"Default"})
        self.assertEqual(names(route), {"UseService"})


class Winget(unittest.TestCase):
    def test_the_manifests_name_version_and_hash(self):
        manifests = {path.name: path.read_text() for path in (DIST / "winget").iterdir()}
        self.assertEqual(len(manifests), 4)
        for text in manifests.values():
            self.assertNotRegex(text, "@[A-Z]+@")
            self.assertIn(f"PackageVersion: {VERSION}\n", text)
            self.assertIn("ManifestVersion: 1.6.0\n", text)
        hashed = hashlib.sha256((DIST / f"mvsms-{VERSION}-setup.exe").read_bytes()).hexdigest().upper()
        self.assertEqual(manifests["mvSMS.mvSMS.installer.yaml"].count(hashed), 2)


unittest.main()
