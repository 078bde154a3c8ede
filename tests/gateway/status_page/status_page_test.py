#!/usr/bin/env python3
"""status_page_test.py [PICTURES]: the status page in a headless Chromium, over a gateway that the tests
play. With a folder, leaves pictures of it there."""
import pathlib
import random
import sys
import unittest

from browser import Browser
from fake_gateway import FakeGateway, history, hub, line, machine, moment, page, result

TAB, ENTER, SPACE, ESCAPE = "\ue004", "\ue007", " ", "\ue00c"
PICTURES = pathlib.Path(sys.argv.pop(1)) if len(sys.argv) > 1 and pathlib.Path(sys.argv[1]).is_dir() else None

HOSTILE = ["<img src=x onerror=hacked=1>", "</script><script>hacked=1</script>", "\"'><svg onload=hacked=1>",
           "javascript:hacked=1", "x" * 400, "\u202egnirts", "{{7*7}} ${hacked=1} {n} {time}", "a\nb\tc\u0000\u001b[31m"]

# The least contrast of a text with what it stands on, over the whole page.
CONTRAST = """
  const channel = (v) => (v /= 255) <= .04045 ? v / 12.92 : ((v + .055) / 1.055) ** 2.4;
  const light = ([r, g, b]) => .2126 * channel(r) + .7152 * channel(g) + .0722 * channel(b);
  const parse = (css) => css.match(/[\\d.]+/g).map(Number);
  const ground = (node) => {
    for (; node; node = node.parentElement) {
      const colour = parse(getComputedStyle(node).backgroundColor);
      if (colour.length === 3 || colour[3] === 1) return colour;
    }
    return [255, 255, 255];
  };
  let least = [99, ""];
  for (const node of document.querySelectorAll("body *")) {
    const own = [...node.childNodes].some((child) => child.nodeType === 3 && child.data.trim());
    if (!own || !node.checkVisibility() || node.closest(".unseen, .skip, svg")) continue;
    const [a, b] = [light(parse(getComputedStyle(node).color)), light(ground(node))].sort((x, y) => y - x);
    const ratio = (a + .05) / (b + .05);
    if (ratio < least[0]) least = [ratio, node.outerHTML.slice(0, 120)];
  }
  return least;"""

# Whether everything that opens has got what the gateway knows of it.
ALL_FILLED = "return [...document.querySelectorAll('details[open] > .body')].every((place) => place.childElementCount)"


def attempt(id, outcome="refused", **more):
    return {"id": id, "begun": moment(50), "ended": moment(50), "user": "mvsms", "profile": "Standard",
            "recipient": "01729876543", "text": "Disk full on db-1", "service": "Cityruf", "modem": "Modem 1",
            "dialled": "0301234567", "outcome": outcome, "reason": "the message centre refused the message",
            "seconds": 14.2, "answer": "511 <CR>", "dialogue": [
                "2026-11-22 02:44:02\tDialing 0301234567", "2026-11-22 02:44:19\tReceived: ID=",
                "2026-11-22 02:44:19\tSent: <ESC>PG1<CR>", "2026-11-22 02:44:21\tReceived: 511<CR><RS><CR>"], **more}


class StatusPage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.gateway = FakeGateway()
        cls.browser = Browser()
        cls.browser.open(cls.gateway.url)

    @classmethod
    def tearDownClass(cls):
        cls.browser.close()

    def setUp(self):
        self.gateway.reset()
        self.browser.run("sessionStorage.clear(); localStorage.clear()")
        self.browser.size(1200)
        self.browser.scheme("light")

    def tearDown(self):
        self.assertEqual(self.browser.complaints(), [])

    def show(self, *pages, headline="Paging", **state):
        for name, value in state.items():
            setattr(self.gateway, name, value)
        self.gateway.put(*pages)
        self.browser.open(self.gateway.url)
        self.browser.until_text("#headline", headline)

    def level(self):
        return self.browser.run("return document.getElementById('verdict').dataset.level")

    def posted(self):
        return [(method, path) for method, path, _ in self.gateway.heard if method != "GET"]


