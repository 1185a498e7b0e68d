"""The library runs on four foundation libraries that somebody else wrote: examples/own_foundation, built against what is
installed. And the document's table of what such libraries have to bring is true."""

import os
import pathlib
import shutil
import subprocess
import unittest

import foundation_imports

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
BUILD = pathlib.Path(os.environ["KBL_BUILD"])
WORK = pathlib.Path(os.environ["KBL_WORK"])
SANITIZE = os.environ.get("KBL_SANITIZE", "")
LIMIT = 240


def run(*command, **options):
    done = subprocess.run(
        [str(part) for part in command], capture_output=True, text=True, timeout=LIMIT, check=False, **options
    )
    if done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
    return done


class OwnFoundation(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        shutil.rmtree(WORK, ignore_errors=True)
        cls.prefix = WORK / "prefix"
        cls.own = WORK / "own"
        flags = "-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror"
        if SANITIZE:
            flags += " -fsanitize=" + SANITIZE
        run("cmake", "--install", BUILD, "--prefix", cls.prefix)
        run(
            "cmake",
            *("-S", cls.prefix / "share/doc/ExternlMediaTransfer/examples/own_foundation", "-B", cls.own),
            *("-G", os.environ["KBL_GENERATOR"], f"-DCMAKE_CXX_COMPILER={os.environ['KBL_COMPILER']}"),
            *(f"-DCMAKE_PREFIX_PATH={cls.prefix}", f"-DCMAKE_CXX_FLAGS={flags}"),
        )
        run("cmake", "--build", cls.own)

    def host(self, **variables):
        folder = WORK / "data"
        folder.mkdir(exist_ok=True)
        done = run(self.own / "own_host", folder, env={**os.environ, **variables})
        return done.stdout.splitlines(), done.stderr

    def test_signs_in_and_uploads_on_all_four(self):
        lines, errors = self.host()
        self.assertEqual(lines[0], "signed in")
        self.assertRegex(lines[1], r"\Auploaded https://www\.youtube\.com/watch\?v=")
        self.assertEqual(lines[2], "sent by own-foundation/1.0")
        self.assertEqual((lines[3], lines[5]), ("signed in", lines[2]), "TikTok, by a form")
        self.assertEqual(len(lines), 6)
        self.assertEqual(errors, "", "nothing went wrong")
        cache = WORK / "data/cache/ema_youtube_cache.db"
        self.assertTrue(cache.read_text().startswith("own settings 1\n"))
        self.assertEqual(cache.stat().st_mode & 0o077, 0)

        # The login is read back, by our own cipher and out of our own file; the library's lines reach our own logger.
        lines, errors = self.host(OWN_LOG="1")
        self.assertEqual(lines[0], "known: Ada Quill")
        self.assertRegex(errors, r"own log 4 \w+\.cpp:\d+ .*\n")

    def test_no_other_foundation_is_loaded(self):
        loaded = [line.split() for line in run("ldd", self.own / "own_host").stdout.splitlines()]
        paths = {line[0]: line[2] for line in loaded if len(line) > 2}
        for library in foundation_imports.LIBRARIES:
            self.assertEqual(pathlib.Path(paths[f"lib{library}.so.1"]).parent.resolve(), self.own.resolve())
        transfer = pathlib.Path(paths["libExternlMediaTransfer.so.1"]).parent.resolve()
        self.assertEqual(transfer, (self.prefix / "lib").resolve())


class Document(unittest.TestCase):
    def test_lists_what_is_imported(self):
        document = (ROOT / "docs/own-foundation.md").read_text()
        self.assertIn("\n" + foundation_imports.table(BUILD / "lib"), document)


if __name__ == "__main__":
    unittest.main()
