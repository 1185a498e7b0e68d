"""The examples as somebody else would build them: against what is installed, by CMake and by pkg-config, and in a build that
took the library's sources in. Each of them runs against the program's stand-in servers."""

import os
import pathlib
import shutil
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["KBL_BUILD"])
WORK = pathlib.Path(os.environ["KBL_WORK"])
PREFIX = WORK / "prefix"
SOURCES = PREFIX / "share/doc/ExternlMediaTransfer/examples"
LIMIT = 540

os.environ["KBL_E2E_BIN"] = str(PREFIX / "bin")
os.environ["KBL_E2E_MEDIA"] = str(ROOT / "tests/media")
sys.path.insert(0, str(ROOT / "tests/e2e"))
from harness import SECRET, HostTest, sha256_of  # noqa: E402  (it reads what was set above)


def attempt(*command, **options):
    return subprocess.run(
        [str(part) for part in command],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        timeout=LIMIT,
        check=False,
        **options,
    )


def run(*command, **options):
    done = attempt(*command, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout


def configured(source, build, *settings):
    return attempt("cmake", "-S", source, "-B", build, "-G", os.environ["KBL_GENERATOR"], *settings)


def setUpModule():
    shutil.rmtree(WORK, ignore_errors=True)
    WORK.mkdir(parents=True)
    run("cmake", "--install", BUILD, "--prefix", PREFIX)


class Examples(HostTest):
    def assert_hosts_work(self, folder):
        """All four, on servers of their own."""
        servers = self.start_servers()
        video = self.video(3 * 1024 * 1024)
        picture = self.folder / "picture"
        for code, name, *arguments in (
            (0, "minimal_login", servers.config, SECRET),
            (0, "minimal_upload", servers.config, SECRET, video),
            (0, "minimal_list", servers.config, "instagram-token-ada", picture),
            (1, "own_surroundings", servers.url, self.folder, SECRET),
        ):
            ended = self.run_command([folder / name, *arguments])
            self.assertEqual(ended.code, code, (name, ended))
        self.assertEqual(ended.out.splitlines()[0], "nobody", ended)
        self.assertEqual(servers.uploads()[0]["sha256"], sha256_of(video))
        self.assertGreater(picture.stat().st_size, 0)

    def build_against_package(self, compiler, standard):
        build = WORK / f"{compiler}-{standard}"
        done = configured(
            SOURCES,
            build,
            f"-DCMAKE_PREFIX_PATH={PREFIX}",
            f"-DCMAKE_CXX_COMPILER={compiler}",
            f"-DCMAKE_CXX_STANDARD={standard}",
            "-DCMAKE_CXX_EXTENSIONS=OFF",
            "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Wpedantic -Werror",
        )
        self.assertEqual(done.returncode, 0, done.stdout)
        run("cmake", "--build", build)
        self.assert_hosts_work(build)

    def test_by_find_package_as_cpp17_with_gcc(self):
        self.build_against_package("g++", 17)

    def test_by_find_package_as_cpp20_with_clang(self):
        self.build_against_package("clang++", 20)

    def test_by_pkg_config(self):
        servers = self.start_servers()
        environment = {**os.environ, "PKG_CONFIG_PATH": str(PREFIX / "lib/pkgconfig")}
        options = run("pkg-config", "--cflags", "--libs", "ExternlMediaTransfer", env=environment).split()
        for compiler, standard in (("clang++", 17), ("g++", 20)):
            host = WORK / f"list-{compiler}"
            run(
                *(compiler, f"-std=c++{standard}", SOURCES / "minimal_list.cpp", "-o", host, *options),
                f"-Wl,-rpath,{PREFIX}/lib",
            )
            picture = self.folder / compiler
            listed = self.run_command([host, servers.config, "instagram-token-ada", picture])
            self.assertEqual(listed.code, 0, listed)
            self.assertGreater(picture.stat().st_size, 0)

    def test_in_a_build_that_took_our_sources_in(self):
        """With the settings of our own build, so that a compiler cache has what that compiled."""
        build = WORK / "outer"
        done = configured(
            ROOT / "tests/install/outer",
            build,
            f"-DOURS={ROOT}",
            f"-DCMAKE_CXX_COMPILER={os.environ['KBL_COMPILER']}",
            f"-DCMAKE_BUILD_TYPE={os.environ['KBL_BUILD_TYPE']}",
            "-DKBL_WARNINGS_AS_ERRORS=ON",
        )
        self.assertEqual(done.returncode, 0, done.stdout)
        run("cmake", "--build", build)
        for left_out in ("libMediaTransferSandbox.a", "libExternlMediaTransferStatic.a", "mediatransfer"):
            self.assertEqual(list(build.rglob(left_out)), [])
        run(build / "outer_bin/outer")
        self.assert_hosts_work(build / "outer_bin")

    def test_the_home_that_was_made_where_the_program_is(self):
        without = self.run_program("--sandbox", "login", "vimeo")
        self.assertEqual(without.code, 1, without)
        self.assertIn("needs a Python home", without.err)
        home = PREFIX / "lib/ExternlMediaTransfer/python_home"
        self.addCleanup(shutil.rmtree, home)
        run(PREFIX / "share/ExternlMediaTransfer/tools/make_python_home", home)
        login = self.run_program("--sandbox", "login", "vimeo")
        self.assertEqual(login.code, 0, login)


class Package(unittest.TestCase):
    """What find_package says to a project that asks for what is not there."""

    def asked(self, request):
        source = WORK / "asking"
        shutil.rmtree(source, ignore_errors=True)
        source.mkdir()
        (source / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.25)\nproject(Asking LANGUAGES CXX)\n"
            f"find_package(ExternlMediaTransfer {request} REQUIRED)\n"
        )
        done = configured(source, source / "build", f"-DCMAKE_PREFIX_PATH={PREFIX}")
        return done.returncode, " ".join(done.stdout.split())

    def test_a_part_that_does_not_exist(self):
        code, said = self.asked("1.0 COMPONENTS Host Windows")
        self.assertNotEqual(code, 0)
        self.assertIn(
            "It has no component Windows; its components are Host, ExternlMediaTransfer, BsNet, KblUtils, KblLogger, "
            "BsCloudConfig, Sandbox.",
            said,
        )

    def test_versions(self):
        version = os.environ["KBL_VERSION"]
        major, minor, patch = map(int, version.split("."))
        for wanted in (f"{major + 1}.0", f"{major}.{minor + 1}", f"{major - 1}.9", f"{major}.{minor}.{patch + 1}"):
            code, said = self.asked(wanted)
            self.assertNotEqual(code, 0, wanted)
            self.assertIn(f'compatible with requested version "{wanted}"', said)
            self.assertIn(f"ExternlMediaTransferConfig.cmake, version: {version}", said)
        self.assertEqual(self.asked(f"{version} COMPONENTS Host Sandbox BsNet")[0], 0)

    def test_all_parts_have_one_version(self):
        version = os.environ["KBL_VERSION"]
        self.assertEqual(run(PREFIX / "bin/mediatransfer", "--version").strip(), f"mediatransfer {version}")
        for path, text in (
            ("include/ExternlMediaTransfer/Version.h", f'#define KBL_TRANSFER_VERSION "{version}"\n'),
            ("lib/pkgconfig/ExternlMediaTransfer.pc", f"\nVersion: {version}\n"),
            ("share/ExternlMediaTransfer/python_home/pysocialnetwork/version.py", f'VERSION = "{version}"\n'),
            (
                "lib/cmake/ExternlMediaTransfer/ExternlMediaTransferConfigVersion.cmake",
                f'(PACKAGE_VERSION "{version}")\n',
            ),
            ("share/doc/ExternlMediaTransfer/CHANGELOG.md", f"\n## [{version}]"),
        ):
            self.assertIn(text, (PREFIX / path).read_text(), path)
        major = version.split(".", maxsplit=1)[0]
        for name in ("ExternlMediaTransfer", "BsNet", "KblUtils", "KblLogger", "BsCloudConfig"):
            library = PREFIX / f"lib/lib{name}.so.{version}"
            self.assertIn(f"[lib{name}.so.{major}]", run("readelf", "-d", library))


if __name__ == "__main__":
    unittest.main()