class Verdict(StatusPage):
    def test_what_is_well_is_green_and_said_in_one_glance(self):
        self.show(page("A", "accepted", 3))
        self.assertEqual(self.level(), "ok")
        self.assertEqual(self.browser.text("#headline"), "Paging works")
        self.assertIn("3 min", self.browser.text("#reasons"))
        self.assertIn("✓", self.browser.run("return document.title"))

    @staticmethod
    def troubles():
        """Each with its level, sentence, pages and state; made when it is asked for, as times run."""
        busy = {"attempts": 2, "last_result": result("unreachable", "the line is busy")}
        yield "bad", "No worker is running", [], {"worker": False}
        yield "bad", "There is no modem", [], {"lines": []}
        yield "ok", "The last page", [page("B", "accepted", 8)], {"lines": [], "hub": hub(machine("north"))}
        yield "bad", "No line works. Modem 1: no dial tone", [], {"lines": [line("Modem 1", "resting", "no dial tone")]}
        yield ("warn", "Modem 2 does not work: no dial tone", [],
               {"lines": [line("Modem 1"), line("Modem 2", "resting", "no dial tone")]})
        yield "bad", "Nothing has been accepted since", [page("A", "ready", 9, **busy)], {}
        yield "ok", "The last page", [page("A", "ready", 2, **busy), page("B", "accepted", 8)], {}
        yield "warn", "A page has waited for 9 min", [page("A", "ready", 9), page("B", "accepted", 8)], {}
        yield "ok", "The last page", [page("A", "ready", 9, not_before=moment(-9)), page("B", "accepted", 8)], {}
        yield "warn", "A page has waited for 9 min", [page("A", "at-hub", 9), page("B", "accepted", 8)], {"hub": hub()}
        yield "warn", "The hub has been away since", [page("B", "accepted", 8)], {"hub": hub(away_since=moment(7))}
        yield ("warn", "The hub gives nothing out: a backup was put back", [page("B", "accepted", 8)],
               {"hub": hub(held="a backup was put back")})
        yield ("warn", "Pages at the hub wait for City, which no machine has now", [page("B", "accepted", 8)],
               {"hub": hub(machine("north"), unserved=["City"])})
        yield ("warn", "Nothing has been heard of the machine south since", [page("B", "accepted", 8)],
               {"hub": hub(machine("north"), machine("south", 5))})
        yield "ok", "The last page", [page("B", "accepted", 8)], {"hub": hub(machine("north"), machine("south"))}
        yield "warn", "Given up, waiting for your decision: 2", [page("A", "parked"), page("B", "parked")], {}
        yield "warn", "May or may not have gone out, waiting for your decision: 1", [page("A", "unknown")], {}
        yield ("ok", "The last page was accepted 3 min", [page("A", "ready", 9, not_before=moment(-1), **busy)],
               {"lines": [line("Modem 1", success=3)]})
        yield "ok", "No page has been accepted in the last day", [page("A", "accepted", 1500)], {}

    def test_every_trouble_has_its_level_and_its_sentence(self):
        for level, sentence, pages, state in self.troubles():
            with self.subTest(sentence):
                self.gateway.reset()
                self.show(*pages, **state)
                self.browser.until_text("#reasons", sentence)
                self.assertEqual(self.level(), level)

    def test_machines_that_share_their_pages_are_shown_and_without_a_hub_nothing_of_it(self):
        self.show(page("A", "accepted", 3))
        self.assertFalse(self.browser.run("return document.getElementById('machines-section').checkVisibility()"))
        self.show(page("A", "accepted", 3), hub=hub(machine("north", free=2), machine("south", 5, pages_at_hub=3)))
        self.browser.until_text("#machines", "north")
        text = self.browser.text("#machines")
        for words in ("there", "2 of 2 modems free", "Pager", "silent", "3 of its pages at the hub", "last heard 5 min"):
            self.assertIn(words, text)

    def test_a_page_at_the_hub_is_on_its_way_and_can_be_cancelled(self):
        self.show(page("A", "at-hub", 1), page("B", "accepted", 3), hub=hub(machine("north")))
        self.browser.until_text("#now-pages", "at the hub")
        self.browser.run("document.querySelector('#now-pages .actions button').click()")
        self.browser.until_text("#recent-pages", "cancelled")
        self.assertEqual(self.posted(), [("DELETE", "/v1/pages/A")])

    def test_a_verdict_is_spoken_once_and_again_when_it_changes(self):
        self.show(page("A", "accepted", 3))
        self.browser.until_text("#spoken", "Paging works. The last page was accepted 3 min")
        self.gateway.put(page("A", "accepted", 1))
        self.browser.until_text("#reasons", "1 min")
        self.assertIn("3 min", self.browser.text("#spoken"))
        self.gateway.put(page("B", "parked"))
        self.browser.until_text("#spoken", "Paging works, but needs you. Given up, waiting for your decision: 1")

    def test_a_lost_connection_is_told_and_ends_by_itself(self):
        self.show(page("A", "accepted", 3))
        self.gateway.stop()
        try:
            self.browser.until_text("#headline", "No connection to the gateway")
            self.assertEqual(self.level(), "lost")
            self.assertIn("✗", self.browser.run("return document.title"))
            self.assertIn("Pump 3", self.browser.text("#recent-pages"))
        finally:
            self.gateway.start()
        self.gateway.put(page("B", "accepted", 0, text="After the night"))
        self.browser.until_text("#headline", "Paging works")
        self.browser.until_text("#recent-pages", "After the night")

    def test_a_worker_that_dies_is_noticed_without_an_event(self):
        self.show()
        self.gateway.worker = False
        self.browser.until_text("#headline", "does not work")


