"""Completion by the shells themselves, and the manual page."""

import os
import pty
import re
import select
import shutil
import struct
import subprocess
import fcntl
import termios
import time
import unittest

from harness import LIMIT, HostTest

COMMANDS = {
    "login",
    "verify",
    "whoami",
    "logout",
    "status",
    "upload",
    "albums",
    "media",
    "download",
    "sandbox",
    "config",
    "doctor",
    "completion",
    "help",
}
PLATFORMS = {"youtube", "tiktok", "douyin", "vimeo", "facebook", "flickr", "instagram", "twitch"}


class Completion(HostTest):
    def script(self, shell):
        result = self.run_program("completion", shell)
        self.assertEqual((result.code, result.err), (0, ""), result)
        path = self.folder / ("completion." + shell)
        path.write_text(result.out)
        return path

    def run_shell(self, *command):
        result = self.run_command([shutil.which(command[0]), *command[1:]], cwd=self.folder)
        self.assertEqual(result.code, 0, result)
        return result

    def by_bash(self, line):
        """What bash puts behind the line, as its completion function gives it."""
        words = line.split(" ")
        quoted = " ".join("'" + word + "'" for word in words)
        text = (
            f"source '{self.script('bash')}'; compopt() {{ :; }}; COMP_WORDS=({quoted}); "
            f"COMP_CWORD={len(words) - 1}; _mediatransfer; printf '%s\\n' \"${{COMPREPLY[@]}}\""
        )
        result = self.run_shell("bash", "--noprofile", "--norc", "-u", "-c", text)
        self.assertEqual(result.err, "")
        return set(result.out.split())

    def by_fish(self, line):
        text = f"source '{self.script('fish')}'; complete -C '{line}'"
        result = self.run_shell("fish", "--no-config", "-c", text)
        self.assertEqual(result.err, "")
        return {row.split("\t")[0] for row in result.out.splitlines()}

    def on_terminal(self, shell, preparation, keys, wanted):
        """Types the keys into a shell, and waits until all that is wanted stands on the screen."""
        master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 60, 200, 0, 0))
        env = {**self.env, "TERM": "xterm", "PS1": "READY> ", "HISTFILE": "/dev/null"}
        with subprocess.Popen(
            [shutil.which(shell[0]), *shell[1:]],
            stdin=slave,
            stdout=slave,
            stderr=slave,
            env=env,
            cwd=self.folder,
            start_new_session=True,
        ) as process:
            os.close(slave)
            self.addCleanup(os.close, master)
            try:
                os.write(master, preparation.encode() + b"; echo LOA''DED\n")
                self.read_until(master, lambda text: "LOADED" in text)
                os.write(master, keys.encode())
                return self.read_until(master, lambda text: all(word in text for word in wanted))
            finally:
                process.kill()
                process.wait(LIMIT)

    def read_until(self, terminal, condition):
        text = ""
        end = time.monotonic() + LIMIT
        while not condition(text):
            ready, _, _ = select.select([terminal], [], [], max(0, end - time.monotonic()))
            if not ready:
                raise AssertionError("waited in vain; there is " + repr(text))
            text += os.read(terminal, 65536).decode("utf-8", "replace")
        return text

    def assert_candidates(self, complete):
        self.assertEqual(complete("mediatransfer "), COMMANDS)
        self.assertEqual(complete("mediatransfer lo"), {"login", "logout"})
        self.assertEqual(complete("mediatransfer --cache-dir x --json u"), {"upload"})
        for command in ("login", "verify", "whoami", "logout", "upload"):
            self.assertEqual(complete(f"mediatransfer {command} "), PLATFORMS)
        self.assertEqual(complete("mediatransfer --sandbox login --timeout 5 tw"), {"twitch"})
        self.assertEqual(complete("mediatransfer media "), {"facebook", "flickr", "instagram"})
        self.assertEqual(complete("mediatransfer albums "), {"facebook"})
        self.assertEqual(complete("mediatransfer help dow"), {"download"})
        self.assertEqual(complete("mediatransfer completion "), {"bash", "zsh", "fish"})
        self.assertEqual(complete("mediatransfer --consent "), {"auto", "ask"})
        self.assertEqual(complete("mediatransfer config "), {"set", "unset", "show", "list"})
        self.assertIn("cloud-config", complete("mediatransfer config set "))
        self.assertIn("unlisted", complete("mediatransfer upload youtube --privacy "))
        self.assertEqual(complete("mediatransfer login youtube --tim"), {"--timeout"})
        options = complete("mediatransfer media --")
        self.assertLessEqual({"--album", "--download", "--jobs", "--json", "--sandbox"}, options)
        self.assertNotIn("--timeout", options)
        (self.folder / "a video.mp4").write_text("x")
        (self.folder / "a folder").mkdir()

    def test_bash(self):
        self.assert_candidates(self.by_bash)
        self.assertEqual(self.by_bash("mediatransfer --consent = a"), {"auto", "ask"})

    def test_bash_at_its_prompt(self):
        preparation = f"PS1='READY> '; bind 'set show-all-if-ambiguous on'; source '{self.script('bash')}'"
        shell = ("bash", "--noprofile", "--norc", "-i")
        self.on_terminal(shell, preparation, "mediatransfer verify y\t", ["mediatransfer verify youtube "])
        self.on_terminal(shell, preparation, "mediatransfer \t", COMMANDS)
        (self.folder / "a video.mp4").write_text("x")
        self.on_terminal(shell, preparation, "mediatransfer upload youtube a\t", ["a\\ video.mp4"])

    def test_zsh(self):
        preparation = (
            "autoload -Uz compinit; compinit -u -D; PS1='READY> '; LISTMAX=0; setopt autolist noalwayslastprompt; "
            f"source '{self.script('zsh')}'"
        )
        shell = ("zsh", "-f", "-i")
        for keys, wanted in (
            ("mediatransfer \t", COMMANDS),
            ("mediatransfer verify \t", PLATFORMS),
            ("mediatransfer verify y\t", ["youtube"]),
            ("mediatransfer --cache-dir x --json upload tw\t", ["twitch"]),
            ("mediatransfer media --\t", ["--album", "--download", "--jobs", "--sandbox"]),
            ("mediatransfer login youtube --tim\t", ["--timeout"]),
            ("mediatransfer --consent as\t", ["mediatransfer --consent ask"]),
            ("mediatransfer help dow\t", ["download"]),
            ("mediatransfer completion \t", ["bash", "zsh", "fish"]),
        ):
            with self.subTest(keys=keys):
                self.on_terminal(shell, preparation, keys, wanted)

    def test_fish(self):
        self.assert_candidates(self.by_fish)
        self.assertIn("a video.mp4", self.by_fish("mediatransfer upload youtube a"))

    def test_scripts_are_whole(self):
        for shell in ("bash", "zsh", "fish"):
            self.run_shell(shell, "-n", self.script(shell))

    def test_unknown_shell(self):
        result = self.run_program("completion", "bsh")
        self.assertEqual(result.code, 2, result)
        self.assert_one_line(result.err, "bsh", "did you mean bash?")


