#!/usr/bin/env python3
"""Installs the build into a prefix, moves it, and uses it as somebody who has nothing else: the programs find
their plug-ins, a host and plug-ins of somebody else are built against it, and each runs with the other's.

    test_installed_tree.py SOURCE_FOLDER BUILD_FOLDER COMPILER
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE, BUILD, COMPILER = sys.argv[1:4]


def run(*words, **options):
    environment = dict(os.environ, **options.pop("env", {}))
    return subprocess.run(words, capture_output=True, text=True, timeout=240, check=False, env=environment, **options)


class InstalledTree(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp()
        cls.first = os.path.join(cls.folder, "first")
        installed = run("cmake", "--install", BUILD, "--prefix", cls.first)
        assert installed.returncode == 0, installed.stdout + installed.stderr
        # Nobody may count on the place that it was installed to.
        cls.prefix = os.path.join(cls.folder, "moved to", "a place of its own")
        shutil.move(cls.first, cls.prefix)
        cls.home = os.path.join(cls.folder, "home")
        os.makedirs(cls.home)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def bench(self, *words):
        return run(os.path.join(self.prefix, "bin", "mdc-bench"), *words, cwd=self.home, env={"HOME": self.home})

    def expect_done(self, ended):
        self.assertEqual(ended.returncode, 0, ended.stdout + ended.stderr)
        return ended

    def build(self, example):
        folder = os.path.join(self.folder, example)
        if not os.path.isdir(folder):
            source = self.found("examples", example)
            self.expect_done(run("cmake", "-S", source, "-B", folder, "-G", "Ninja", "-D",
                                 "CMAKE_PREFIX_PATH=" + self.prefix, "-D", "CMAKE_CXX_COMPILER=" + COMPILER))
            self.expect_done(run("cmake", "--build", folder))
        return folder

    def found(self, *parts):
        for path, folders, files in os.walk(self.prefix):
            if path.endswith(os.path.join(*parts[:-1])) and parts[-1] in folders + files:
                return os.path.join(path, parts[-1])
        self.fail("nothing installed is named %s" % os.path.join(*parts))

    def test_runs_without_a_configuration(self):
        ended = self.expect_done(self.bench("run", "getInfo", "--format", "json"))
        self.assertIn("deviceInformation", json.loads(ended.stdout)["results"])

    def test_runs_the_installed_configuration(self):
        configuration = self.found("configurations", "bench.json")
        self.expect_done(self.bench("--config", configuration, "--simulate", "tcp", "run", "setDirection",
                                    "direction=1"))

    def test_shows_the_page(self):
        picture = os.path.join(self.home, "page.png")
        self.expect_done(self.bench("panel", "--screenshot", picture))
        self.assertGreater(os.path.getsize(picture), 10000)

    def test_tells_versions(self):
        ended = self.expect_done(self.bench("--version"))
        for part in ("mdc-bench ", "contract ", "Qt ", "Plugin Device MDC", "Plugin Driver Modbus"):
            self.assertIn(part, ended.stdout)

    def test_no_file_tells_of_the_build(self):
        for path, _, files in os.walk(self.prefix):
            for file in files:
                with open(os.path.join(path, file), "rb") as content:
                    text = content.read()
                # systemd wants a path from the root on: units are for what stays where it was installed to.
                for folder in (SOURCE, BUILD) if file.endswith(".service") else (SOURCE, BUILD, self.first):
                    self.assertFalse(folder.encode() + b"/" in text,
                                     "%s names %s" % (os.path.join(path, file), folder))

    def test_units_start_what_was_installed(self):
        for program, unit in (("mdc-simulator", "mdc-simulator.service"), ("mdc-bench", "mdc-results.service")):
            with open(self.found("system", unit), encoding="utf-8") as file:
                self.assertIn("\nExecStart=%s " % os.path.join(self.first, "bin", program), file.read())

    def test_host_of_somebody_else(self):
        host = os.path.join(self.build("host"), "example-host")
        plugins = os.path.dirname(self.found("plugins", "libp_device_mdc.so"))
        with subprocess.Popen([os.path.join(self.prefix, "bin", "mdc-simulator"), "--port", "0"],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True) as simulator:
            try:
                line = next(line for line in simulator.stdout if "127.0.0.1:" in line)
                port = int("".join(c for c in line.split("127.0.0.1:", 1)[1].split()[0] if c.isdigit()))
                folder = os.path.dirname(self.found("configurations", "bench.json"))
                copy = os.path.join(self.home, "configurations")
                shutil.copytree(folder, copy)
                path = os.path.join(copy, "bench.json")
                with open(path, encoding="utf-8") as text:
                    bench = json.load(text)
                bench["objects"][0]["configuration"]["port"] = port
                with open(path, "w", encoding="utf-8") as text:
                    json.dump(bench, text)
                ended = self.expect_done(run(host, plugins, path, bench["objects"][1]["name"], "getInfo",
                                             "reference=MDC"))
                self.assertIn("controllerModel", ended.stdout)
            finally:
                simulator.terminate()
                simulator.stdout.read()

    def test_plugins_of_somebody_else(self):
        host = os.path.join(self.build("host"), "example-host")
        plugins = os.path.join(self.build("plugin"), "plugins")
        configuration = self.found("plugin", "bench.json")
        ended = self.expect_done(run(host, plugins, configuration, "Spindle", "getSpeed"))
        self.assertEqual(json.loads(ended.stdout), {"speed": 4000})
        # And in our own bench.
        ended = self.expect_done(self.bench("--plugins", plugins, "--config", configuration, "run", "getSpeed",
                                            "--object", "Spindle"))
        self.assertIn("4000", ended.stdout)
        refused = run(host, plugins, configuration, "Spindle", "getTorque")
        self.assertEqual(refused.returncode, 1)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
