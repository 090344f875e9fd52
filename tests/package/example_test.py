#!/usr/bin/env python3
"""Builds the examples from the two archives of the package, as a developer does who has nothing else, and runs them in worlds
that the package brings up.
example_test.py SOURCE_DIR MADE CMAKE C CXX RC WINE_PREFIX REGISTRY_TEXT SUITE

SUITE is a class below. Built comes first and builds; each of the others takes what it has built into a prefix of its own, where
there is one world at a time, so they can run side by side."""
import contextlib
import http.client
import json
import os
import pathlib
import re
import shutil
import ssl
import subprocess
import sys
import tempfile
import unittest
import zipfile

SOURCE_DIR, MADE, CMAKE, CC, CXX, RC, PREFIXES, REGISTRY_TEXT, SUITE = sys.argv[1:10]
SOURCE_DIR, MADE = pathlib.Path(SOURCE_DIR), pathlib.Path(MADE)
PREFIX = pathlib.Path(f"{PREFIXES}-{SUITE.lower()}")
# On drive C, so that paths stay short wherever this tree is.
TEMPORARY = PREFIX / "drive_c/temp"
BUILT = pathlib.Path(f"{PREFIXES}-built") / "drive_c/temp/examples"
WINE = SOURCE_DIR / "tools" / "wine"
sys.dont_write_bytecode = True
sys.path.insert(0, str(SOURCE_DIR / "tests" / "program"))
from pe_file import PeFile  # noqa: E402


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


class Examples(unittest.TestCase):
    """What all suites need: the package and its built examples in a folder of the prefix."""

    @classmethod
    def setUpClass(cls):
        run(WINE / "make-prefix", PREFIX)
        # A run that was ended in the middle has left what its helper stored, and with it the day of the configuration.
        for key in (r"HKCU\Software\Ovrin", r"HKLM\SOFTWARE\Ovrin"):
            with contextlib.suppress(AssertionError):
                run(WINE / "run", "reg", "delete", key, "/f")
        cls.addClassCleanup(run, WINE / "stop", PREFIX)
        TEMPORARY.mkdir(exist_ok=True)
        cls.lay()
        cls.package, = (folder for folder in cls.folder.iterdir() if folder.name.startswith("nexlet-"))
        cls.caller = cls.folder / "caller" / "bin"
        cls.prepare()
        cls.before = cls.registry()
        assert len(cls.before) > 1000

    @classmethod
    def lay(cls):
        temporary = tempfile.TemporaryDirectory(dir=TEMPORARY)
        cls.addClassCleanup(temporary.cleanup)
        cls.folder = pathlib.Path(temporary.name)
        shutil.copytree(BUILT, cls.folder, dirs_exist_ok=True)

    @classmethod
    def prepare(cls):
        pass

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
    def registry(cls):
        """What the whole registry holds, line by line."""
        return run(WINE / "run", REGISTRY_TEXT).splitlines()

    def helper(self):
        return r"C:\temp" + "\\" + self.folder.name + r"\world\app\bin\nexlet.exe"

    def example(self, name, *words, code=0):
        """What an example says in the world that is up."""
        said = run(WINE / "run", self.folder / f"build_all/bin/{name}.exe", *words, self.helper(), code=code)
        print(said, end="")
        # The helper writes to the same output.
        return "".join(line for line in said.splitlines(keepends=True) if not line.startswith("Received text chunk"))

    def call(self, code=0):
        said = run(WINE / "run", self.caller / "caller.exe", self.helper(), code=code).splitlines()
        print(*said, sep="\n")
        # The helper writes to the same output, before its end.
        return said[-2:]

    def assert_nothing_left(self):
        self.assertFalse(self.world.exists())
        self.assertEqual(sorted(file.name for file in self.folder.iterdir()),
                         sorted([self.package.name, "build", "build_all", "caller"]))
        now = self.registry()
        self.assertTrue(self.before == now, set(self.before) ^ set(now))
        # The processes of the prefix, all of the system's own.
        running = run(WINE / "run", "tasklist")
        for name in ("nexlet", "WeChat", "internet.exe", "caller"):
            self.assertNotIn(name, running)


class Built(Examples):
    """Builds the examples for the other suites."""

    @classmethod
    def lay(cls):
        cls.folder = BUILT
        shutil.rmtree(BUILT, ignore_errors=True)
        BUILT.mkdir()
        for archive in sorted(MADE.glob("nexlet-*.zip")):
            if not archive.name.endswith("-symbols.zip"):
                with zipfile.ZipFile(archive) as opened:
                    opened.extractall(BUILT)

    @classmethod
    def prepare(cls):
        cls.build("examples/caller", "build")
        run(CMAKE, "--install", cls.folder / "build", "--prefix", cls.caller.parent)
        cls.build("examples", "build_all")

    @classmethod
    def build(cls, source, name):
        run(CMAKE, "-S", cls.package / source, "-B", cls.folder / name, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
            "-DCMAKE_SYSTEM_NAME=Windows", f"-DCMAKE_C_COMPILER={CC}", f"-DCMAKE_CXX_COMPILER={CXX}",
            f"-DCMAKE_RC_COMPILER={RC}", "-DCMAKE_C_FLAGS=-Wall -Wextra -pedantic-errors -Werror",
            "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror", "-DCMAKE_EXE_LINKER_FLAGS=-static",
            f"-DCMAKE_CROSSCOMPILING_EMULATOR={WINE / 'run'}", f"-DCMAKE_PREFIX_PATH={cls.package}")
        run(CMAKE, "--build", cls.folder / name)

    def test_installed_example_is_a_folder_that_runs(self):
        self.assertEqual(sorted(file.name for file in self.caller.iterdir()),
                         ["caller.exe", "nexlet.exe", "nexlet_client.dll"])

    def test_tests_with_the_stand_in_of_the_helper_pass(self):
        said = run(pathlib.Path(CMAKE).with_name("ctest"), "--test-dir", self.folder / "build_all", "--output-on-failure")
        self.assertIn("100% tests passed, 0 tests failed out of 3", said)
        self.assert_nothing_left()


