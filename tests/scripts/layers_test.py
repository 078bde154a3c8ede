#!/usr/bin/env python3
"""scripts/layers.py passes this tree, and names what is planted in a copy of a tree."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


def layers(*arguments):
    """Exit code and output of scripts/layers.py."""
    done = subprocess.run([sys.executable, ROOT / "scripts/layers.py", *arguments],
                          capture_output=True, text=True)
    return done.returncode, done.stdout


class Layers(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def plant(self, name, text):
        path = pathlib.Path(self.folder.name, name)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def assert_named(self, *sentences):
        code, out = layers(self.folder.name)
        self.assertEqual((code, out.splitlines()), (1, list(sentences)))

    def test_this_tree_passes(self):
        self.assertEqual(layers(), (0, layers()[1]))

    def test_an_include_upwards_is_named(self):
        self.plant("engine/settings.cpp", '#include <string>\n#include "resources/string_table.h"\n')
        self.assert_named('engine/settings.cpp:2: #include "resources/string_table.h": '
                          'engine may not use resources')

    def test_nothing_but_edges_sees_a_back_end(self):
        self.plant("ui/frmconfig.cpp", '#include "backends/posix/line/tty.h"\n')
        self.plant("cli/posix/modem_test.cpp", '#include "backends/posix/line/tty.h"\n')
        self.assert_named('ui/frmconfig.cpp:1: #include "backends/posix/line/tty.h": '
                          'ui may not use backends/posix/line')

    def test_the_core_knows_no_operating_system(self):
        self.plant("media/tapiline.cpp", "#include <unistd.h>\n#include <vector>\n")
        self.plant("backends/posix/line/tty.cpp", "#include <unistd.h>\n")
        self.assert_named("media/tapiline.cpp:1: #include <unistd.h>: "
                          "media is of the core, which knows the standard library alone")

    def test_windows_stays_in_its_rooms(self):
        self.plant("cli/store.cpp", "#include <Windows.h>\n")
        self.plant("com/module.cpp", "#include <windows.h>\n")
        self.assert_named("cli/store.cpp:1: #include <Windows.h>: only the rooms of Windows include it")

    def test_brackets_hide_nothing(self):
        self.plant("centre/posix/server.cpp", "#include <engine/sender.h>\n#include <poll.h>\n")
        self.assert_named("centre/posix/server.cpp:1: #include <engine/sender.h>: "
                          "a header of the tree stands in quotes")

    def test_a_new_folder_needs_a_room(self):
        self.plant("helpers/text.h", "#include <string>\n")
        self.assert_named("helpers/text.h: lies in no room; scripts/layers.py lists them")

    def test_tests_may_include_everything(self):
        self.plant("tests/ui/x_test.cpp", '#include "backends/memory/memory_platform.h"\n')
        self.assertEqual(layers(self.folder.name)[0], 0)

    def test_a_setting_named_again_is_named(self):
        self.plant("engine/settings.h", 'constexpr ValueInfo kModem{.name = "ModemName"};\n'
                                        'constexpr ValueInfo kSpeed{\n    .name = "BaudRate"};\n')
        self.plant("ui/form.cpp", 'Read("ModemName");\nSay("ModemNames");\nRead("BaudRate");\n'
                                   'Do("BaudRate=2400");\n')
        self.plant("resources/strings.def", 'STRING("BaudRate")\n')
        self.plant("tests/ui/form_test.cpp", 'Read("ModemName");\n')
        self.assert_named('ui/form.cpp:1: ModemName is setting::kModem',
                          'ui/form.cpp:3: BaudRate is setting::kSpeed',
                          'ui/form.cpp:4: BaudRate is setting::kSpeed')


if __name__ == "__main__":
    unittest.main()
