#!/usr/bin/env python3
"""Kills the tool with SIGKILL at random moments and looks at what is left.

Usage: kill_moments.py write|copy|locations FSYS MOMENTS SEED, in an empty folder.

The end of a process shows what it did with the bytes that were its own: those that are written
are the system's, and must be there whatever becomes of the process; those that were only accepted
may be gone. It cannot show a loss of power: the page cache outlives a process, so written and
durable bytes fare alike here. That the flush comes before the word "durable" is tested by flushes
that fail.
"""
import os
import random
import re
import subprocess
import sys
import time

SOURCE_BYTES = 3_000_017


def fail(moment, why):
    sys.exit(f"FAILED: moment {moment}: {why}")


def content(name):
    try:
        with open(name, "rb") as file:
            return file.read()
    except FileNotFoundError:
        return None


def killed_after(process, seconds):
    """Whether the process was still there to be killed."""
    try:
        process.wait(seconds)
    except subprocess.TimeoutExpired:
        process.kill()
    process.wait()
    return process.returncode == -9


def left_behind():
    return [name for name in os.listdir(".") if re.fullmatch(r"\.fsys-\d+-\d+\.part", name)]


class Writes:
    """What was reported of a file is there, and writing can go on behind it."""

    def __init__(self, fsys, rng, source):
        self.fsys, self.rng, self.source = fsys, rng, source
        self.best = 0  # the most bytes that were durable when the tool was killed

    def command(self, *options):
        return [self.fsys, "write", "target", "--quiet", "--block", str(self.block),
                "--inflight", str(self.rng.randint(1, 8)), *options]

    def moment(self, number):
        self.block = self.rng.choice([4096, 65536, 100_001, 262_144])
        every = self.rng.choice([65_536, 300_000, 1_000_000])
        start = self.rng.choice([0, 0, 0, 4096, 77_777])
        if start:
            with open("target", "wb") as file:
                file.write(self.source[:start])
        killed, states = self.write_and_kill(start, every)
        self.check(number, start, killed, states)
        self.go_on(number, max(states["durable"], start))
        os.remove("target")
        if killed:
            self.best = max(self.best, states["durable"])
        return killed

    def write_and_kill(self, start, every):
        states = {"accepted": 0, "written": 0, "durable": 0}
        lines = (len(self.source) - start) // self.block + 2 * (len(self.source) - start) // every
        wanted = self.rng.randint(0, lines)
        with open("source", "rb") as data:
            data.seek(start)
            process = subprocess.Popen(self.command("--flush-every", str(every), "--report"),
                                       stdin=data, stdout=subprocess.PIPE)
        for count, line in enumerate(process.stdout):
            state, end = line.split()
            states[state.decode()] = int(end)
            if count == wanted:
                break
        # Often at once: what was just said is then hardly done.
        killed = killed_after(process, self.rng.choice([0, self.rng.uniform(0, 0.002)]))
        # What it had said when it ended; a line is one write of its own and never half.
        for line in process.stdout:
            state, end = line.split()
            states[state.decode()] = int(end)
        process.stdout.close()
        return killed, states

    def check(self, number, start, killed, states):
        found = content("target")
        if found is None:
            found = b""
        told = f"of {len(found)} bytes were reported {states}"
        if not killed and (found != self.source or states["durable"] != len(self.source)):
            fail(number, f"it ended by itself, {told}, and the file is not whole")
        if len(found) < max(states["written"], start):
            fail(number, f"the file is too short: {told}")
        good = max(states["written"], start)
        if found[:good] != self.source[:good]:
            fail(number, f"what was reported written is wrong: {told}")
        # Behind that lie blocks that had arrived, or holes where their turn had not come.
        for begin in range(good, len(found), 512):
            piece, wanted = found[begin:begin + 512], self.source[begin:begin + 512]
            if piece != wanted and any(a not in (b, 0) for a, b in zip(piece, wanted)):
                fail(number, f"foreign bytes behind offset {begin}: {told}")
        if len(found) > len(self.source):
            fail(number, f"the file is too long: {told}")

    def go_on(self, number, durable):
        """The next run writes on behind what is durable."""
        if not os.path.exists("target"):
            open("target", "wb").close()
        os.truncate("target", durable)
        with open("source", "rb") as data:
            data.seek(durable)
            code = subprocess.run(self.command(), stdin=data, check=False).returncode
        if code != 0 or content("target") != self.source:
            fail(number, f"the next run has exit code {code}, or the file is not whole")

    def told(self):
        return f"at most {self.best} bytes were durable"


