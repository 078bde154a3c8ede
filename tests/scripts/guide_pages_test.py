#!/usr/bin/env python3
"""The pages that scripts/guides.sh has made: whole, with links that lead somewhere, and independent of
the machine that made them.

    guide_pages_test.py FOLDER
"""
import html.parser
import pathlib
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parent.parent.parent
PAGES = ["gateway-guide", "hub-guide", "hub-sizing", "index", "integrator-guide", "lines-and-centres",
         "message-centre", "monitoring-guide", "user-guide", "user-guide.de", "windows-installation"]
PRINTED = ["integrator-guide", "user-guide", "user-guide.de"]


class Page(html.parser.HTMLParser):
    """What a page names and what it loads."""

    def __init__(self, file):
        super().__init__()
        self.names, self.links, self.loads, self.headings = [], [], [], 0
        self.feed(file.read_text("utf-8"))

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        self.names += [values["id"]] if "id" in values else []
        self.links += [values["href"]] if tag == "a" else []
        self.loads += [values[name] for name in ("src", "href") if name in values and tag != "a"]
        self.headings += tag == "h1"


def leads_somewhere(link, file):
    if link.startswith(("https:", "mailto:")):
        return True
    target, _, name = link.partition("#")
    if target.startswith("../examples"):  # which are installed beside the guides
        return (SOURCE / "docs" / target).exists()
    file = file.parent / target if target else file
    return file.is_file() and (not name or name in Page(file).names)


class GuidePages(unittest.TestCase):
    def pages(self):
        for name in PAGES:
            file = FOLDER / f"{name}.html"
            with self.subTest(page=name):
                yield file, Page(file)

    def test_nothing_is_missing_and_nothing_more_is_there(self):
        self.assertEqual(sorted(file.name for file in FOLDER.iterdir()),
                         sorted([f"{name}.html" for name in PAGES] +
                                [f"{name}.pdf" for name in PRINTED]))

    def test_links_lead_somewhere(self):
        for file, page in self.pages():
            self.assertEqual([link for link in page.links if not leads_somewhere(link, file)], [])

    def test_a_page_needs_no_other_file(self):
        for _, page in self.pages():
            self.assertEqual([load[:40] for load in page.loads if not load.startswith("data:")], [])

    def test_a_page_has_one_title_and_each_name_once(self):
        for _, page in self.pages():
            self.assertEqual(page.headings, 1)
            self.assertEqual(sorted(set(page.names)), sorted(page.names))

    def test_paper_is_whole_and_names_no_folder_of_this_machine(self):
        for name in PRINTED:
            text = (FOLDER / f"{name}.pdf").read_bytes()
            with self.subTest(guide=name):
                self.assertTrue(text.startswith(b"%PDF-") and text.rstrip().endswith(b"%%EOF"))
                self.assertNotIn(b"file:", text)


class PlantedFaults(unittest.TestCase):
    """What is wrong in a page is found."""

    def test_links_to_nowhere(self):
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder) / "page.html"
            file.write_text('<h2 id="here">')
            for link in ("#there", "other.html", "page.html#there", "../examples/none"):
                self.assertFalse(leads_somewhere(link, file), link)
            for link in ("#here", "page.html", "page.html#here", "../examples/send.sh"):
                self.assertTrue(leads_somewhere(link, file), link)


if __name__ == "__main__":
    FOLDER = pathlib.Path(sys.argv[1])
    unittest.main(argv=sys.argv[:1])
