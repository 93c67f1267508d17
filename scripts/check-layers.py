#!/usr/bin/env python3
"""Checks that each folder under src/ uses only the folders below it.

Layers, lowest first: logging, platform, iconset and announcementfeed (neither uses the other), ui,
the window folders (mainwindow, previews, announcements: none of them uses another), app. Checked:

- every #include "folder/..." of a source file, and every iconfoundry::folder that a folder's
  CMakeLists.txt links, names a lower layer (or the folder itself);
- iconset, announcementfeed and the layers below them include no Qt Widgets header and link no Qt
  Widgets module, not even through what they link, so the command-line front end and the iconset
  tests run without one;
- logging includes no Qt header and links no Qt module at all;
- with --build DIR: the built iconset test executables are not linked against a Qt Widgets
  library and do not load one.

Python's standard library only. Prints one line per finding; exits 1 when there is any.
"""

import argparse
import glob
import os
import re
import subprocess
import sys

LAYERS = {
    "logging": 0,
    "platform": 1,
    "iconset": 2,
    "announcementfeed": 2,
    "ui": 3,
    "mainwindow": 4,
    "previews": 4,
    "announcements": 4,
    "app": 5,
}
WIDGET_FREE_UP_TO = LAYERS["iconset"]
QT_FREE = {"logging"}
SOURCE_SUFFIXES = (".h", ".hpp", ".cpp", ".cc", ".ui")

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)
QT_HEADER = re.compile(r"^(Q[A-Z]\w*|Qt\w*(/.*)?|q\w+\.h)$")
CMAKE_LINK = re.compile(r"\btarget_link_libraries\s*\(([^)]*)\)", re.DOTALL)
PROJECT_TARGET = re.compile(r"\biconfoundry::(\w+)")
QT_TARGET = re.compile(r"\bQt6?::(\w+)")


def qt_widget_headers():
    """Every header name of the installed Qt Widgets modules (QWidget, qwidget.h, ...)."""
    roots = os.environ.get("QT_INCLUDE_DIRS", "").split(os.pathsep)
    roots += glob.glob("/usr/include/*/qt6") + ["/usr/include/qt6"]
    names, modules = set(), set()
    for root in filter(os.path.isdir, roots):
        for module in glob.glob(os.path.join(root, "Qt*Widgets")):
            modules.add(os.path.basename(module))
            names.update(os.listdir(module))
    return names, modules


def is_widget_header(name, widget_names, widget_modules):
    module, _, header = name.partition("/")
    if header:
        return module in widget_modules or module.endswith("Widgets")
    return name in widget_names or name in widget_modules


def layer_of(folder):
    return LAYERS.get(folder)


def allowed(user, used):
    if user == used:
        return True
    if layer_of(user) is None or layer_of(used) is None:
        return False
    return layer_of(used) < layer_of(user)


def check_includes(src, problems, widget_names, widget_modules):
    for folder in sorted(os.listdir(src)):
        folder_path = os.path.join(src, folder)
        if not os.path.isdir(folder_path):
            continue
        if layer_of(folder) is None:
            problems.append(f"src/{folder}: not in the layer order; add it to {os.path.basename(__file__)}")
            continue
        for directory, _, files in os.walk(folder_path):
            for name in sorted(files):
                if not name.endswith(SOURCE_SUFFIXES):
                    continue
                path = os.path.join(directory, name)
                shown = os.path.relpath(path, os.path.dirname(src))
                with open(path, encoding="utf-8", errors="replace") as f:
                    text = f.read()
                if name.endswith(".ui"):
                    check_ui_file(folder, shown, text, problems)
                    continue
                for match in INCLUDE.finditer(text):
                    check_include(folder, directory, src, shown, text, match, problems, widget_names,
                                  widget_modules)


def check_include(folder, directory, src, shown, text, match, problems, widget_names, widget_modules):
    quote, name = match.group(1), match.group(2)
    line = text.count("\n", 0, match.start()) + 1
    where = f"{shown}:{line}"
    if quote == '"':
        # A name relative to the file wins, as for the compiler; then one relative to src/.
        beside = os.path.normpath(os.path.join(directory, name))
        target = beside if os.path.exists(beside) else os.path.normpath(os.path.join(src, name))
        relative = os.path.relpath(target, src)
        if relative.startswith(".."):
            return
        used = relative.split(os.sep)[0] if os.sep in relative else None
        if used and os.path.isdir(os.path.join(src, used)) and not allowed(folder, used):
            problems.append(f'{where}: {folder} includes "{name}" from {used}, which is not below it')
        return
    if folder in QT_FREE and QT_HEADER.match(name):
        problems.append(f"{where}: {folder} includes the Qt header <{name}>; it uses no Qt")
    elif layer_of(folder) <= WIDGET_FREE_UP_TO and is_widget_header(name, widget_names, widget_modules):
        problems.append(f"{where}: {folder} includes the Qt Widgets header <{name}>")


