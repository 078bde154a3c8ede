#!/usr/bin/env python3
"""An installed copy of the library and the command, as users of both meet it: the examples are built
against it as the integrator guide says, and send to the built-in message centre.

    installed_test.py BUILD_FOLDER
"""
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parent.parent.parent
EXAMPLES = SOURCE / "examples/library"
EXPORTS = ["mvsms_abort", "mvsms_advice", "mvsms_error", "mvsms_free", "mvsms_log_to", "mvsms_new",
           "mvsms_on_error", "mvsms_on_status", "mvsms_queue_cancel", "mvsms_queue_error",
           "mvsms_queue_free", "mvsms_queue_id", "mvsms_queue_new", "mvsms_queue_put",
           "mvsms_queue_reason", "mvsms_queue_set_expiry", "mvsms_queue_set_not_before",
           "mvsms_queue_set_priority", "mvsms_queue_state", "mvsms_reason", "mvsms_recipient",
           "mvsms_send", "mvsms_service", "mvsms_version"]
LONGEST = 120  # seconds, for what takes one at most


def run(*command, **options):
    """Output of a command that must succeed."""
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.prefix = cls.folder / "prefix"
        run("cmake", "--install", BUILD, "--prefix", cls.prefix)
        cls.libraries = next(cls.prefix.rglob("libmvsms.so.1")).parent
        cls.environment = dict(os.environ, LD_LIBRARY_PATH=str(cls.libraries),
                               PKG_CONFIG_PATH=str(cls.libraries / "pkgconfig"))
        run("cmake", "-S", EXAMPLES, "-B", cls.folder / "examples",
            f"-DCMAKE_PREFIX_PATH={cls.prefix}")
        run("cmake", "--build", cls.folder / "examples")

    def setUp(self):
        home = tempfile.TemporaryDirectory()
        self.addCleanup(home.cleanup)
        self.environment = dict(self.environment, MVSMS_HOME=home.name, MVSMS_LOCK_DIR=home.name)
        self.command = self.prefix / "bin/mvsms"
        self.centre = None

    def start_centre(self, *settings):
        """A centre for one call on a socket, and the service that reaches it."""
        words = [self.command, "centre", "--json", "--once", "--tcp", "0", "--protocol", "tap"]
        for setting in settings:
            words += ["--set", setting]
        self.centre = subprocess.Popen(words, stdout=subprocess.PIPE, text=True, env=self.environment)
        self.addCleanup(self.centre.stdout.close)
        self.addCleanup(self.centre.wait)
        self.addCleanup(self.centre.kill)
        self.configure(json.loads(self.centre.stdout.readline())["port"])

    def configure(self, port):
        for words in (["modem", "add", "Modem", "--kind", "tcp"],
                      ["service", "add", "Pager", "Protocol=TAP", f"PhoneNumber=127.0.0.1:{port}"],
                      ["config", "set", "DefaultModem", "Modem"],
                      ["config", "set", "DefaultService", "Pager"]):
            run(self.command, *words, env=self.environment)

    def received(self):
        """What the centre recorded: recipient, text, whether it accepted."""
        out, _ = self.centre.communicate(timeout=LONGEST)
        entries = [json.loads(line) for line in out.splitlines()]
        return [(e["recipient"], e["text"], e["accepted"]) for e in entries if e.get("type")]

    def send(self, program, *words):
        done = subprocess.run([*map(str, program), *words], capture_output=True, text=True,
                              env=self.environment, timeout=LONGEST)
        return done.returncode, done.stdout, done.stderr

    def assert_sends(self, program):
        self.start_centre()
        code, out, err = self.send(program, "0172 1234", "Pump 3 has stopped")
        self.assertEqual((code, err), (0, ""))
        self.assertIn("\nConnected.\n", out)
        self.assertEqual(self.received(), [("01721234", "Pump 3 has stopped", True)])

    # Programs of every language.

    def test_the_example_in_c_sends(self):
        self.assert_sends([self.folder / "examples/send_c"])

    def test_the_example_in_cpp_sends(self):
        self.assert_sends([self.folder / "examples/send_cpp"])

    def test_the_example_in_python_sends(self):
        self.assert_sends([sys.executable, EXAMPLES / "send.py"])

    def test_a_program_built_with_pkg_config_sends(self):
        flags = run("pkg-config", "--cflags", "--libs", "mvsms", env=self.environment).split()
        run("cc", EXAMPLES / "send.c", *flags, "-o", self.folder / "shared")
        self.assert_sends([self.folder / "shared"])

    def test_a_program_with_the_library_inside_sends(self):
        flags = run("pkg-config", "--cflags", "mvsms", env=self.environment).split()
        beneath = run("pkg-config", "--libs", "--static", "mvsms", env=self.environment).split()
        beneath = [word for word in beneath if word != "-lmvsms"]
        run("cc", EXAMPLES / "send.c", *flags, self.libraries / "libmvsms.a", *beneath,
            "-o", self.folder / "static")
        self.assertNotIn("libmvsms", run("ldd", self.folder / "static", env=self.environment))
        self.assert_sends([self.folder / "static"])

    # How a send fails.

    def test_a_refusal_is_told_from_what_another_attempt_may_cure(self):
        self.start_centre("refuse=all")
        code, out, err = self.send([self.folder / "examples/send_c"], "0172", "text")
        self.assertEqual((code, err), (1, ""))
        self.assertIn("Response received: 511 Invalid pager ID", out)
        self.assertEqual(self.received(), [("0172", "text", False)])

    def test_a_centre_that_nobody_reaches_is_an_error(self):
        self.start_centre()
        self.centre.kill()
        self.centre.wait()
        code, _, err = self.send([self.folder / "examples/send_cpp"], "0172", "text")
        self.assertEqual(code, 75)
        self.assertIn("error 4462: Unable to connect, reason: ", err)

    def test_an_abort_from_a_signal_ends_the_send(self):
        self.start_centre("silent-at=message")
        sending = subprocess.Popen([self.folder / "examples/send_cpp", "0172", "text"], text=True,
                                   stdout=subprocess.PIPE, env=self.environment)
        self.addCleanup(sending.stdout.close)
        self.addCleanup(sending.wait)
        self.addCleanup(sending.kill)
        for line in sending.stdout:
            if line == "Connected.\n":
                break
        sending.send_signal(signal.SIGINT)
        out, _ = sending.communicate(timeout=LONGEST)
        self.assertEqual(sending.returncode, 75)
        self.assertIn("Sending was aborted!\n", out)

    # What the copy consists of.

    def test_the_shared_library_shows_the_functions_of_its_header_and_nothing_else(self):
        names = run("nm", "--dynamic", "--defined-only", "--format=posix",
                    self.libraries / "libmvsms.so")
        shown = [line.split()[0].split("@")[0] for line in names.splitlines()
                 if line.split()[1] != "A"]
        self.assertEqual(shown, EXPORTS)

    def test_the_shared_library_has_its_version_in_its_name(self):
        self.assertIn("Library soname: [libmvsms.so.1]",
                      run("readelf", "--dynamic", self.libraries / "libmvsms.so"))

    def test_the_versions_agree(self):
        version = run("pkg-config", "--modversion", "mvsms", env=self.environment).strip()
        self.assertTrue((self.libraries / f"libmvsms.so.{version}").exists())

    def test_nothing_else_is_installed(self):
        files = {str(p.relative_to(self.prefix)) for p in self.prefix.rglob("*") if not p.is_dir()}
        lib = self.libraries.relative_to(self.prefix)
        package = lib / "cmake/mvsms"
        beside = (f"{package}/", "share/")  # what the pages test is about, too
        files = {f for f in files if not f.startswith(beside)}
        version = run("pkg-config", "--modversion", "mvsms", env=self.environment).strip()
        self.assertEqual(files, {"bin/mvsms", "libexec/mvsms/mvsms-gateway", "libexec/mvsms/mvsms-hub.so",
                                 "include/mvsms/mvsms.h", "include/mvsms/queue.hpp",
                                 "include/mvsms/sender.hpp",
                                 f"{lib}/libmvsms.a", f"{lib}/libmvsms.so", f"{lib}/libmvsms.so.1",
                                 f"{lib}/libmvsms.so.{version}", f"{lib}/pkgconfig/mvsms.pc"})


    def test_pages_completions_and_examples_are_where_they_are_looked_for(self):
        for name in ("man/man1/mvsms.1", "man/man1/mvsms-send.1", "bash-completion/completions/mvsms",
                     "zsh/site-functions/_mvsms", "fish/vendor_completions.d/mvsms.fish",
                     "doc/mvsms/examples/smstransports.inf", "doc/mvsms/examples/library/send.c"):
            self.assertTrue((self.prefix / "share" / name).exists(), name)


if __name__ == "__main__":
    BUILD = pathlib.Path(sys.argv.pop(1)).resolve()
    unittest.main()
