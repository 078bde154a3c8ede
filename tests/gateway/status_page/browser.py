"""A headless Chromium, driven over WebDriver by the standard library alone."""
import base64
import http.client
import json
import subprocess
import tempfile
import time

SEEN = """const seen = document.querySelector(arguments[0]);
          return (seen?.checkVisibility() ? seen.innerText : "")"""
PATIENCE = 60  # s, of a machine that has much else to do
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"


class Browser:
    def __init__(self, language="en-US", width=1200, height=900):
        self._profile = tempfile.TemporaryDirectory(prefix="chromium")
        self._driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, text=True)
        for said in self._driver.stdout:
            if "on port " in said and "successfully" in said:
                self._port = int(said.rsplit("on port ", 1)[1].rstrip(".\n"))
                break
        arguments = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                     "--disable-background-networking", "--hide-scrollbars", "--no-first-run", "--no-proxy-server",
                     f"--user-data-dir={self._profile.name}", f"--window-size={width},{height}", f"--lang={language}",
                     f"--accept-lang={language}"]
        wanted = {"browserName": "chrome", "goog:chromeOptions": {"args": arguments},
                  "goog:loggingPrefs": {"browser": "ALL"}}
        self._session = ""
        self._session = "/session/" + self.call("POST", "/session", {"capabilities": {"alwaysMatch": wanted}})["sessionId"]

    def call(self, method, path, body=None):
        connection = http.client.HTTPConnection("127.0.0.1", self._port, timeout=60)
        connection.request(method, self._session + path, None if method == "GET" else json.dumps(body or {}))
        value = json.loads(connection.getresponse().read())["value"]
        connection.close()
        if isinstance(value, dict) and "error" in value:
            raise RuntimeError(value["message"])
        return value

    def close(self):
        try:
            self.call("DELETE", "")
        finally:
            self._driver.terminate()
            self._driver.wait()
            self._driver.stdout.close()
            self._profile.cleanup()

    def open(self, url):
        self.call("POST", "/url", {"url": url})

    def run(self, script, *arguments):
        """What a script returns; it may be a promise."""
        return self.call("POST", "/execute/sync", {"script": script, "args": arguments})

    def until(self, script, *arguments):
        """Waits until the script returns something true, and gives it."""
        end = time.monotonic() + PATIENCE
        while not (value := self.run(script, *arguments)):
            if time.monotonic() > end:
                raise AssertionError(f"not within {PATIENCE} s: {script} {arguments}\n{self.text()}")
            time.sleep(0.05)
        return value

    def text(self, selector="body"):
        """What can be seen of it."""
        return self.run(SEEN, selector)

    def until_text(self, selector, text):
        self.until(SEEN + ".includes(arguments[1])", selector, text)

    def click(self, selector):
        found = self.call("POST", "/element", {"using": "css selector", "value": selector})[ELEMENT]
        self.call("POST", f"/element/{found}/click")

    def press(self, *keys):
        """Presses keys, "\\ue004" being Tab and "\\ue007" Enter, or types texts."""
        strokes = [{"type": kind, "value": key} for text in keys for key in text for kind in ("keyDown", "keyUp")]
        self.call("POST", "/actions", {"actions": [{"type": "key", "id": "keys", "actions": strokes}]})

    def chrome(self, command, **parameters):
        return self.call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def size(self, width, height=900):
        self.chrome("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                    mobile=width < 600)

    def scheme(self, name):
        self.chrome("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": name}])

    def complaints(self):
        """What the console got since the last call: errors of scripts, and what the policy forbade. That
        nothing answered is none."""
        said = [entry["message"] for entry in self.call("POST", "/se/log", {"type": "browser"})]
        return [one for one in said if "Failed to load resource" not in one]

    def picture(self, file, width, height):
        clip = {"x": 0, "y": 0, "width": width, "height": height, "scale": 1}
        taken = self.chrome("Page.captureScreenshot", format="png", clip=clip, captureBeyondViewport=True)
        with open(file, "wb") as out:
            out.write(base64.b64decode(taken["data"]))