class Copies:
    """A copy has its name only when it is whole, and what is left is in nobody's way."""

    def __init__(self, fsys, rng, source):
        self.fsys, self.rng, self.source = fsys, rng, source
        self.whole_s = float("inf")  # of the quickest copy so far: most moments come before its end
        self.copy(0)
        os.remove("target")
        self.parts = 0

    def copy(self, number):
        begin = time.monotonic()
        code = subprocess.run([self.fsys, "copy", "source", "target", "--quiet", "--force"],
                              check=False).returncode
        self.whole_s = min(self.whole_s, time.monotonic() - begin)
        if code != 0 or content("target") != self.source:
            fail(number, f"copying has exit code {code}, or the copy is not whole")

    def moment(self, number):
        before = self.rng.choice([None, b"an older file"])
        if before:
            with open("target", "wb") as file:
                file.write(before)
        process = subprocess.Popen([self.fsys, "copy", "source", "target", "--quiet", "--force",
                                    "--block", str(self.rng.choice([4096, 65_536, 100_001]))])
        killed = killed_after(process, self.rng.uniform(0, self.whole_s))
        found = content("target")
        if found not in ((before, self.source) if killed else (self.source,)):
            fail(number, "a half copy has the name, or what was there is gone")
        parts = left_behind()
        if len(parts) > (1 if killed else 0):
            fail(number, f"left behind: {parts}")
        self.parts += len(parts)
        self.copy(number)
        if left_behind() != parts:
            fail(number, "the next copy touched what another had left, or left something itself")
        for name in ["target", *parts]:
            os.remove(name)
        return killed

    def told(self):
        return f"{self.parts} unfinished files were left under names of their own"


class Locations:
    """A list has its old lines or its new ones, and the next change finds nobody's lock."""

    def __init__(self, fsys, rng, source):
        self.fsys, self.rng = fsys, rng
        self.lines = []  # as the list is to be
        self.whole_s = float("inf")  # of the quickest change so far
        self.swept = 0
        for name in ("one", "two", "three"):
            os.mkdir(name)
        for number, word in enumerate(("add", "add", "remove", "add")):
            self.change(number, word, "two" if number else "one")

    def command(self, word, name):
        return [self.fsys, "locations", word, name, "--project", "lists", "--quiet"]

    def after(self, word, name):
        line = os.path.abspath(name) + "/\n"
        others = [other for other in self.lines if other != line]
        return others + [line] if word == "add" else others

    def is_listed(self, lines):
        return (content("lists/DefNetDrive.txt") or b"") == "".join(lines).encode()

    def left(self):
        names = os.listdir("lists")
        return [name for name in names if re.fullmatch(r"\.fsys-DefNetDrive\.txt\.\d+-\d+", name)]

    def change(self, number, word, name):
        """It goes through, and leaves nothing behind."""
        begin = time.monotonic()
        code = subprocess.run(self.command(word, name), check=False).returncode
        self.whole_s = min(self.whole_s, time.monotonic() - begin)
        self.lines = self.after(word, name)
        if code != 0 or not self.is_listed(self.lines):
            fail(number, f"{word} has exit code {code}, or the list is wrong")
        if self.left():
            fail(number, f"left behind: {self.left()}")

    def moment(self, number):
        name = self.rng.choice(["one", "two", "three"])
        word = "remove" if os.path.abspath(name) + "/\n" in self.lines else "add"
        wanted = self.after(word, name)
        process = subprocess.Popen(self.command(word, name))
        killed = killed_after(process, self.rng.uniform(0, self.whole_s))
        done = self.is_listed(wanted)
        if not done and not (killed and self.is_listed(self.lines)):
            fail(number, f"{word}: the list is neither the old one nor the new one")
        if len(self.left()) > (1 if killed else 0):
            fail(number, f"left behind: {self.left()}")
        self.swept += len(self.left())
        if done:
            self.lines = wanted
            word = "remove" if word == "add" else "add"
        self.change(number, word, name)
        return killed

    def told(self):
        return f"{self.swept} unfinished lists were swept by the next change"


def main():
    kind, fsys, moments, seed = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
    print(f"seed {seed}", flush=True)
    rng = random.Random(seed)
    source = rng.randbytes(SOURCE_BYTES)
    with open("source", "wb") as file:
        file.write(source)
    trial = {"write": Writes, "copy": Copies, "locations": Locations}[kind](fsys, rng, source)
    killed = sum(trial.moment(number) for number in range(moments))
    print(f"{moments} moments, killed in {killed} of them; {trial.told()}")
    if killed < moments // 3:
        sys.exit("FAILED: it had ended by itself too often")


main()
