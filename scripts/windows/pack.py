#!/usr/bin/env python3
"""Makes the folder that is delivered for Windows.

    pack.py BUILD QT FOLDER

BUILD is the build folder, QT the Qt for Windows that it was built with, FOLDER what is made, and emptied before:

    bin             programs, their libraries, and Qt's
    plugins         what the host loads
    qt              Qt's own plug-ins and QML modules
    configurations  to begin with
    translations    the texts of the page, for a host that shows it
    include, lib    the contract, for who writes a host or a plug-in with the same compiler
    docs, licences
"""

import os
import shutil
import subprocess
import sys
from pathlib import Path

PROGRAMS = ["mdc-bench.exe", "mdc-panel.exe", "mdc-simulator.exe"]
LIBRARIES = ["lib_host.dll", "lib_panel.dll", "lib_plugins_management.dll", "lib_utilities.dll"]
PLUGINS = ["p_device_mdc.dll", "p_driver_modbus.dll"]
CONTRACT = ["lib_utilities", "lib_plugins_management"]
QT_LIBRARIES = [
    "Qt5Core", "Qt5Gui", "Qt5Network", "Qt5Qml", "Qt5QmlModels", "Qt5QmlWorkerScript", "Qt5Quick",
    "Qt5QuickControls2", "Qt5QuickShapes", "Qt5QuickTemplates2", "Qt5SerialBus", "Qt5SerialPort",
    "libgcc_s_seh-1", "libstdc++-6", "libwinpthread-1", "zlib1",
]
QT_PLUGINS = ["platforms/qwindows.dll", "platforms/qoffscreen.dll"]
# What the page and the frame around it import, and what that imports.
QML_MODULES = [
    "QtQml", "QtQuick.2", "QtQuick/Controls.2", "QtQuick/Layouts", "QtQuick/Shapes", "QtQuick/Templates.2",
    "QtQuick/Window.2",
]
# Debian packages whose licences are handed on.
LICENCES = {
    "Qt": "qtbase5-dev", "Qt Declarative": "qtdeclarative5-dev", "Qt Quick Controls": "qtquickcontrols2-5-dev",
    "Qt SerialBus": "libqt5serialbus5-dev", "Qt SerialPort": "libqt5serialport5-dev", "CLI11": "libcli11-dev",
    "valijson": "libvalijson-dev", "GCC run-time libraries": "gcc-mingw-w64-x86-64-posix-runtime",
    "MinGW-w64": "mingw-w64-x86-64-dev", "zlib": "libz-mingw-w64-dev",
}
TEXTS = ["GPL-2", "GPL-3", "LGPL-2.1", "LGPL-3"]
QT_CONF = "[Paths]\nPrefix = ..\nPlugins = qt/plugins\nQml2Imports = qt/qml\n"


class Failure(Exception):
    pass


def copy(source, target):
    if not source.exists():
        raise Failure(f"{source} is missing")
    target.parent.mkdir(parents=True, exist_ok=True)
    if source.is_dir():
        shutil.copytree(source, target, ignore=shutil.ignore_patterns("*.qmltypes", "*.a", "*.pdb"))
    else:
        shutil.copyfile(source, target)


def strip(folder):
    for path in folder.glob("*"):
        if path.suffix in (".exe", ".dll"):
            subprocess.run(["x86_64-w64-mingw32-strip", "--strip-unneeded", str(path)], check=True)


def pack_licences(folder):
    for name, package in LICENCES.items():
        copy(Path("/usr/share/doc") / package / "copyright", folder / f"{name}.txt")
    for name in TEXTS:
        copy(Path("/usr/share/common-licenses") / name, folder / f"{name}.txt")


def pack(source, build, qt, folder):
    if folder.exists():
        shutil.rmtree(folder)
    programs = folder / "bin"
    for name in PROGRAMS + LIBRARIES:
        copy(build / "bin" / name, programs / name)
    for name in PLUGINS:
        copy(build / "plugins" / name, folder / "plugins" / name)
    strip(programs)
    strip(folder / "plugins")
    for name in QT_LIBRARIES:
        copy(qt / "bin" / f"{name}.dll", programs / f"{name}.dll")
    (programs / "qt.conf").write_text(QT_CONF, encoding="ascii")
    for name in QT_PLUGINS:
        copy(qt / "plugins" / name, folder / "qt" / "plugins" / name)
    for name in QML_MODULES:
        copy(qt / "qml" / name, folder / "qt" / "qml" / name)
    copy(source / "configurations", folder / "configurations")
    for name in ("CMakeLists.txt", "bundled_configurations.qrc", "schemas.qrc"):
        os.remove(folder / "configurations" / name)
    for path in sorted((build / "translations").glob("*.qm")):
        copy(path, folder / "translations" / path.name)
    for library in CONTRACT:
        for path in sorted((source / "framework" / library).glob("*.h")):
            copy(path, folder / "include" / library / path.name)
        copy(build / "lib" / f"lib{library}.dll.a", folder / "lib" / f"lib{library}.dll.a")
    copy(source / "docs", folder / "docs")
    for name in ("README.md", "CHANGELOG.md"):
        copy(source / name, folder / name)
    pack_licences(folder / "licences")


def main(arguments):
    if len(arguments) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    build, qt, folder = (Path(argument).resolve() for argument in arguments)
    try:
        pack(Path(__file__).resolve().parents[2], build, qt, folder)
    except (Failure, OSError, subprocess.CalledProcessError) as failure:
        print(f"pack: {failure}", file=sys.stderr)
        return 1
    size = sum(path.stat().st_size for path in folder.rglob("*") if path.is_file())
    print(f"pack: {folder.name}, {size // 1000000} MB")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