class Opens(Examples):
    """Opens by the example that is installed, and what the servers of its world answer."""

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

    def test_tls_of_the_world_is_real_and_its_certificate_belongs_to_no_system(self):
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
        # A server that is offered no suite it knows says so instead of hanging.
        context.set_ciphers("ECDHE-RSA-AES256-GCM-SHA384")
        context.maximum_version = ssl.TLSVersion.TLSv1_2
        with self.assertRaises(OSError):
            self.ask_over_tls(context)
        self.assertIn("TLS_RSA_WITH_AES_128_GCM_SHA256",
                      self.nexlet_world("requests", self.world, "does not offer", "30000"))
        self.down()
        self.assert_nothing_left()

    def test_login_of_a_scenario_shows_in_the_status(self):
        self.up("opens.scenario")
        said = run(WINE / "run", self.package / "bin/nexctl.exe", "start", "status", "exit", "--exe", self.helper())
        print(said, end="")
        status = re.search(r"mini_wx_login\W+(\d)", said)
        self.assertEqual(status and status[1], "1", said)
        self.down()
        self.assert_nothing_left()

    def test_build_keeps_the_rules_of_the_wire_in_a_scenario_of_the_package(self):
        self.nexlet_world("up", self.package / "examples/conformance/refuses.scenario", self.world)
        said = run(WINE / "run", self.package / "bin/nexctl.exe", "conformance", "--world",
                   rf"C:\temp\{self.folder.name}\world", "--only", "exchange.")
        self.assertIn("kept      exchange.refuses", said)
        run(WINE / "run", self.package / "bin/nexctl.exe", "replay", self.package / "examples/exchanges/words.exchange",
            "--exe", self.helper())
        self.down()
        self.assert_nothing_left()


class Callers(Examples):
    """The other examples, in one world."""

    def test_examples_that_open_a_mini_program_run_in_one_world(self):
        self.up("opens.scenario")
        for name in ("c_caller", "c_caller_static"):
            with self.subTest(name):
                said = self.example(name)
                self.assertIn("mini-program application installed: 1\n", said)
                self.assertIn("opened: 1 ", said)
        self.assertNotIn("nexlet_client.dll", PeFile(self.folder / "build_all/bin/c_caller_static.exe").imports())
        with self.subTest("a lost helper is started again"):
            said = self.example("restart")
            self.assertIn("lost: ", said)
            self.assertIn("start again: done\nstatus: done\nanother process: yes\n", said)
        with self.subTest("two services share a helper"):
            # A callback writes when it is called, which may be before or after the exit returns.
            said = self.example("two_services").replace("first: the helper is gone\n", "")
            self.assertIn("one process: yes; second start forwarded: yes\n", said)
            self.assertIn("first: exit: done, the helper runs on for others\nsecond: status: done\n", said)
            self.assertIn("second: exit: done, the helper ended\n", said)
        with self.subTest("a message loop goes on while the helper is asked"):
            said = self.example("message_loop")
            self.assertRegex(said, r"start: done\nreply: \{.*\}\nstatus: done\nexit: done\n")
            self.assertIn("the loop went on meanwhile: yes\n", said)
        with self.subTest("miniApp"):
            self.assertIn("opened: 1 ", self.example("targets", "miniApp"))
        self.down()
        self.assert_nothing_left()


class Worlds(Examples):
    """Each scenario of the package, and the examples that need another than the first."""

    def test_every_example_of_a_scenario_can_be_brought_up(self):
        scenarios = sorted((self.package / "examples/world").iterdir())
        self.assertEqual(len(scenarios), 4)
        for scenario in scenarios:
            self.nexlet_world("check", scenario)
            self.up(scenario.name)
            self.down()
        self.assert_nothing_left()

    def test_targets_of_the_other_kinds_open_in_their_worlds(self):
        for kind, scenario in (("weChat", "page"), ("yyb", "yyb")):
            with self.subTest(kind):
                self.up(f"{scenario}.scenario")
                self.assertIn("opened: 1 ", self.example("targets", kind))
                self.down()
                self.assert_nothing_left()

    def test_examples_say_what_failed_and_nothing_stays(self):
        self.up("fails.scenario")
        said = self.call(code=1)
        self.assertFalse(said[0].startswith('the open ended with "1"'), said)
        self.assertEqual(said[1], "the helper ended")
        said = self.example("c_caller", code=1)
        self.assertIn("accepted: 1 ", said)
        self.assertNotIn("opened: 1 ", said)
        said = self.example("targets", "yyb", code=1)
        self.assertIn("accepted: 1 ", said)
        self.assertIn("opened: LaunchError ", said)
        self.down()
        self.assert_nothing_left()


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], SUITE], verbosity=2)
