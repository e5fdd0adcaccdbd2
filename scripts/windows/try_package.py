#!/usr/bin/env python3
"""Tries the packed programs under Wine, from a folder with a space and a letter beyond ASCII in its name.

    try_package.py BUILD ZIP [INSTALLER]

BUILD is the build folder for Windows, beside which the one for Linux lies: its simulated controller is what the
programs are tried on, and its bench ends as theirs must. Needs Wine, "script" for a console, and CMake.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
import zipfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
TIMEOUT = 120
# A fault of the controller and what is asked of it; the bench for Linux says how that ends.
FAULTS = [
    (None, ["run", "getInfo"]),
    (None, ["run", "setDirection", "direction=1"]),
    (None, ["run", "getRegister", "channel=direction", "--format", "json"]),
    (None, ["check"]),
    (None, ["run", "nonsense"]),
    ("no-answer/0x06", ["run", "setProgram", "program=3"]),
    ("exception=2/0x06", ["run", "setDirection", "direction=1"]),
    ("exception=2/0x03", ["run", "getRegister", "channel=direction"]),
    ("late=5000", ["run", "getRegister", "channel=direction"]),
    ("lost/0x06", ["run", "setProgram", "program=3"]),
    ("short", ["run", "getRegister", "channel=direction"]),
    ("cut-middle", ["run", "getRegister", "channel=direction"]),
    ("close", ["run", "getRegister", "channel=direction"]),
    ("exception=4/0x06", ["run", "setLock", "lock=3"]),
    ("refuse", ["list", "--timeout", "500"]),
    ("refuse", ["run", "getInfo"]),
]


class Failure(Exception):
    pass


def on_console(log):
    """What stood on the console, without what moves its cursor: that stands for blanks and ends of lines too."""
    text = log.read_bytes().decode("utf-8", "replace")
    return re.sub(r"\x1b\[[?0-9;]*[A-Za-z]|\x1b\][^\x07]*\x07|\s", "", text)


class Trial:
    def __init__(self, build, archive, installer, linux):
        self.build = build
        self.archive = archive
        self.installer = installer
        self.folder = build / "trial" / "Prüfstand à côté"
        self.package = self.folder / archive.stem
        self.linux = linux
        self.wine = shutil.which("wine64") or "/usr/lib/wine/wine64"
        self.environment = {**os.environ, "WINEPREFIX": str(build / "wine"), "WINEDEBUG": "-all",
                            "WINEDLLOVERRIDES": "mscoree,mshtml=", "LC_ALL": "C.UTF-8"}
        # The package has to find everything by itself.
        for name in ("WINEPATH", "DISPLAY"):
            self.environment.pop(name, None)
        self.failures = []
        self.count = 0

    def expect(self, good, what, told=""):
        self.count += 1
        print(f"  {'ok' if good else 'FAILED'}  {what}", flush=True)
        if not good:
            self.failures.append(what)
            if told:
                print("\n".join("          " + line for line in told.splitlines()[-12:]))

    def unpack(self):
        shutil.rmtree(self.build / "trial", ignore_errors=True)
        self.folder.mkdir(parents=True)
        with zipfile.ZipFile(self.archive) as archive:
            archive.extractall(self.folder)

    def under_wine(self, program, arguments):
        """What Wine starts beside a program has its output too, and stays: a pipe would not come to its end."""
        with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
            result = subprocess.run([self.wine, str(program), *arguments], cwd=self.folder, env=self.environment,
                                    stdin=subprocess.DEVNULL, stdout=out, stderr=err, timeout=TIMEOUT,
                                    check=False)
            out.seek(0)
            err.seek(0)
            result.stdout, result.stderr = out.read(), err.read()
        return result

    def windows(self, program, arguments):
        return self.under_wine(self.package / "bin" / program, arguments)

    def bench(self, *arguments):
        return self.windows("mdc-bench.exe", arguments)

    def told(self, result):
        return (result.stdout + result.stderr).decode("utf-8", "replace")

    def within_one_program(self):
        """With a controller that the bench simulates itself."""
        result = self.bench("run", "getInfo")
        self.expect(result.returncode == 0, "mdc-bench run getInfo", self.told(result))
        self.expect(b"\r" not in result.stdout and b"\r" not in result.stderr, "lines end without a return")
        result = self.bench("run", "getInfo", "--language", "fr", "--format", "json")
        self.expect(result.returncode == 0 and result.stdout.decode("utf-8").startswith("{"),
                    "results are UTF-8", self.told(result))
        result = self.bench("backup", "--folder", ".", "--name", "à côté")
        name = result.stdout.decode("utf-8").strip().replace("\\", "/").rsplit("/", 1)[-1]
        path = self.folder / name
        good = result.returncode == 0 and "à côté" in name and path.is_file()
        self.expect(good, f"mdc-bench backup: {name}", self.told(result))
        if good:
            text = path.read_bytes()
            lines = text.count(b"\n")
            self.expect(lines > 1000 and text.count(b"\r\n") == lines, f"its {lines} lines end as Windows' do")
            result = self.bench("restore", name, "--presets", "3", "--verify")
            self.expect(result.returncode == 0, "mdc-bench restore --verify", self.told(result))
            result = self.bench("compare", name)
            self.expect(result.returncode == 0, "mdc-bench compare", self.told(result))
        result = self.bench("check")
        self.expect(result.returncode == 0, "mdc-bench check", self.told(result))
        result = self.bench("list", "--ports", "--format", "json")
        self.expect(result.returncode == 0 and b'"ports"' in result.stdout, "mdc-bench list --ports",
                    self.told(result))
        result = self.bench("demo")
        self.expect(result.returncode == 0, "mdc-bench demo, on TCP alone", self.told(result))

    def places(self):
        """Files on a share, below a path of more than 260 letters, and in the user's own folder."""
        deep = self.folder.joinpath(*("à" + letter * 90 for letter in "abc"))
        deep.mkdir(parents=True)
        share = self.folder / "share"
        share.mkdir()
        # What Wine takes for \\trial\share.
        server = self.build / "wine" / "dosdevices" / "unc" / "trial"
        server.mkdir(parents=True, exist_ok=True)
        (server / "share").unlink(missing_ok=True)
        (server / "share").symlink_to(share)
        drive = "Z:" + str(deep).replace("/", "\\")
        for what, folder, named in (("a path of %d letters" % len(drive), deep, drive),
                                    ("a share", share, "\\\\trial\\share")):
            result = self.bench("backup", "--folder", named, "--name", "à côté")
            files = list(folder.glob("*.csv"))
            self.expect(result.returncode == 0 and len(files) == 1, f"mdc-bench backup to {what}",
                        self.told(result))
            if files:
                result = self.bench("compare", f"{named}\\{files[0].name}")
                self.expect(result.returncode == 0, f"mdc-bench compare with {what}", self.told(result))
                result = self.bench("backup", "--folder", named, "--name", "à côté", "--force")
                self.expect(result.returncode == 0 and len(list(folder.glob("*.csv*"))) == 1,
                            f"mdc-bench backup over another on {what}", self.told(result))
            # As a host names the folder, with the separators of Windows.
            result = self.bench("run", "backup", f"folderPath={named}", "backupName=host")
            self.expect(result.returncode == 0 and len(list(folder.glob("*_host_*.csv"))) == 1,
                        f"the backup order of a host on {what}", self.told(result))
            result = self.bench("check", "--report", f"{named}\\page.html")
            self.expect(result.returncode == 0 and (folder / "page.html").is_file(),
                        f"mdc-bench check --report on {what}", self.told(result))
            kept = folder / "properties.json"
            # The second run reads what the first has saved, and writes in its place.
            results = [self.bench("run", "SetTriggerProgram", f"resetMode={mode}", "--properties",
                                  f"{named}\\{kept.name}") for mode in ("false", "true")]
            self.expect(all(result.returncode == 0 for result in results) and kept.is_file(),
                        f"properties kept on {what}", "\n".join(map(self.told, results)))
        # Without an option, on a controller that is not simulated by the bench itself.
        users = self.build / "wine" / "drive_c" / "users"
        for old in users.glob("*/AppData/Roaming/mdc-bench/properties.json"):
            old.unlink()
        process, port = self.simulator()
        try:
            config = self.configuration(port)
            result = self.bench("--config", f"{config.parent.name}/{config.name}", "run", "SetTriggerProgram")
        finally:
            process.terminate()
            process.wait()
        kept = list(users.glob("*/AppData/Roaming/mdc-bench/properties.json"))
        self.expect(result.returncode == 0 and len(kept) == 1, "properties kept in the user's folder for data",
                    self.told(result))

    def picture(self):
        for program in ("mdc-bench.exe", "mdc-panel.exe"):
            name = f"{program}.png"
            arguments = ["--screenshot", name, "--size", "600x800"]
            result = self.windows(program, (["panel"] if program == "mdc-bench.exe" else []) + arguments)
            path = self.folder / name
            good = result.returncode == 0 and path.is_file() and path.stat().st_size > 10000
            self.expect(good, f"{program}, a picture of the page: {path}", self.told(result))

    def simulator(self, faults=(), port=0):
        command = [str(self.linux / "mdc-simulator"), "--quiet", "--port", str(port)]
        for fault in faults:
            command += ["--fault", fault]
        process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        match = re.search(r"127\.0\.0\.1:(\d+)", process.stdout.readline())
        if not match:
            process.terminate()
            raise Failure("the simulated controller did not say where it listens")
        return process, int(match.group(1))

    def configuration(self, port):
        """A configuration for this port, and its name."""
        folder = self.folder / "Konfiguration ü"
        if not folder.exists():
            shutil.copytree(self.package / "configurations", folder)
        path = folder / "bench.json"
        path.write_text(re.sub(r'"port": \d+', f'"port": {port}', path.read_text(encoding="utf-8")),
                        encoding="utf-8")
        return path

    def faults(self):
        """On a controller that runs on Linux: the exit codes of the bench for Linux."""
        for fault, arguments in FAULTS:
            codes = []
            told = ""
            for runs in (lambda config: subprocess.run(
                             [str(self.linux / "mdc-bench"), "--config", str(config), *arguments],
                             capture_output=True, timeout=TIMEOUT, check=False, cwd=self.folder),
                         lambda config: self.bench("--config", f"{config.parent.name}/{config.name}",
                                                   *arguments)):
                process, port = self.simulator([fault] if fault else [])
                try:
                    result = runs(self.configuration(port))
                finally:
                    process.terminate()
                    process.wait()
                codes.append(result.returncode)
                told = self.told(result)
            self.expect(codes[0] == codes[1], f"{' '.join(arguments)}, {fault or 'no fault'}: {codes[1]}, "
                                              f"on Linux {codes[0]}", told)

    def control_c(self):
        """On a console: a restore ends between two registers, with its report."""
        process, port = self.simulator(["late=20"])
        try:
            config = self.configuration(port)
            backups = list(self.folder.glob("*.csv"))
            if not backups:
                raise Failure("there is no backup to restore")
            log = self.folder / "console.txt"
            log.unlink(missing_ok=True)
            command = (f'"{self.wine}" "{self.package}/bin/mdc-bench.exe" --config "{config}" restore '
                       f'"{backups[0].name}" --presets 1-50 -v')
            console = subprocess.Popen(["script", "-q", "-e", "-f", "-c", command, str(log)], cwd=self.folder,
                                       env=self.environment, stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
            deadline = time.monotonic() + 60
            # "restore [####------]  26 %  525/2000 registers"
            while time.monotonic() < deadline and console.poll() is None:
                if log.exists() and re.search(r"restore\[.*\d+/\d+registers", on_console(log)):
                    break
                time.sleep(0.1)
            console.stdin.write(b"\x03")
            console.stdin.flush()
            try:
                code = console.wait(30)
            except subprocess.TimeoutExpired:
                console.kill()
                code = None
            text = on_console(log)
            report = re.search(r"interrupted;\d+of\d+registersarewritten", text)
            self.expect(code == 130 and report, "Ctrl-C on a console ends a restore with its report: "
                        f"{code}, {report.group() if report else 'none'}", text)
        finally:
            process.terminate()
            process.wait()

    def loader(self):
        """A host of a few lines, built against the package, on a controller that runs on Linux."""
        folder = self.build / "trial" / "loader"
        configure = subprocess.run(
            ["cmake", "-S", str(ROOT / "tests/windows/contract_loader"), "-B", str(folder), "-G", "Ninja",
             f"-DMDC_PACKAGE={self.package}", "-DCMAKE_BUILD_TYPE=Release",
             f"-DCMAKE_TOOLCHAIN_FILE={ROOT}/cmake/toolchains/windows-cross.cmake"],
            capture_output=True, check=False)
        built = configure.returncode == 0 and subprocess.run(
            ["cmake", "--build", str(folder)], capture_output=True, check=False)
        self.expect(built and built.returncode == 0, "a loader is built with the package's headers alone",
                    self.told(configure) + (self.told(built) if built else ""))
        if not built or built.returncode != 0:
            return
        shutil.copy(folder / "contract_loader.exe", self.package / "bin")
        process, port = self.simulator()
        try:
            result = self.windows("contract_loader.exe", [f"{self.archive.stem}/plugins",
                                                          f"{self.archive.stem}/configurations", str(port)])
        finally:
            process.terminate()
            process.wait()
        (self.package / "bin" / "contract_loader.exe").unlink()
        text = self.told(result)
        self.expect(result.returncode == 0 and text.count(": done") == 3, "it runs three orders and ends", text)
        print("\n".join("          " + line[:150] for line in text.splitlines()))

    def install(self):
        """Silently, into the user's folder for programs; then away with it."""
        users = self.build / "wine" / "drive_c" / "users"
        for old in users.glob("*/AppData/Local/Programs/PDeviceMdc"):
            shutil.rmtree(old)
        result = self.under_wine(self.installer, ["/S"])
        on_disk = next(users.glob("*/AppData/Local/Programs/PDeviceMdc"), None)
        self.expect(result.returncode == 0 and on_disk, "the installer", self.told(result))
        if not on_disk:
            return
        shortcuts = list(users.glob("*/AppData/Roaming/Microsoft/Windows/Start Menu/Programs/PDeviceMdc/*.lnk"))
        self.expect(len(shortcuts) == 4, f"its {len(shortcuts)} shortcuts in the start menu")
        program = on_disk / "bin" / "mdc-bench.exe"
        result = self.under_wine(program, ["run", "getInfo"])
        self.expect(result.returncode == 0, "what it has installed runs", self.told(result))
        (on_disk / "mine.json").write_text("{}")
        bench = on_disk / "configurations" / "bench.json"
        for change in ("first", "second"):
            bench.write_text(change)
            self.under_wine(self.installer, ["/S"])
        kept = [on_disk / name / "bench.json" for name in ("configurations.before", "configurations.before2")]
        self.expect([path.read_text() if path.exists() else None for path in kept] == ["first", "second"] and
                    bench.read_text() != "second" and (on_disk / "mine.json").exists(),
                    "installed again, it keeps configurations that were changed")
        self.uninstall(on_disk)
        left = sorted(str(path.relative_to(on_disk)) for path in on_disk.rglob("*") if path.is_file())
        self.expect("mine.json" in left and all(name == "mine.json" or name.startswith("configurations.before")
                                                for name in left), f"the uninstaller leaves what is the user's: {left}")

    def uninstall(self, folder):
        self.under_wine(folder / "uninstall.exe", ["/S"])
        # It goes on from a copy of itself when it has returned.
        deadline = time.monotonic() + 30
        while (folder / "uninstall.exe").exists() and time.monotonic() < deadline:
            time.sleep(0.2)

    def install_beside_others(self):
        """Into folders of other programs: nothing of theirs is replaced or removed."""
        drive = self.build / "wine" / "drive_c"
        theirs = {"uninstall.exe": "theirs", "bin/theirs.exe": "theirs", "docs/report.txt": "theirs"}
        for name, files in (("Taken", theirs), ("Shared", {name: text for name, text in theirs.items() if "/" in name})):
            folder = drive / name
            shutil.rmtree(folder, ignore_errors=True)
            for file, text in files.items():
                (folder / file).parent.mkdir(parents=True, exist_ok=True)
                (folder / file).write_text(text)
            result = self.under_wine(self.installer, ["/S", f"/D=C:\\{name}"])
            if name == "Shared":
                self.expect(result.returncode == 0 and (folder / "bin" / "mdc-bench.exe").exists(),
                            "the installer, into a folder with files of others", self.told(result))
                self.uninstall(folder)
            else:
                self.expect(result.returncode == 3, "the installer refuses a folder with another program's uninstaller",
                            self.told(result))
            left = {path.relative_to(folder).as_posix(): path.read_text() if path.stat().st_size < 100 else "long"
                    for path in folder.rglob("*") if path.is_file()}
            self.expect(left == files, f"files of others in it: {sorted(left)[:4]}")

    def run(self):
        self.unpack()
        self.within_one_program()
        self.places()
        self.picture()
        self.faults()
        self.control_c()
        self.loader()
        if self.installer:
            self.install()
            self.install_beside_others()


def main(arguments):
    if len(arguments) not in (2, 3):
        print(__doc__, file=sys.stderr)
        return 2
    paths = [Path(argument).resolve() for argument in arguments]
    for preset in ("release", "dev"):
        linux = ROOT / "build" / preset / "bin"
        if all((linux / program).is_file() for program in ("mdc-simulator", "mdc-bench")):
            break
    else:
        print("try_package: build the release for Linux first", file=sys.stderr)
        return 1
    trial = Trial(paths[0], paths[1], paths[2] if len(paths) == 3 else None, linux)
    try:
        trial.run()
    except (Failure, OSError, subprocess.TimeoutExpired) as failure:
        trial.failures.append(str(failure))
    for failure in trial.failures:
        print(f"try_package: failed: {failure}", file=sys.stderr)
    print(f"try_package: {trial.count} trials, {len(trial.failures)} failed")
    return 1 if trial.failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
