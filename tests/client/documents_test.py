"""The manual page, the completion and the help say the same, and are well formed."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

CLIENT = os.environ["PARLOWENCTL"]
SOURCE = pathlib.Path(os.environ["PARLOWEN_SOURCE"])
MANUAL = SOURCE / "docs" / "man" / "parlowenctl.1.in"
COMPLETIONS = SOURCE / "client" / "completion"
COMPLETION = COMPLETIONS / "parlowenctl.bash"


def run(*command, **named):
    return subprocess.run(command, capture_output=True, text=True, check=False, **named)


def help_of(*command):
    return run(CLIENT, *command, "--help").stdout


def subcommands(*command):
    section = help_of(*command).partition("\nSubcommands:\n")[2]
    return re.findall(r"(?m)^  (\S+)", section)


def options(*command):
    section = help_of(*command).partition("\nOptions:\n")[2].partition("\n\n")[0]
    found = set()
    for line in re.findall(r"(?m)^  (-\S+)", section):
        found.update(line.split(","))
    return found


def all_commands():
    for command in subcommands():
        below = subcommands(command)
        yield from ([command, sub] for sub in below) if below else ([command],)


class Manual(unittest.TestCase):
    def test_formatter_has_no_warning(self):
        result = run("man", "--warnings", "-l", str(MANUAL), env={**os.environ, "LC_ALL": "C.UTF-8",
                                                                  "MANROFFSEQ": ""})
        self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_linter_has_no_complaint_but_the_missing_date(self):
        complaints = run("mandoc", "-T", "lint", str(MANUAL)).stdout.splitlines()
        self.assertEqual([c for c in complaints if "missing date" not in c], [])

    def test_names_every_command_option_and_status(self):
        text = MANUAL.read_text().replace("\\-", "-")
        for command in all_commands():
            self.assertIn(" ".join(command), text)
            for option in options(*command):
                self.assertIn(option, text)
        for option in options():
            self.assertIn(option, text)
        for status in range(6):
            self.assertIn(".TP\n.B %d\n" % status, text)


class Completion(unittest.TestCase):
    def complete(self, *words):
        """What is offered for the last word."""
        script = ('source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMPREPLY=(); '
                  '_parlowenctl; printf "%s\\n" "${COMPREPLY[@]}"')
        result = run("bash", "-c", script, "bash", str(COMPLETION), CLIENT, *words)
        self.assertEqual(result.stderr, "")
        return set(result.stdout.split())

    def test_parses(self):
        self.assertEqual(run("bash", "-n", str(COMPLETION)).stderr, "")

    def test_offers_every_command(self):
        self.assertEqual(self.complete(""), set(subcommands()))
        self.assertEqual(self.complete("files", ""), set(subcommands("files")))
        self.assertEqual(self.complete("workorders", ""), set(subcommands("workorders")))

    def test_offers_the_rest_of_a_word(self):
        self.assertEqual(self.complete("files", "st"), {"stat"})
        self.assertEqual(self.complete("--js"), {"--json"})

    def test_offers_every_option(self):
        self.assertEqual(self.complete("-"), options())
        for command in all_commands():
            with self.subTest(command=command):
                offered = self.complete(*command, "-")
                self.assertLessEqual(options(*command), offered)
                self.assertEqual(offered - options(*command), options() - options(*command))

    def test_skips_the_value_of_an_option(self):
        self.assertEqual(self.complete("--host", "files", ""), set(subcommands()))
        self.assertEqual(self.complete("--host", ""), set())

    def test_offers_local_files(self):
        name = os.path.relpath(COMPLETION)
        self.assertEqual(self.complete("files", "put", name[:-3]), {name})
        self.assertEqual(self.complete("files", "get", "x", "-o", name[:-3]), {name})

    def test_offers_local_folders_to_sync(self):
        folder = os.path.relpath(COMPLETION.parent)
        self.assertEqual(self.complete("sync", folder[:-1]), {folder})

    def test_zsh_offers_the_same(self):
        script = ('fpath=("$1" $fpath); shift; autoload -Uz _parlowenctl; '
                  'compadd() { print -l -- ${(P)2}; }; _files() { print local $@; }; '
                  'words=("$@"); CURRENT=$#; _parlowenctl')
        for words, offered in ((["files", "st"], "stat\n"), (["sync", ""], "local -/\n"),
                               (["workorders", "put", ""], "local\n"), (["--host", ""], "")):
            with self.subTest(words=words):
                result = run("zsh", "-fc", script, "zsh", str(COMPLETIONS), CLIENT, *words)
                self.assertEqual((result.stdout, result.stderr), (offered, ""))

    def test_fish_offers_the_same(self):
        path = os.path.dirname(CLIENT) + ":" + os.environ["PATH"]
        for line, offered in (("parlowenctl files st", "stat\n"), ("parlowenctl --ins",
                                                                    "--insecure\n"),
                              ("parlowenctl --host ", "")):
            with self.subTest(line=line):
                result = run("fish", "--no-config", "-c", 'source "$argv[1]"; complete -C "$argv[2]"',
                             str(COMPLETIONS / "parlowenctl.fish"), line,
                             env={**os.environ, "PATH": path})
                self.assertEqual((result.stdout, result.stderr), (offered, ""))


class FleetPage(unittest.TestCase):
    def setUp(self):
        text = (SOURCE / "docs" / "fleet.md").read_text()
        self.units = dict(re.findall(
            r"(?s)`/etc/systemd/system/([\w.-]+)`:\n\n```ini\n(.*?)```", text))

    def test_shows_a_service_and_its_timer(self):
        self.assertEqual(sorted(self.units),
                         ["parlowen-collect.service", "parlowen-collect.timer"])

    def test_units_have_no_complaint_of_systemd(self):
        with tempfile.TemporaryDirectory() as folder:
            names = []
            for name, unit in self.units.items():
                names.append(os.path.join(folder, name))
                pathlib.Path(names[-1]).write_text(unit.replace("/usr/bin/parlowenctl", CLIENT))
            result = run("systemd-analyze", "verify", "--man=no", *names)
        self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_service_runs_a_command_with_options_that_there_are(self):
        command = re.search(r"(?m)^ExecStart=/usr/bin/parlowenctl (.*)$",
                            self.units["parlowen-collect.service"])[1].split()
        self.assertIn("sync", subcommands())
        self.assertIn("sync", command)
        for word in command:
            if word.startswith("-"):
                self.assertIn(word, options() | options("sync"))


if __name__ == "__main__":
    unittest.main()