class Manual(HostTest):
    def test_names_all_that_the_help_names(self):
        page = self.run_program("manual")
        self.assertEqual((page.code, page.err), (0, ""), page)
        path = self.folder / "mediatransfer.1"
        path.write_text(page.out)
        shown = self.run_command(["groff", "-man", "-ww", "-Tutf8", "-P-cbou", path])
        self.assertEqual((shown.code, shown.err), (0, ""), shown)
        for command in COMMANDS - {"help"}:
            text = self.run_program(command, "--help").out
            self.assertIn(f"mediatransfer {command}", shown.out)
            for option in re.findall(r"^  (?:-\w, )?(--[\w-]+)", text, re.MULTILINE):
                self.assertIn(option, shown.out, command)
        self.assertNotIn("\\", shown.out)

    def test_pleases_those_who_check_manuals(self):
        path = self.folder / "mediatransfer.1"
        path.write_text(self.run_program("manual").out)
        lint = self.run_command(["mandoc", "-Tlint", path])
        self.assertEqual((lint.code, lint.out, lint.err), (0, "", ""), lint)


class Help(HostTest):
    def test_fits_80_columns_and_begins_with_examples(self):
        for command in ("", *sorted(COMMANDS - {"help"})):
            text = self.run_program(*([command] if command else []), "--help").out
            lines = text.splitlines()
            self.assertEqual([line for line in lines if len(line) > 80], [], command)
            self.assertEqual(lines[2], "Examples:", command)
            self.assertLess(lines.index("Examples:"), next(i for i, line in enumerate(lines) if "Usage:" in line))
            self.assertIn("  --cloud-config FILE", text)
            self.assertIn("  --sandbox", text)

    def test_examples_are_calls_that_the_program_understands(self):
        for command in ("", *sorted(COMMANDS - {"help"})):
            text = self.run_program(*([command] if command else []), "--help").out
            calls = re.findall(r"^  mediatransfer (.*)$", text, re.MULTILINE)
            self.assertTrue(calls, command)
            for call in calls:
                words = re.split(r" [|>] ", call)[0].split()
                result = self.run_program(*words, "--help")
                self.assertEqual((result.code, result.err), (0, ""), call)


if __name__ == "__main__":
    unittest.main()