class Live(StatusPage):
    def test_pages_come_and_go_as_they_do(self):
        self.show()
        self.browser.until_text("#now-none", "Nothing is waiting")
        self.gateway.put(page("A", "ready", 0))
        self.browser.until_text("#now-pages", "waiting")
        self.gateway.put(page("A", "dialling", 0))
        self.browser.until_text("#now-pages", "on the line")
        self.gateway.put(page("A", "accepted", 0))
        self.browser.until_text("#recent-pages", "accepted")
        self.assertEqual(self.browser.text("#now-pages"), "")

    def test_of_a_storm_the_first_are_shown_and_the_others_counted(self):
        self.show(*[page(f"{i}", "ready", 2, priority=9 - i % 10) for i in range(250)])
        self.browser.until_text("#now-more", "And 150 more")
        self.assertEqual(self.browser.run("return document.querySelectorAll('#now-pages > li').length"), 100)
        self.assertEqual(self.browser.run("return document.querySelector('#now-pages > li').dataset.key"), "9")

    def test_lines_tell_what_they_do(self):
        self.show()
        self.gateway.lines = [line("Modem 1", "calling")]
        self.gateway.tell("lines", self.gateway.lines)
        self.browser.until_text("#lines", "calling")

    def test_what_is_open_stays_open_and_keeps_the_focus(self):
        self.show(page("A", "ready", 1))
        self.browser.run("document.querySelector('#now-pages summary').focus()")
        self.browser.press(ENTER)
        self.browser.until_text("#now-pages .body", "Arrived")
        self.gateway.put(page("B", "ready", 2), page("A", "ready", 0, text="Pump 3 again"))
        self.browser.until_text("#now-pages", "Pump 3 again")
        self.assertTrue(self.browser.run("const now = document.activeElement; return now.matches('summary') && "
                                         "now.parentElement.open && now.innerText.includes('again')"))


