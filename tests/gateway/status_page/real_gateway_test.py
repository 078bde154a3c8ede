#!/usr/bin/env python3
"""real_gateway_test.py MVSMS: the status page as the command serves it, with a worker, a modem and a
message centre behind it."""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from browser import Browser

MVSMS = str(pathlib.Path(sys.argv.pop(1)).resolve())
ENTER = "\ue007"


class RealGateway(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.home = tempfile.TemporaryDirectory()
        cls.processes = []
        cls.environment = {**os.environ, "MVSMS_HOME": cls.home.name, "MVSMS_LOCK_DIR": cls.home.name}
        port = cls.start(r":(\d+)", "centre", "--tcp", "0", "--quiet", "--set", "refuse=1")
        cls.mvsms("modem", "add", "Modem 1", "--kind", "tcp")
        cls.mvsms("service", "add", "Pager", f"PhoneNumber=127.0.0.1:{port}", "Protocol=TAP")
        cls.mvsms("config", "set", "DefaultModem", "Modem 1")
        cls.mvsms("config", "set", "DefaultService", "Pager")
        cls.mvsms("config", "set", "WriteLogfile", "1")
        tokens = pathlib.Path(cls.home.name, "tokens")
        tokens.write_text("watch read looking-through-the-night\nnight operate acting-through-the-night\n")
        tokens.chmod(0o600)
        port = cls.start(r":(\d+)", "serve", "--http", "127.0.0.1:0", "--tokens", str(tokens))
        cls.browser = Browser()
        cls.browser.open(f"http://127.0.0.1:{port}/")

    @classmethod
    def tearDownClass(cls):
        cls.browser.close()
        for process in cls.processes:
            process.terminate()
            process.wait()
            process.stdout.close()
        cls.home.cleanup()

    @classmethod
    def mvsms(cls, *words):
        subprocess.run([MVSMS, *words], env=cls.environment, check=True, capture_output=True)

    @classmethod
    def start(cls, wanted, *words):
        """Starts a command that goes on, and waits until it says what is wanted; gives its group."""
        process = subprocess.Popen([MVSMS, *words], env=cls.environment, stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, text=True)
        cls.processes.append(process)
        for said in process.stdout:
            if found := re.search(wanted, said):
                return found[1]
        raise RuntimeError(f"{words}: ended")

    def sign_in(self, token, headline):
        self.browser.run("sessionStorage.clear(); location.reload()")
        self.browser.until("return document.activeElement.id === 'token'")
        self.browser.press(token, ENTER)
        self.browser.until_text("#headline", headline)

    def send_test(self, text):
        self.browser.run("document.getElementById('test-text').value = arguments[0]", text)
        self.browser.run("const to = document.getElementById('test-to'); to.value = '01711234567'; to.focus()")
        self.browser.press(ENTER)

    def test_a_night(self):
        self.sign_in("acting-through-the-night", "does not work")
        self.browser.until_text("#reasons", "No worker is running")
        self.send_test("First <b>test</b> ä")
        self.browser.until_text("#now-pages", "First <b>test</b> ä")
        self.start("()", "worker")
        self.browser.until_text("#attention-pages", "given up")
        self.browser.until_text("#headline", "needs you")
        self.browser.until_text("#test-said", "given up, after")
        self.browser.click("#attention-pages summary")
        self.browser.until_text("#attention-pages .body .pages", "refused")
        self.browser.click("#attention-pages .body summary")
        self.browser.until_text("#attention-pages pre", "01711234567")
        self.browser.click("#attention-pages > li > .actions button")  # the centre takes it now
        self.browser.until_text("#test-said", "accepted, after")
        self.browser.until_text("#headline", "Paging works")
        self.browser.until("return document.querySelector('#plot rect.accepted')")
        self.browser.click("#search-words")
        self.browser.press("<B>TEST", ENTER)
        self.browser.until_text("#search-said", "Found: 2")

        self.sign_in("looking-through-the-night", "Paging works")
        self.browser.until_text("#recent-pages", "<b>test</b>")
        self.assertEqual(self.browser.text("#test-section"), "")
        self.assertEqual(self.browser.complaints(), [])


if __name__ == "__main__":
    unittest.main()
