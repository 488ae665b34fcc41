#!/usr/bin/env python3
"""Installs the built programs into a folder and checks what lies there against them."""
import os
import pathlib
import pty
import re
import select
import shutil
import subprocess
import tempfile
import unittest

from harness import BUILD, PATIENCE


def output(*command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, timeout=PATIENCE, **options).stdout


def names(pattern, text):
    return set(re.findall(pattern, text, re.MULTILINE))


class PackagingTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        home = cls.enterClassContext(tempfile.TemporaryDirectory())
        cls.prefix = pathlib.Path(home) / "usr"
        output("cmake", "--install", BUILD, "--prefix", cls.prefix)
        cls.environment = dict(os.environ, PATH=f"{cls.prefix}/bin:{os.environ['PATH']}", HOME=home,
                               XDG_RUNTIME_DIR=home, TERM="dumb", LC_ALL="C.UTF-8")
        cls.helps = {}  # the text of --help by words of the command line
        waiting = [("ZQMHelper",), ("zephlon",)]
        while waiting:
            words = waiting.pop()
            cls.helps[words] = output(cls.prefix / "bin" / words[0], *words[1:], "--help")
            waiting += [(*words, name) for name in cls.subcommands(words)]

    @classmethod
    def subcommands(cls, words):
        return names(r"^  (\w+)", cls.helps[words].partition("\nSubcommands:\n")[2].partition("\n\n")[0])

    def options(self, words):
        return names(r"^  (?:-\w,)?(--[a-z-]+)", self.helps[words])

    def test_manual_pages_name_every_command_and_option_and_no_other(self):
        for program in ("ZQMHelper", "zephlon"):
            page = (self.prefix / f"share/man/man1/{program}.1").read_text()
            general, *sections = re.split(r"^\.S[sh] (?=[a-z])", page, flags=re.MULTILINE)
            self.assertEqual(names(r"(?:^\.It|,) Fl (-[a-z-]+)", general),
                             {option[1:] for option in self.options((program,))}, program)
            self.assertEqual({section.split()[0] for section in sections}, self.subcommands((program,)))
            for section in sections:
                section = section.partition("\n.Sh ")[0]
                words = (program, section.split()[0])
                options = set().union(*(self.options(other) for other in self.helps if other[:2] == words)) - {"--help"}
                self.assertEqual(names(r"\bFl (-[a-z-]+)", section), {option[1:] for option in options}, words)
                self.assertEqual(names(r"^\.It Cm (\w+)", section), self.subcommands(words), words)
                keys = names(r"^  (\w+) \S+$", self.helps[words].partition("\nKeys:\n")[2])
                self.assertEqual(names(r"^\.It Ic (\w+)", section), keys, words)

    def completions(self, shell, words):
        share = self.prefix / "share"
        if shell == "bash":
            script = 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _zephlon "$1" "${!#}"; ' \
                     'printf "%s\\n" "${COMPREPLY[@]}"'
            command = ("bash", "-c", script, "bash", share / "bash-completion/completions" / words[0], *words)
        else:
            command = ("fish", "--no-config", "-c", 'source $argv[1]; complete -C "$argv[2]"',
                       share / f"fish/vendor_completions.d/{words[0]}.fish", " ".join(words))
        return {line.partition("\t")[0] for line in output(*command, env=self.environment).splitlines()}

    def test_completions_offer_what_the_programs_know(self):
        for shell in filter(shutil.which, ("bash", "fish")):
            # Of the whole program's options those that take a value hold everywhere.
            expected = {(*words, "--"): self.options(words) | names(r"^  (--[a-z-]+) \S", self.helps[words[:1]])
                        for words in self.helps}
            expected |= {(*words, ""): self.subcommands(words) for words in self.helps if self.subcommands(words)}
            expected |= {("zephlon", "--port", "5", "top", "--count", "2", "g"): {"gpu"},
                         ("zephlon", "top", "cpu", ""): expected["zephlon", "top", "--"],
                         ("zephlon", "defaults", "write", "language", ""): {"zh", "en"},
                         ("zephlon", "defaults", "read", "language", ""): expected["zephlon", "defaults", "read", "--"],
                         ("zephlon", "bar", "--metrics", "clock,me"): {"clock,memoryUsage"},
                         ("ZQMHelper", "--root", f"{self.prefix}/bi"):
                             {f"{self.prefix}/bin" + ("/" if shell == "fish" else "")}}
            for words, offered in expected.items():
                self.assertEqual(self.completions(shell, words), offered, (shell, words))

    @unittest.skipUnless(shutil.which("zsh"), "no zsh")
    def test_completes_in_zsh(self):
        pid, terminal = pty.fork()
        if pid == 0:
            os.execvpe("zsh", ["zsh", "-f", "-i"], dict(self.environment, PS1="%% "))
        self.addCleanup(lambda: (os.close(terminal), os.waitpid(pid, 0)))
        for typed, expected in ((f"stty cols 200; fpath=({self.prefix}/share/zsh/site-functions $fpath); "
                                 "autoload -Uz compinit; compinit -u -D; echo rea''dy\n", "ready"),
                                ("zephlon diag\t--se\t", "--send "), ("zephlon top --port 5 me\t", "memory "),
                                ("ZQMHelper --so\t", "--sources "), (f"ZQMHelper --root={self.prefix}/bi\t", "/bin/")):
            os.write(terminal, typed.encode())
            shown = ""
            while expected not in shown:
                self.assertTrue(select.select([terminal], [], [], PATIENCE)[0], f"{typed!r} showed {shown!r}")
                shown += os.read(terminal, 65536).decode(errors="replace")
            os.write(terminal, b"\x15")  # clears the line

    @unittest.skipUnless("CMAKE_BUILD_TYPE:STRING=MinSizeRel" in (BUILD / "CMakeCache.txt").read_text(), "not a release")
    def test_programs_are_hardened_and_carry_no_symbols(self):
        for program in ("ZQMHelper", "zephlon"):
            found = output("readelf", "--wide", "--file-header", "--segments", "--dynamic", "--dyn-syms",
                           "--sections", self.prefix / "bin" / program)
            for mark in (r"Type: +DYN", r"\bGNU_RELRO\b", r"Flags: NOW PIE", r"\b__stack_chk_fail@", r"\b__\w+_chk@"):
                self.assertTrue(re.search(mark, found), f"{program}: {mark}")
            self.assertNotIn(".symtab", found, program)

    def test_units_start_the_programs_that_were_installed_with_them(self):
        units = list((self.prefix / "share/systemd/user").iterdir())
        self.assertEqual({re.search(r"^ExecStart=(\S+)", unit.read_text(), re.MULTILINE)[1] for unit in units},
                         {f"{self.prefix}/bin/{program}" for program in ("ZQMHelper", "zephlon")})
        if shutil.which("systemd-analyze"):
            result = subprocess.run(["systemd-analyze", "verify", "--user", "--man=no", *units], text=True,
                                    env=self.environment, capture_output=True, timeout=PATIENCE)
            self.assertEqual((result.returncode, result.stdout + result.stderr), (0, ""))


if __name__ == "__main__":
    unittest.main()
