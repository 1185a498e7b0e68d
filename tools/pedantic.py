"""Has clang look at C++ sources as the standard's: no extension of GNU's may stand in them. Other compilers than those
that build here then have less to refuse. Makes no code; tools/pedantic.sh sees to what this needs.

    python3 tools/pedantic.py [--tests] [--windows] [FILE]...

Looks at all sources but the tests, those of benchmarks and fuzz targets among them, with --tests at the tests as well; and, where
build/mingw is, with Windows' headers at those that have parts for Windows or include a header that has, tests or not. With --windows
at these alone. Where files are named, at these. What is as it was when it was found good is not looked at again.
"""

import argparse
import functools
import json
import os
import re
import shlex
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FOLDER = os.path.join(ROOT, "build", "pedantic")
WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wgnu", "-Werror"]
# Options that tell clang where the sources' own headers are and what is defined; all others are the builder's affair.
TAKEN = ("-D", "-I", "-std=")

# What most sources include, read once.
COMMON = """#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <variant>
#include <vector>
"""
TESTS = COMMON + "#include <gmock/gmock.h>\n#include <gtest/gtest.h>\n"


# Whose part for Windows is a macro's other text, and which everything includes.
HEADERS_OF_ALL = {"include/KblUtils/Export.h"}


def main():
    parser = argparse.ArgumentParser(prog="pedantic.py")
    parser.add_argument("--tests", action="store_true")
    parser.add_argument("--windows", action="store_true")
    parser.add_argument("files", metavar="FILE", nargs="*")
    arguments = parser.parse_args()
    wanted = {os.path.abspath(file) for file in arguments.files}
    mingw = os.path.join(ROOT, "build", "mingw")
    looks = []
    if not arguments.windows:
        looks.append(
            ("linux", commands(os.path.join(FOLDER, "sources"), wanted, lambda path: is_wanted(path, arguments)))
        )
    if arguments.windows or os.path.exists(os.path.join(mingw, "compile_commands.json")):
        looks.append(("windows", commands(mingw, wanted, is_for_windows)))
    if not any(rows for _, rows in looks):
        sys.exit("pedantic: no such source")
    failed = False
    for system, rows in looks:
        folder = os.path.join(FOLDER, system)
        os.makedirs(folder, exist_ok=True)
        write_ninja(folder, rows, system == "windows")
        failed = subprocess.run(["ninja", "-C", folder, "--quiet", "-k", "0"]).returncode != 0 or failed
    sys.exit(failed)


def is_wanted(path, arguments):
    with open(os.path.join(ROOT, path), encoding="utf-8") as file:
        if '.moc"' in file.read():
            return False  # Qt writes what it includes when it is built
    return arguments.tests or bool(arguments.files) or not path.startswith("tests" + os.sep)


def commands(build, wanted, is_chosen):
    """Of each source its path and the options that matter, once each."""
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        database = json.load(file)
    seen = {}
    for entry in database:
        for source in sources_of(entry["file"]):
            path = os.path.relpath(source, ROOT)
            if path.startswith("build" + os.sep) or not path.endswith(".cpp") or (wanted and source not in wanted):
                continue
            if path not in seen and is_chosen(path):
                seen[path] = options(shlex.split(entry["command"]), entry["directory"])
    return sorted(seen.items())


def sources_of(file):
    """The source itself, or those that CMake has put together in it."""
    if not os.path.basename(file).startswith("unity_"):
        return [file]
    with open(file, encoding="utf-8") as text:
        return re.findall(r'^#include "(.*)"', text.read(), re.MULTILINE)


@functools.lru_cache(maxsize=None)
def is_for_windows(path):
    """Whether the source, or a part of it or of a header of ours that it includes, is compiled there alone."""
    if "Windows" in os.path.basename(path):
        return True
    with open(os.path.join(ROOT, path), encoding="utf-8") as file:
        text = file.read()
    if "_WIN32" in text and path not in HEADERS_OF_ALL:
        return True
    return any(is_for_windows(header) for header in headers_of(path, text))


def headers_of(path, text):
    """Our own headers that a text includes, each from where the builds look for it."""
    folders = [os.path.dirname(path), "", "include", "src", "tests", os.path.join("apps", "mediatransfer")]
    for name in re.findall(r'^#include ["<](.*)[">]', text, re.MULTILINE):
        found = [os.path.join(folder, name) for folder in folders if os.path.exists(os.path.join(ROOT, folder, name))]
        if found:
            yield os.path.normpath(found[0])


def options(words, directory):
    taken = []
    for place, word in enumerate(words):
        if word.startswith(TAKEN):
            taken.append(word)
        elif word == "-isystem":
            taken += [word, os.path.join(directory, words[place + 1])]
    return taken


def standard_headers():
    """Where the cross-compiler has the headers of C++, which clang doesn't know of."""
    told = subprocess.run(
        ["x86_64-w64-mingw32-g++-posix", "-E", "-x", "c++", "-v", os.devnull],
        stdout=subprocess.DEVNULL,
        stderr=subprocess.PIPE,
        check=True,
        universal_newlines=True,
    ).stderr.splitlines()
    folders = [line.strip() for line in told if line.startswith(" ") and "/c++" in line and " -" not in line]
    return [word for folder in folders for word in ("-isystem", folder)]


def is_with_tests(chosen):
    return any(word.startswith("-DGTEST_") for word in chosen)


def meant_for_all(chosen):
    """The options that every source has: those for the frame of the tests and for the system's version, and where their headers are."""
    taken = [word for word in chosen if word.startswith(("-DGTEST_", "-D_WIN32"))]
    for place, word in enumerate(chosen):
        if word == "-isystem" and "mediatransfer-windows" in chosen[place + 1]:
            taken += [word, chosen[place + 1]]
    return taken


def write_ninja(folder, rows, windows):
    compiler = ["clang++-16"]
    if windows:
        compiler += ["--target=x86_64-w64-mingw32", "-nostdinc++", *standard_headers()]
        # Some classes have fields that the other systems' sources use.
        compiler.append("-Wno-unused-private-field")
    lines = [
        "rule check",
        "  command = %s $options $precompiled -fsyntax-only -MD -MF $out.d -MT $out $in && touch $out"
        % shlex.join(compiler[:1] + WARNINGS + compiler[1:]),
        "  depfile = $out.d",
        "  description = $in",
        "rule precompile",
        "  command = %s $options -x c++-header -MD -MF $out.d -MT $out -o $out $in" % shlex.join(compiler + WARNINGS),
        "  depfile = $out.d",
    ]
    for kind, content in (("common", COMMON), ("tests", TESTS)):
        header = os.path.join(folder, kind + ".h")
        if not os.path.exists(header) or open(header, encoding="utf-8").read() != content:
            with open(header, "w", encoding="utf-8") as file:
                file.write(content)
        with_it = [chosen for _, chosen in rows if is_with_tests(chosen) == (kind == "tests")]
        if with_it:
            lines += ["build %s.pch: precompile %s" % (kind, header)]
            lines += ["  options = " + shlex.join(["-std=c++20", *meant_for_all(with_it[0])])]
    for path, chosen in rows:
        kind = "tests" if is_with_tests(chosen) else "common"
        escaped = shlex.join(chosen).replace("$", "$$")
        lines += ["build %s.good: check %s | %s.pch" % (path.replace(" ", "_"), os.path.join(ROOT, path), kind)]
        lines += ["  options = " + escaped]
        if "-std=c++20" in chosen:
            lines += ["  precompiled = -include-pch %s.pch" % kind]
    with open(os.path.join(folder, "build.ninja"), "w", encoding="utf-8") as file:
        file.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