class Operating(StatusPage):
    def test_a_page_that_was_given_up_is_tried_again(self):
        self.show(page("A/7 ä", "parked"))
        self.browser.click("#attention-pages button")
        self.browser.until_text("#now-pages", "waiting")
        self.assertEqual(self.posted(), [("POST", "/v1/pages/A%2F7%20%C3%A4/retry")])
        self.browser.until_text("#said", "Try again: done")
        self.assertEqual(self.browser.text("#attention"), "")

    def test_a_waiting_page_is_held_released_and_cancelled(self):
        self.show(page("A", "ready"))
        for button, state in [(1, "held"), (1, "waiting"), (2, "cancelled")]:
            self.browser.click(f"#now-pages button:nth-of-type({button})")
            self.browser.until_text("#now-pages" if state != "cancelled" else "#recent-pages", state)
        self.assertEqual(self.posted(), [("POST", "/v1/pages/A/hold"), ("POST", "/v1/pages/A/release"),
                                         ("DELETE", "/v1/pages/A")])

    def test_what_may_have_gone_out_is_repeated_only_after_a_question(self):
        self.show(page("A", "unknown"))
        self.browser.click("#attention-pages button")
        self.browser.until_text("#sure", "may deliver this page twice")
        self.browser.press(ENTER)  # the focus is on the harmless answer
        self.browser.until("return !document.getElementById('sure').open")
        self.assertEqual(self.posted(), [])
        self.browser.click("#attention-pages button")
        self.browser.press(TAB, ENTER)
        self.browser.until_text("#now-pages", "waiting")
        self.assertEqual(self.posted(), [("POST", "/v1/pages/A/retry")])

    def test_who_may_not_sees_no_buttons(self):
        self.show(page("A", "parked"), role="read")
        self.assertEqual(self.browser.run("return document.querySelectorAll('#board .actions button').length"), 0)
        self.assertEqual(self.browser.text("#test-section"), "")

    def test_a_gateway_that_does_not_tell_who_may_is_asked(self):
        self.show(page("A", "parked"), role=None)
        self.gateway.role = "submit"
        self.browser.click("#attention-pages button")
        self.browser.until_text("#said", "Your token does not allow this")

    def test_a_test_page_is_followed_to_its_end(self):
        self.show()
        self.browser.click("#test-to")
        self.browser.press("0171 99", ENTER)
        self.browser.until_text("#test-said", "Waiting for the message centre")
        (new,) = self.gateway.pages.values()
        self.assertRegex(new["text"], r"^Test page, \d\d:\d\d$")
        self.gateway.put({**new, "state": "accepted", "changed": moment()})
        self.browser.until_text("#test-said", "accepted, after")

    def test_a_test_page_to_a_group_is_told_by_its_worst(self):
        self.show()
        self.browser.click("#test-to")
        self.browser.press("@night", ENTER)
        self.browser.until_text("#now-pages", "0172")
        self.gateway.put({**self.gateway.pages["T0171"], "state": "accepted", "changed": moment()})
        self.browser.until_text("#test-said", "Waiting for the message centre")
        self.gateway.put({**self.gateway.pages["T0172"], "state": "parked", "changed": moment(),
                          "last_result": result("refused", "unknown pager")})
        self.browser.until_text("#test-said", "unknown pager")
        self.assertIn("given up", self.browser.text("#test-said"))

    def test_a_refused_field_is_told_in_the_gateways_words(self):
        self.show()
        self.browser.click("#test-to")
        self.browser.press("nobody", ENTER)
        self.browser.until_text("#test-said", "nobody is no number")


class Reading(StatusPage):
    def test_a_page_shows_its_tries_and_the_dialogue_behind_each(self):
        self.show(page("A", "parked", last_result=result("refused", "unknown pager")), journal=[attempt("A.1")])
        self.browser.click("#attention-pages summary")
        self.browser.until_text("#attention-pages", "unknown pager")
        self.browser.until_text("#attention-pages .body .pages", "refused")
        self.browser.click("#attention-pages .body summary")
        self.browser.until_text("#attention-pages pre", "<ESC>PG1<CR>")

    def test_a_dialogue_stays_open_when_its_page_changes_and_the_new_try_is_there(self):
        self.show(page("A", "parked", 9, attempts=1), journal=[attempt("A.1")])
        self.browser.click("#attention-pages summary")
        self.browser.until_text("#attention-pages .body .pages", "refused")
        self.browser.run("document.querySelector('#attention-pages .body summary').focus()")
        self.browser.press(ENTER)
        self.browser.until_text("#attention-pages pre", "<ESC>PG1<CR>")
        self.gateway.journal.append(attempt("A.2"))
        self.gateway.put(page("A", "parked", 0, attempts=2))
        self.browser.until("return document.querySelectorAll('#attention-pages .body li').length === 2")
        self.assertIn("<ESC>PG1<CR>", self.browser.text("#attention-pages pre"))
        self.assertTrue(self.browser.run("const now = document.activeElement; return now.matches('.body summary') && now.parentElement.open"))
        changed = page("A", "parked", 0, attempts=3)
        del self.gateway.pages["A"]  # it cannot be asked for any more
        self.gateway.tell("page", changed)
        self.browser.until_text("#attention-pages .body", "there is no such page")
        self.assertIn("<ESC>PG1<CR>", self.browser.text("#attention-pages pre"))

    def test_a_page_of_which_nothing_can_be_told_says_why(self):
        self.show(page("A", "parked"))
        del self.gateway.pages["A"]
        self.browser.click("#attention-pages summary")
        self.browser.until_text("#attention-pages .body", "there is no such page")

    def test_the_journal_is_searched(self):
        self.show(journal=[attempt("A.1"), attempt("B.1", "accepted", text="Backup failed")])
        self.browser.click("#search-words")
        self.browser.press("Backup", ENTER)
        self.browser.until_text("#search-said", "Found: 1")
        self.browser.until_text("#attempts", "Backup failed")
        self.browser.click("#attempts summary")
        self.browser.until_text("#attempts pre", "ID=")

    def test_the_plot_has_a_column_for_every_quarter_and_says_what_it_shows(self):
        self.show(history=history(lambda i: i % 3, lambda i: int(i == 90)))
        self.browser.until("return document.querySelectorAll('#plot rect.accepted').length === 64")
        self.assertEqual(self.browser.run("return document.querySelectorAll('#plot rect.failed').length"), 1)
        self.assertIn("Accepted: 96. Failed tries: 1. The last failure was after",
                      self.browser.run("return document.querySelector('#plot svg').getAttribute('aria-label')"))

    def test_a_token_is_asked_for_and_stays_in_this_tab(self):
        self.show(headline="Sign in", token="right")
        for typed in "wrong", "right":
            self.browser.until("return document.activeElement.id === 'token'")
            self.browser.press(typed, ENTER)
            self.browser.until_text("body", "not known here" if typed == "wrong" else "Paging works")
        self.assertEqual(self.browser.run("return [sessionStorage.length, localStorage.length, document.cookie]"),
                         [1, 0, ""])
        self.assertNotIn("right", str([path for _, path, _ in self.gateway.heard]))
        self.browser.click("#sign-out")
        self.browser.until_text("#headline", "Sign in")


