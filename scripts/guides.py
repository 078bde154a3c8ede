#!/usr/bin/env python3
"""guides.py OUTPUT-FOLDER: the guides in docs/ as HTML pages that need no other file, an index of
them, and some as PDF too; the same bytes for the same sources. scripts/guides.sh installs what this
needs and runs it.
"""
import base64
import html
import pathlib
import re
import subprocess
import sys

SOURCE = pathlib.Path(__file__).resolve().parent.parent
DOCS = SOURCE / "docs"
GUIDES = ("user-guide", "user-guide.de", "windows-installation", "monitoring-guide", "gateway-guide", "hub-guide", "hub-sizing",
          "integrator-guide", "lines-and-centres", "message-centre")
PRINTED = ("user-guide", "user-guide.de", "integrator-guide")
NO_HEAD = r"<table>\n<thead>\n<tr>\n(<th></th>\n)+</tr>\n</thead>\n"  # a table to place pictures by
WORDS = {"en": {"contents": "Contents", "all": "All guides"},
         "de": {"contents": "Inhalt", "all": "Alle Handbücher"}}
PAGE = """<!DOCTYPE html>
<html lang="{language}">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>{title} – mvSMS {version}</title>
<style>
{css}</style>
</head>
<body>
<header><span>mvSMS {version}</span>{links}</header>
<main>
{body}</main>
</body>
</html>
"""


def version():
    return re.search(r"project\(mvsms VERSION ([\d.]+)", (SOURCE / "CMakeLists.txt").read_text())[1]


def language_of(guide):
    return "de" if guide.endswith(".de") else "en"


def plain(text):
    return html.unescape(re.sub(r"<[^>]+>", "", text))


def anchor_of(heading):
    """As the guides' links name it."""
    return re.sub(r"[^\w -]", "", plain(heading).lower()).replace(" ", "-")


def with_anchors(body):
    return re.sub(r"<h([1-3])>(.*?)</h\1>",
                  lambda h: f'<h{h[1]} id="{anchor_of(h[2])}">{h[2]}</h{h[1]}>', body)


def with_images(body):
    def embedded(image):
        data = base64.b64encode((DOCS / image[1]).read_bytes()).decode()
        return f'src="data:image/png;base64,{data}"'
    return re.sub(r'src="([^"]*)"', embedded, body)


def with_contents(body, words):
    """A table of contents behind the heading of the guide."""
    headings = re.findall(r'<h([23]) id="(.*?)">(.*?)</h', body)
    lines = [f'<li{" class=deeper" if level == "3" else ""}><a href="#{anchor}">{text}</a></li>\n'
             for level, anchor, text in headings]
    nav = f'<nav aria-label="{words["contents"]}"><ul>\n{"".join(lines)}</ul></nav>\n'
    return body.replace("</h1>\n", "</h1>\n" + nav, 1)


def with_pages_linked(body):
    """Links from guide to guide lead from page to page."""
    return re.sub(r'href="([\w.-]+)\.md\b', lambda link: f'href="{link[1]}.html', body)


def rendered(guide):
    body = subprocess.run(["cmark-gfm", "--extension", "table", DOCS / f"{guide}.md"], check=True,
                          encoding="utf-8", stdout=subprocess.PIPE).stdout
    body = re.sub(r"<!--.*?-->\n", "", body)
    body = re.sub(NO_HEAD, '<table class="pictures">\n', body)
    body = with_contents(with_anchors(body), WORDS[language_of(guide)])
    return with_pages_linked(with_images(body))


def title_of(body):
    return plain(re.search(r"<h1.*?>(.*?)</h1>", body)[1])


def links_of(guide):
    """What stands above a guide: the way to the others, and to itself in the other language."""
    links = [("index.html", WORDS[language_of(guide)]["all"])]
    other, name = (guide[:-3], "English") if language_of(guide) == "de" else (f"{guide}.de", "Deutsch")
    if other in GUIDES:
        links.append((f"{other}.html", name))
    if guide in PRINTED:
        links.append((f"{guide}.pdf", "PDF"))
    return "".join(f' <a href="{target}">{text}</a>' for target, text in links)


def page(title, body, language="en", links=""):
    return PAGE.format(title=html.escape(title), body=body, language=language, links=links,
                       version=version(), css=(SOURCE / "scripts/guides.css").read_text("utf-8"))


def index(bodies):
    def entry(guide):
        pdf = f' (<a href="{guide}.pdf">PDF</a>)' if guide in PRINTED else ""
        return f'<li lang="{language_of(guide)}"><a href="{guide}.html">{title_of(bodies[guide])}</a>{pdf}</li>\n'
    entries = "".join(entry(guide) for guide in GUIDES)
    return page("Guides", f"<h1>mvSMS</h1>\n<ul>\n{entries}</ul>\n")


def on_paper(body):
    """Without the links to other files, which would name this machine's folders."""
    return re.sub(r'<a href="(?!#|https?:|mailto:)[^"]*">(.*?)</a>', r"\1", body)


def make(folder):
    folder.mkdir(parents=True, exist_ok=True)
    bodies = {guide: rendered(guide) for guide in GUIDES}
    for guide, body in bodies.items():
        title, language = title_of(body), language_of(guide)
        (folder / f"{guide}.html").write_text(page(title, body, language, links_of(guide)), "utf-8")
        if guide in PRINTED:
            subprocess.run(["weasyprint", "--quiet", "-", folder / f"{guide}.pdf"], check=True,
                           input=page(title, on_paper(body), language), encoding="utf-8")
    (folder / "index.html").write_text(index(bodies), "utf-8")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    make(pathlib.Path(sys.argv[1]))
