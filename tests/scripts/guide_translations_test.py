#!/usr/bin/env python3
"""Holds each translated guide (docs/NAME.de.md) to its original, section by section: the same
headings by number and level, commands, tables, links and words of the program; the other language's
pictures; and where a word of the dialogs is named, the word that the dialogs have in German.

Remarks in commands are translated, what a console prints is not.
"""
import pathlib
import re
import sys
import unittest

SOURCE = pathlib.Path(__file__).resolve().parent.parent.parent
KEYS = {"Ctrl+Tab": "Strg+Tab", "Ctrl+PgDn": "Strg+Bild ab", "Ctrl+PgUp": "Strg+Bild auf",
        "Ins": "Einfg", "Enter": "Eingabe", "Del": "Entf"}
FENCE = re.compile(r"^ *```(.*)\n((?:.*\n)*?) *```\n", re.MULTILINE)
ROW = re.compile(r"^\|(.*)\|$", re.MULTILINE)


def captions():
    texts = re.findall(r'^MVSMS_STRING\(\d+, "(.*)", "(.*)"\)$',
                       (SOURCE / "resources/strings.def").read_text("utf-8"), re.MULTILINE)
    return {english.strip(" :"): german.strip(" :") for english, german in texts}


WORDS = {**captions(), **KEYS}


def in_german(text):
    """A caption, or several with commas between them; None for other texts."""
    words = [WORDS.get(word) for word in text.split(", ")]
    return None if None in words else ", ".join(words)


def without_remarks(kind, text):
    return re.sub(r" +# .*$", "", text, flags=re.MULTILINE) if kind.startswith("sh") else text


def code_in(text):
    return re.findall(r"`([^`]+)`", text)


def cells_of(row):
    return [cell.strip() for cell in re.split(r"(?<!\\)\|", row)]


class Section:
    def __init__(self, heading, text):
        self.heading, self.level = heading, len(heading.split(" ")[0])
        self.blocks = [(kind, without_remarks(kind, block)) for kind, block in FENCE.findall(text)]
        prose = FENCE.sub("", text)
        self.rows = [cells_of(row) for row in ROW.findall(prose)]
        prose = ROW.sub("", prose)
        self.code = code_in(prose)
        self.bold = re.findall(r"\*\*([^*]+)\*\*", prose.replace("\n", " "))
        targets = re.findall(r"\]\(([^)]*)\)", text)
        self.pictures = [target for target in targets if target.endswith(".png")]
        self.links = sorted(target for target in targets if not target.endswith(".png"))


def sections_of(guide):
    hidden = FENCE.sub(lambda fence: re.sub("^#", " #", fence[0], flags=re.MULTILINE), guide)
    _, *parts = re.split(r"^(#+ .*)\n", hidden, flags=re.MULTILINE)
    return [Section(*pair) for pair in zip(parts[::2], parts[1::2])]


def other_language(picture):
    return picture.replace("-de.png", ".png") if "-de." in picture else picture.replace(".png", "-de.png")


def wrong_cells(english, german):
    for before, after in zip(english, german):
        caption = in_german(before)
        if sorted(code_in(before)) != sorted(code_in(after)) or caption not in (None, after):
            yield f'"{after}" stands for "{before}"'


def wrong_rows(english, german):
    if [len(row) for row in english.rows] != [len(row) for row in german.rows]:
        return ["the tables have other rows or columns"]
    return [wrong for pair in zip(english.rows, german.rows) for wrong in wrong_cells(*pair)]


def wrong_in(english, german):
    """Sentences about what is out of step in a section."""
    if english.level != german.level:
        yield "the heading has another level"
    if english.blocks != german.blocks:
        yield "other commands, or another output of theirs"
    yield from wrong_rows(english, german)
    if english.links != german.links:
        yield f"the links lead to {german.links}, not to {english.links}"
    if [other_language(picture) for picture in english.pictures] != german.pictures:
        yield f"the pictures are {german.pictures}"
    code = sorted(WORDS.get(word, word) for word in english.code)
    if code != sorted(german.code):
        yield f"other words of the program: {sorted(set(code) ^ set(german.code)) or 'repeated'}"
    missing = {WORDS[word] for word in english.bold if word in WORDS} - set(german.bold)
    if missing:
        yield f"the dialogs say {sorted(missing)}"


def differences(english, german):
    originals, translations = sections_of(english), sections_of(german)
    if len(originals) != len(translations):
        return [f"{len(translations)} headings, not {len(originals)}"]
    return [f'"{german.heading}": {wrong}' for english, german in zip(originals, translations)
            for wrong in wrong_in(english, german)]


class Translations(unittest.TestCase):
    def test_each_keeps_step_with_its_original(self):
        translations = sorted(SOURCE.glob("docs/*.de.md"))
        self.assertGreater(len(translations), 0)
        for path in translations:
            with self.subTest(guide=path.name):
                original = path.with_name(path.name.replace(".de.md", ".md"))
                self.assertEqual(differences(original.read_text("utf-8"), path.read_text("utf-8")), [])


ENGLISH = """# Guide

**Add** takes `--fit`; `Close` closes ([more](more.md#there)).

## Sends

![A page](images/page.png)

| field | what |
|---|---|
| Default Modem | `ATZ` |

```sh
# not a heading
mvsms log        # the log
```
"""
GERMAN = """# Handbuch

**Hinzufügen** nimmt `--fit`; `Schließen` schließt ([mehr](more.md#there)).

## Senden

![Eine Seite](images/page-de.png)

| Feld | was |
|---|---|
| Standard-Modem | `ATZ` |

```sh
# not a heading
mvsms log        # das Logfile
```
"""


class PlantedFaults(unittest.TestCase):
    """What is out of step is found."""

    def test_a_sound_translation_has_none(self):
        self.assertEqual(differences(ENGLISH, GERMAN), [])

    def test_each_fault_is_told_once(self):
        for right, wrong, told in [
                ("## Senden\n", "", "1 headings, not 2"),
                ("## Senden", "### Senden", "another level"),
                ("mvsms log ", "mvsms send ", "other commands"),
                ("| Standard-Modem | `ATZ` |\n", "", "other rows or columns"),
                ("| Feld | was |", "| Feld | was | wann |", "other rows or columns"),
                ("`ATZ`", "`ATE`", '"`ATE`" stands for'),
                ("| Standard-Modem", "| Default Modem", '"Default Modem" stands for'),
                ("#there", "#here", "the links lead to"),
                ("page-de.png", "page.png", "the pictures are"),
                ("`--fit`", "`--fits`", "other words of the program"),
                ("`Schließen`", "`Close`", "other words of the program"),
                ("**Hinzufügen**", "**Zufügen**", "the dialogs say")]:
            with self.subTest(fault=wrong):
                found = differences(ENGLISH, GERMAN.replace(right, wrong))
                self.assertEqual(len(found), 1, found)
                self.assertIn(told, found[0])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