class ForEverybody(StatusPage):
    def everything(self, texts=("Pump 3 has stopped",)):
        """One of each thing that the page can show."""
        states = ("ready", "held", "claimed", "dialling", "accepted", "unknown", "parked", "cancelled", "expired")
        for i, text in enumerate(texts):
            self.gateway.put(*[page(f"{state}{i}{text}", state, i + 1, text=text, recipient=text, service=text,
                                    **{"from": text}, last_result=result("refused", text, text, text)) for state in states])
            self.gateway.journal.append(attempt(f"parked{i}{text}.1", text=text, reason=text, answer=text, modem=text,
                                                user=text, outcome=text, dialogue=[text, text]))
        self.gateway.lines = [line(text, state, text) for text, state in zip(texts, ("resting", "idle", "calling", "waiting") * 9)]
        self.gateway.history = history(lambda i: i % 5, lambda i: i % 7 == 0)
        self.browser.open(self.gateway.url)
        self.browser.until_text("#headline", "Paging")
        for what in "pages", "their tries":
            with self.subTest(what):
                self.browser.run("document.querySelectorAll('details:not([open]) > summary').forEach((one) => one.click())")
                self.browser.until(ALL_FILLED)
        self.assertTrue(self.browser.run("return document.querySelector('#attention-pages .body pre')"))

    def test_what_came_from_outside_is_text_and_nothing_else(self):
        self.everything(HOSTILE)
        self.assertIsNone(self.browser.run("return window.hacked ?? null"))
        self.assertEqual(self.browser.run("return document.querySelectorAll('img, iframe, script:not([src]), [onload], "
                                          "[onerror], a[href^=javascript]').length"), 0)
        shown = self.browser.text()
        for text in HOSTILE[:4]:
            self.assertIn(text, shown)

    def test_nothing_is_wider_than_a_phone(self):
        for language in "en", "de":
            self.browser.size(320)
            self.browser.run("localStorage.setItem('language', arguments[0])", language)
            self.show(headline="")
            self.everything_in(language)

    def everything_in(self, language):
        self.browser.until("return document.documentElement.lang === arguments[0]", language)
        self.gateway.put(*[page(f"{i}", "parked", text=text, recipient=text, service=text) for i, text in enumerate(HOSTILE)])
        self.browser.until("return document.querySelectorAll('#attention-pages > li').length === arguments[0]", len(HOSTILE))
        self.browser.run("document.querySelectorAll('summary').forEach((one) => one.click())")
        self.browser.until("return document.querySelectorAll('#attention-pages dl').length === arguments[0]", len(HOSTILE))
        for width in 320, 390, 800, 1200:
            self.browser.size(width)
            self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), width)

    def test_every_text_can_be_read_in_light_and_in_dark(self):
        cases = [{"worker": False}, {"lines": [line("Modem 1"), line("Modem 2", "resting")]}, {}]
        for scheme in "light", "dark":
            self.browser.scheme(scheme)
            self.everything()
            for case in cases:
                self.gateway.worker, self.gateway.lines = True, [line("Modem 1")]
                self.show(**case)
                least, where = self.browser.run(CONTRAST)
                self.assertGreaterEqual(least, 4.5, f"{scheme}: {where}")

    def test_everything_is_reached_by_keys_in_its_order_and_shows_it(self):
        self.show(page("A", "parked"), page("B", "ready"), page("C", "accepted"))
        wanted = self.browser.run("""return [...document.querySelectorAll('a[href], button, input, summary')]
            .filter((one) => one.checkVisibility() && !one.closest('dialog:not([open])') && !one.hidden)
            .map((one) => one.outerHTML)""")
        reached = []
        for _ in wanted:
            self.browser.press(TAB)
            html, outline = self.browser.run("""const now = document.activeElement;
                return [now.outerHTML, getComputedStyle(now).outlineStyle]""")
            reached.append(html)
            self.assertNotEqual(outline, "none", html)
        self.assertEqual(reached, wanted)
        self.assertIn("skip", reached[0])

    def test_both_languages_have_every_text(self):
        self.show()
        self.assertEqual(self.browser.run("""
            return import('/assets/texts.js').then(({ texts }) => {
              const names = (text) => JSON.stringify([...text.matchAll(/\\{\\w+\\}/g)].map(String).sort());
              const used = [...document.querySelectorAll('[data-text]')].map((one) => one.dataset.text);
              return [...used, ...Object.keys(texts.en), ...Object.keys(texts.de)].filter((key) =>
                !texts.en[key] || !texts.de[key] || names(texts.en[key]) !== names(texts.de[key]));
            });"""), [])

    def test_the_language_is_switched_and_remembered(self):
        self.show(page("A", "accepted", 3))
        self.browser.click("[data-language=de]")
        self.browser.until_text("#recent-pages", "angenommen")
        self.assertEqual(self.browser.run("return document.documentElement.lang"), "de")
        self.show(headline="Die Alarmierung funktioniert")

    def test_a_german_browser_gets_german(self):
        german = Browser(language="de-DE")
        try:
            self.gateway.put(page("A", "accepted", 3))
            german.open(self.gateway.url)
            german.until_text("#headline", "Die Alarmierung funktioniert")
            german.until_text("#reasons", "vor 3 Min")
        finally:
            german.close()

    def test_nothing_comes_from_elsewhere(self):
        self.show()
        self.assertEqual(self.browser.run("""return performance.getEntriesByType('resource').map((one) => one.name)
            .filter((name) => !name.startsWith(location.origin))"""), [])


