#!/usr/bin/env python3
"""Builds the example of a caller from the two archives of the package, as somebody does who has nothing else, and runs it
in worlds that the package brings up.
example_test.py SOURCE_DIR MADE CMAKE CXX RC WINE_PREFIX"""
import http.client
import json
import os
import pathlib
import ssl
import subprocess
import sys
import tempfile
import unittest
import zipfile

SOURCE_DIR, MADE, CMAKE, CXX, RC, PREFIX = sys.argv[1:7]
SOURCE_DIR, MADE, PREFIX = pathlib.Path(SOURCE_DIR), pathlib.Path(MADE), pathlib.Path(PREFIX)
WINE = SOURCE_DIR / "tools" / "wine"
# Wine's own notes about a desktop, which come and go with it.
DESKTOP_NOTES = r"[HKEY_CURRENT_USER\Software\Wine\Temporary System Parameters"
PLACES = ((r"HKLM\SOFTWARE", "/reg:64"), (r"HKLM\SOFTWARE", "/reg:32"), (r"HKCU\Software", "/reg:64"))


def run(*command, code=0):
    environment = {**os.environ, "NEXLET_WINEPREFIX": str(PREFIX)}
    # Into a file: what stays running of a world keeps a pipe open under Wine.
    with tempfile.TemporaryFile() as out:
        done = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, stdout=out, stderr=subprocess.STDOUT,
                              timeout=120)
        out.seek(0)
        said = out.read().decode("utf-8", "replace").replace("\r", "")
    if done.returncode != code:
        raise AssertionError(f"{' '.join(map(str, command))} ended with {done.returncode}:\n{said}")
    return said


class ExampleTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        run(WINE / "make-prefix", PREFIX)
        cls.addClassCleanup(run, WINE / "stop", PREFIX)
        (PREFIX / "drive_c/temp").mkdir(exist_ok=True)
        # On drive C, so that paths stay short wherever this tree is.
        temporary = tempfile.TemporaryDirectory(dir=PREFIX / "drive_c/temp")
        cls.addClassCleanup(temporary.cleanup)
        cls.folder = pathlib.Path(temporary.name)
        for archive in sorted(MADE.glob("nexlet-*.zip")):
            if not archive.name.endswith("-symbols.zip"):
                with zipfile.ZipFile(archive) as opened:
                    opened.extractall(cls.folder)
        cls.package, = cls.folder.iterdir()
        cls.caller = cls.folder / "caller" / "bin"
        build = cls.folder / "build"
        run(CMAKE, "-S", cls.package / "examples/caller", "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
            "-DCMAKE_SYSTEM_NAME=Windows", f"-DCMAKE_CXX_COMPILER={CXX}", f"-DCMAKE_RC_COMPILER={RC}",
            "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror", "-DCMAKE_EXE_LINKER_FLAGS=-static",
            f"-DCMAKE_PREFIX_PATH={cls.package}")
        run(CMAKE, "--build", build)
        run(CMAKE, "--install", build, "--prefix", cls.caller.parent)

        cls.before = cls.exports()

    def setUp(self):
        self.world = self.folder / "world"
        self.addCleanup(self.take_down_what_a_failure_left)

    def nexlet_world(self, *words, code=0):
        return run(WINE / "run", self.package / "bin/nexlet-world.exe", *words, code=code)

    def down(self):
        self.nexlet_world("down", self.world)

    def take_down_what_a_failure_left(self):
        if self.world.exists():
            self.down()

    def up(self, scenario):
        self.nexlet_world("up", self.package / "examples/world" / scenario, self.world)

    @classmethod
    def exports(cls):
        """What the whole registry holds."""
        texts = []
        for key, view in PLACES:
            file = cls.folder / "export.reg"
            run(WINE / "run", "reg", "export", key, file, "/y", view)
            keys = file.read_text(encoding="utf-16").split("\n\n")
            texts.append("\n\n".join(key for key in keys if not key.startswith(DESKTOP_NOTES)))
            file.unlink()
        return texts

    def call(self, code=0):
        helper = r"C:\temp" + "\\" + self.folder.name + r"\world\app\bin\nexlet.exe"
        said = run(WINE / "run", self.caller / "caller.exe", helper, code=code).splitlines()
        print(*said, sep="\n")
        # The helper writes to the same output, before its end.
        return said[-2:]

    def assert_nothing_left(self):
        self.assertFalse(self.world.exists())
        self.assertEqual(sorted(file.name for file in self.folder.iterdir()),
                         sorted([self.package.name, "build", "caller"]))
        for old, new, place in zip(self.before, self.exports(), PLACES):
            changed = set(new.splitlines()) ^ set(old.splitlines())
            self.assertTrue(old == new, f"{place}: {changed}")
        # The processes of the prefix, all of the system's own.
        running = run(WINE / "run", "tasklist")
        for name in ("nexlet", "WeChat", "internet.exe", "caller"):
            self.assertNotIn(name, running)

    def test_installed_example_is_a_folder_that_runs(self):
        self.assertEqual(sorted(file.name for file in self.caller.iterdir()),
                         ["caller.exe", "nexlet.exe", "nexlet_client.dll"])

    def test_mini_program_opens_in_the_world_and_nothing_stays(self):
        self.up("opens.scenario")
        said = self.call()
        self.assertTrue(said[0].startswith('the open ended with "1": '), said)
        self.assertEqual(said[1], "the helper ended")
        calls = (self.world / "app/wxsdk/ocean_calls.txt").read_text()
        self.assertIn("open appId=wx0123456789abcdef appPath=pages/index/index", calls)
        request = json.loads(self.nexlet_world("requests", self.world, "info.txt", "30000"))
        self.assertEqual((request["url"], request["status"]), ("http://info.nexlet.invalid/wxzolt/info.txt", 200))
        self.down()
        self.assert_nothing_left()

    def ask_over_tls(self, context):
        """A request through the proxy of the world, with another TLS than the helper's."""
        port = int((self.world / "internet_port.txt").read_text())
        connection = http.client.HTTPSConnection("127.0.0.1", port, context=context, timeout=60)
        connection.set_tunnel("statistics.nexlet.invalid", 443)
        try:
            connection.request("GET", "/static/a/1.gif?a=b")
            return connection.getresponse().status
        finally:
            connection.close()

    def test_tls_of_the_world_is_real_and_its_certificate_is_nobodys(self):
        self.up("opens.scenario")
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        context.set_ciphers("AES128-GCM-SHA256")
        with self.assertRaises(ssl.SSLCertVerificationError):
            self.ask_over_tls(context)
        refused = json.loads(self.nexlet_world("requests", self.world, "fault", "30000"))
        self.assertEqual((refused["method"], refused["url"]), ("CONNECT", "https://statistics.nexlet.invalid"))
        context.check_hostname = False
        context.verify_mode = ssl.CERT_NONE
        self.assertEqual(self.ask_over_tls(context), 200)
        seen = json.loads(self.nexlet_world("requests", self.world, "1.gif"))
        self.assertEqual(seen["url"], "https://statistics.nexlet.invalid/static/a/1.gif?a=b")
        # One that is offered nothing it speaks says so instead of hanging.
        context.set_ciphers("ECDHE-RSA-AES256-GCM-SHA384")
        context.maximum_version = ssl.TLSVersion.TLSv1_2
        with self.assertRaises(OSError):
            self.ask_over_tls(context)
        self.assertIn("TLS_RSA_WITH_AES_128_GCM_SHA256",
                      self.nexlet_world("requests", self.world, "does not offer", "30000"))
        self.down()
        self.assert_nothing_left()

    def test_open_that_fails_says_so_and_nothing_stays(self):
        self.up("fails.scenario")
        said = self.call(code=1)
        self.assertFalse(said[0].startswith('the open ended with "1"'), said)
        self.assertEqual(said[1], "the helper ended")
        self.down()
        self.assert_nothing_left()

    def test_every_example_of_a_scenario_can_be_brought_up(self):
        scenarios = sorted((self.package / "examples/world").iterdir())
        self.assertEqual(len(scenarios), 3)
        for scenario in scenarios:
            self.nexlet_world("check", scenario)
            self.up(scenario.name)
            self.down()
        self.assert_nothing_left()


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