def check_ui_file(folder, shown, text, problems):
    if layer_of(folder) <= WIDGET_FREE_UP_TO:
        problems.append(f"{shown}: {folder} holds a widget form")


def cmake_links(src):
    """folder -> (project folders linked, Qt modules linked), read from each CMakeLists.txt."""
    links = {}
    for folder in sorted(os.listdir(src)):
        path = os.path.join(src, folder, "CMakeLists.txt")
        if not os.path.isfile(path):
            continue
        with open(path, encoding="utf-8") as f:
            text = re.sub(r"#[^\n]*", "", f.read())
        project, qt = set(), set()
        for call in CMAKE_LINK.findall(text):
            project.update(PROJECT_TARGET.findall(call))
            qt.update(QT_TARGET.findall(call))
        links[folder] = (project, qt)
    return links


def check_cmake(src, problems):
    links = cmake_links(src)
    for folder, (project, qt) in links.items():
        for used in sorted(project):
            if not allowed(folder, used):
                problems.append(f"src/{folder}/CMakeLists.txt: {folder} links iconfoundry::{used}, "
                                f"which is not below it")
        if folder in QT_FREE and qt:
            problems.append(f"src/{folder}/CMakeLists.txt: {folder} links Qt ({', '.join(sorted(qt))})")
    # Static libraries hand every link, PRIVATE ones too, on to whatever links them.
    for folder in links:
        if layer_of(folder) is None or layer_of(folder) > WIDGET_FREE_UP_TO:
            continue
        seen, path_to = set(), {folder: [folder]}
        pending = [folder]
        while pending:
            current = pending.pop()
            if current in seen or current not in links:
                continue
            seen.add(current)
            project, qt = links[current]
            for module in sorted(m for m in qt if m.endswith("Widgets")):
                chain = " -> ".join(path_to[current] + [f"Qt6::{module}"])
                problems.append(f"src/{folder}: links Qt Widgets through {chain}")
            for used in project:
                path_to.setdefault(used, path_to[current] + [used])
                pending.append(used)


def link_command(build, target):
    """The command that links bin/target, from the Ninja or the Makefile build; None if unknown."""
    if os.path.isfile(os.path.join(build, "build.ninja")):
        try:
            commands = subprocess.run(["ninja", "-C", build, "-t", "commands", f"bin/{target}"],
                                      capture_output=True, text=True, check=True).stdout
        except (OSError, subprocess.CalledProcessError):
            return None
        return commands.strip().splitlines()[-1] if commands.strip() else None
    for path in glob.glob(os.path.join(build, "**", f"{target}.dir", "link.txt"), recursive=True):
        with open(path, encoding="utf-8") as f:
            return f.read()
    return None


def check_binaries(build, problems):
    """The iconset tests, as built: neither linked against nor loading a Qt Widgets library. The
    linker drops a library nothing uses (--as-needed), so the link line is checked as well as
    what the executable loads."""
    tests = sorted(glob.glob(os.path.join(build, "bin", "iconset_tst_*")))
    if not tests:
        problems.append(f"{build}: no iconset test executables in bin/ to check")
    widget_library = re.compile(r"libQt\d*\w*Widgets[\w.]*")
    for path in tests:
        shown = os.path.relpath(path, build)
        try:
            dynamic = subprocess.run(["readelf", "-d", path], capture_output=True, text=True,
                                     check=True).stdout
        except (OSError, subprocess.CalledProcessError) as error:
            problems.append(f"{shown}: cannot read its dynamic section ({error})")
            continue
        needed = re.findall(r"\(NEEDED\)\s+Shared library: \[([^\]]+)\]", dynamic)
        loaded = sorted({lib for lib in needed if widget_library.match(lib)})
        if loaded:
            problems.append(f"{shown}: loads {', '.join(loaded)}")
        command = link_command(build, os.path.basename(path))
        if command is None:
            problems.append(f"{shown}: its link command was not found in {build}")
            continue
        linked = sorted(set(widget_library.findall(command)) | set(re.findall(r"Qt6?::\w*Widgets", command)))
        if linked:
            problems.append(f"{shown}: is linked against {', '.join(linked)}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--source", default=os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."),
                        help="repository root (default: the one holding this script)")
    parser.add_argument("--build", help="a build folder whose iconset tests to check as well")
    args = parser.parse_args()

    src = os.path.join(os.path.abspath(args.source), "src")
    widget_names, widget_modules = qt_widget_headers()
    problems = []
    if not widget_names:
        problems.append("no Qt Widgets headers found to check against (set QT_INCLUDE_DIRS)")
    check_includes(src, problems, widget_names, widget_modules)
    check_cmake(src, problems)
    if args.build:
        check_binaries(os.path.abspath(args.build), problems)

    for problem in problems:
        print(f"check-layers: {problem}")
    if problems:
        print(f"check-layers: {len(problems)} finding(s)")
        return 1
    print("check-layers: every folder uses only the folders below it")
    return 0


if __name__ == "__main__":
    sys.exit(main())