class Pictures(StatusPage):
    """Those of the guide: an ordinary night."""

    def night(self):
        dice = random.Random(7)
        said = ["Pump 3 has stopped", "db-1: disk 93 % full, 71 GB left of 1,024", "Lift 4: emergency call",
                "UPS on battery since 02:41", "Cooling B: 9.8 °C, limit 8.0", "Nurse call ward 7, room 12"]
        self.gateway.put(*[page(f"{i:032x}", "accepted", 6 + i * 37, text=said[i % 6], service=dice.choice(["Pager", "Cityruf"]),
                                recipient=dice.choice(["01711234567", "01729876543"])) for i in range(7)])
        self.gateway.put(
            page("d", "dialling", 0.3, text="Fire alarm hall 2, loop 7: smoke, second detector", priority=0),
            page("r", "ready", 0.2, text="Sprinkler pump running"),
            page("p", "parked", 55, text=said[1], recipient="01729876543", service="Cityruf", attempts=6,
                 last_result=result("refused", "the message centre refused the message: 511 unknown pager", "511 <CR>")))
        self.gateway.journal = [attempt("p.1", text=said[1])]
        self.gateway.lines = [line("Modem 1", "calling", success=3), line("Modem 2", success=40)]
        self.gateway.history = history(lambda i: max(0, int(dice.gauss(2 if 30 < i < 80 else .7, 1.6))) + 9 * (i == 52),
                                        lambda i: {20: 1, 52: 4, 53: 1}.get(i, 0))

    @unittest.skipUnless(PICTURES, "no folder for them")
    def test_pictures(self):
        self.night()
        for name, width, scheme, language in [("status-page", 1100, "light", "en"), ("status-page-dark", 1100, "dark", "en"),
                                              ("status-page-de", 1100, "light", "de"), ("status-page-phone", 390, "light", "en")]:
            self.browser.size(width)
            self.browser.scheme(scheme)
            self.browser.run("localStorage.setItem('language', arguments[0])", language)
            self.show(headline="")
            self.browser.until("return document.querySelector('#plot svg')")
            self.browser.picture(PICTURES / f"{name}.png", width, 960)


if __name__ == "__main__":
    unittest.main()
