"""Has clang look at C++ sources as the standard's: no extension of GNU's may stand in them. Other compilers than those
that build here then have less to refuse. Makes no code; tools/pedantic.sh sees to what this needs.

    python3 tools/pedantic.py [--tests|--windows] [FILE]...

Looks at all sources that build/release is made of but the tests, with --tests at these as well; or at those named. With
--windows at the ones with parts for Windows alone, as build/mingw has them. What is as it was when it was found good is not looked at
again.
"""

import argparse
import json
import os
import shlex
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
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


def main():
    parser = argparse.ArgumentParser(prog="pedantic.py")
    parser.add_argument("--tests", action="store_true")
    parser.add_argument("--windows", action="store_true")
    parser.add_argument("files", metavar="FILE", nargs="*")
    arguments = parser.parse_args()
    build = os.path.join(ROOT, "build", "mingw" if arguments.windows else "release")
    folder = os.path.join(ROOT, "build", "pedantic", "windows" if arguments.windows else "linux")
    os.makedirs(folder, exist_ok=True)
    rows = commands(build, arguments, {os.path.abspath(file) for file in arguments.files})
    if not rows:
        sys.exit("pedantic: no such source in %s" % build)
    write_ninja(folder, rows, arguments.windows)
    sys.exit(subprocess.run(["ninja", "-C", folder, "--quiet", "-k", "0"]).returncode)


def commands(build, arguments, wanted):
    """Of each source its file and the options that matter, once each."""
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        database = json.load(file)
    seen = {}
    for entry in database:
        path = os.path.relpath(entry["file"], ROOT)
        if path.startswith("build" + os.sep) or not path.endswith(".cpp") or (wanted and entry["file"] not in wanted):
            continue
        if arguments.windows and not is_for_windows(os.path.join(ROOT, path)):
            continue
        if not (arguments.tests or wanted) and path.startswith("tests" + os.sep):
            continue
        seen.setdefault(path, options(shlex.split(entry["command"]), entry["directory"]))
    return sorted(seen.items())


def is_for_windows(path):
    """Whether the source, or a part of it, is compiled there alone."""
    if "Windows" in os.path.basename(path):
        return True
    with open(path, encoding="utf-8") as file:
        return "_WIN32" in file.read()


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
        if kind == "common" or not windows:
            lines += ["build %s.pch: precompile %s" % (kind, header)]
            lines += ["  options = -std=c++20 %s" % ("-DGTEST_HAS_PTHREAD=1" if kind == "tests" else "")]
    for path, chosen in rows:
        with_tests = "-DGTEST_HAS_PTHREAD=1" in chosen
        kind = "tests" if with_tests else "common"
        escaped = shlex.join(chosen).replace("$", "$$")
        lines += ["build %s.good: check %s | %s.pch" % (path.replace(" ", "_"), os.path.join(ROOT, path), kind)]
        lines += ["  options = " + escaped]
        if "-std=c++20" in chosen and not windows:
            lines += ["  precompiled = -include-pch %s.pch" % kind]
    with open(os.path.join(folder, "build.ninja"), "w", encoding="utf-8") as file:
        file.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
