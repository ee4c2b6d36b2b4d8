#!/usr/bin/env python3
"""Carries out the shell blocks of a document and compares what they print with what it shows.

    replay.py PROGRAMS DOCUMENT

The blocks run in their order, in one shell, in a new folder, with the folder PROGRAMS searched for
programs first. What a ```sh block prints has to be the block that follows it, and nothing when the
next block is a ```sh block too, or when there is none. In what is shown

    <time>       stands for a time as the device writes it, <date> for one as HTTP does
    <userfiles>  for the value of the shell variable `userfiles`
    ...          alone on a line, for any number of lines

The exit status of a block does not matter: what a reader sees is what counts.
"""

import difflib
import os
import re
import signal
import subprocess
import sys
import tempfile
import threading
from dataclasses import dataclass
from pathlib import Path

BLOCK_SECONDS = 120
FENCE = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
PATTERNS = {
    "<time>": r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ",
    "<date>": r"\w{3}, \d\d \w{3} \d{4} \d\d:\d\d:\d\d GMT",
}


@dataclass
class Call:
    """A block of commands and what it is to print."""

    line: int
    commands: str
    answer: str = ""


def read_calls(text):
    calls = []
    for block in FENCE.finditer(text):
        language, content = block.groups()
        if language == "sh":
            calls.append(Call(text.count("\n", 0, block.start()) + 2, content))
        elif calls and not calls[-1].answer:
            calls[-1].answer = content
    return calls


class ShellEnded(Exception):
    """The commands ended their shell, or took too long."""


class Shell:
    """One shell for all blocks, whose processes end with it."""

    END = "--- end of block ---"

    def __init__(self, folder, programs):
        environment = dict(os.environ, LC_ALL="C.UTF-8",
                           PATH=f"{Path(programs).resolve()}:{os.environ['PATH']}")
        self.process = subprocess.Popen(
            ["bash"], cwd=folder, env=environment, text=True, encoding="utf-8",
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            start_new_session=True)

    def run(self, commands):
        self.process.stdin.write(f"{commands}\nprintf '\\n{self.END}\\n'\n")
        self.process.stdin.flush()
        watchdog = threading.Timer(BLOCK_SECONDS, self.end)
        watchdog.start()
        try:
            lines = list(iter(self.read_line, self.END + "\n"))
        finally:
            watchdog.cancel()
        return "".join(lines)[:-1].replace("\r\n", "\n")

    def read_line(self):
        line = self.process.stdout.readline()
        if not line:
            raise ShellEnded
        return line

    def variable(self, name):
        return self.run(f'printf "%s" "${name}"')

    def end(self):
        try:
            os.killpg(self.process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self.process.wait()


def pattern_of(answer, userfiles):
    patterns = dict(PATTERNS, **{"<userfiles>": re.escape(userfiles)})

    def pattern_of_line(line):
        if line.strip() == "...":
            return r"(?:.*\n)*?"
        parts = re.split("(" + "|".join(patterns) + ")", line)
        return "".join(patterns.get(part, re.escape(part)) for part in parts)

    return "".join(pattern_of_line(line) for line in answer.splitlines(keepends=True))


def whole_lines(text):
    return text if text == "" or text.endswith("\n") else text + "\n"


def describe(document, call, printed):
    shown = call.answer.splitlines(keepends=True)
    difference = difflib.unified_diff(shown, printed.splitlines(keepends=True), "shown", "printed")
    return f"{document}:{call.line}: other than shown\n{call.commands}{''.join(difference)}"


def replay_call(shell, document, call):
    try:
        printed = whole_lines(shell.run(call.commands))
        expected = pattern_of(call.answer, shell.variable("userfiles"))
    except ShellEnded:
        sys.exit(f"{document}:{call.line}: the shell ended, or {BLOCK_SECONDS} s did not suffice")
    if re.fullmatch(expected, printed):
        return True
    print(describe(document, call, printed))
    return False


def replay(programs, document):
    calls = read_calls(Path(document).read_text(encoding="utf-8"))
    with tempfile.TemporaryDirectory(prefix="parlowen-") as folder:
        shell = Shell(folder, programs)
        try:
            successes = sum(replay_call(shell, document, call) for call in calls)
        finally:
            shell.end()
    print(f"{successes} of {len(calls)} blocks printed what is shown")
    return successes < len(calls) or not calls


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(int(replay(sys.argv[1], sys.argv[2])))
