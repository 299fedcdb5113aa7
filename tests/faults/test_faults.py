"""Damages the machine for real, runs the whole program, and looks at the exit code, the log and the
registry. docs/testing.md has a row for each test; those marked "both" run in 32 bits too."""
import itertools
import re
from concurrent.futures import ThreadPoolExecutor

import pytest
from machine import BUILD, COPIES, DRIVERS, ENTRY, SOURCES, TOUCHED, Machine, message

REGISTER = ("-c", "MYCOPY", "-d")
REPLACE = ("-r", *REGISTER, "-s")
UNREGISTER = ("-u", "-c", "MYCOPY", "-s")
LAST_LINE = message("MSG_DEFAULT_SWITCHED", "MYCOPY")
STARTER = BUILD / "programs/starter.exe"
GUID = re.compile("\t7b(3[0-9]|4[1-6]|2d){36}7d00")  # as a text in hexadecimal


class Trial(Machine):
    """A machine, and what undisturbed runs leave on it."""

    def __init__(self, quick=False):
        super().__init__()
        if quick:  # where there are many runs, regsvr32 cannot be started
            self.path("bin/regsvr32.exe").touch()
        self.run(*REGISTER, "-s")
        self.registered = self.state()
        self.run(*UNREGISTER)
        self.removed = self.state()
        self.clean()

    def state(self):
        """{key: its values} of all that a run may touch, with new identifiers masked."""
        tree = GUID.sub("\tGUID", "\n" + self.tool("regtree", "--raw", *TOUCHED))
        return {block.split("]")[0]: block for block in tree.split("\n[")}

    def check(self, expected, but=()):
        """The state is the expected one, but for what is below some keys."""
        found = self.state()
        assert {key: (found.get(key), expected.get(key)) for key in found.keys() | expected.keys()
                if found.get(key) != expected.get(key) and not key.startswith(but)} == {}

    def registers(self, **options):
        """A run on the damaged machine registers completely."""
        done = self.run(*REGISTER, **options)
        self.check(self.registered)
        return done

    def heals(self):
        """When the damage is gone, a run with -r registers completely."""
        self.run(*REPLACE)
        self.check(self.registered)


def test_full_disk():
    done = Trial().registers(log=r"Z:\dev\full")
    assert done.console[-1] == LAST_LINE


@pytest.mark.both
def test_no_standard_handles():
    done = Trial().registers(before=[STARTER, "closed"])
    assert (done.console, done.log[-1]) == ([], LAST_LINE)


def test_two_runs_at_once_while_keys_vanish():
    quick = Trial(quick=True)
    allowed = {REPLACE: [0], UNREGISTER: [0, -102, -104, -105, -108]}
    keys = [f"{COPIES}\\OTHER", COPIES, ENTRY, SOURCES, DRIVERS]
    pairs = [2 * [REPLACE], 2 * [UNREGISTER], [REPLACE, UNREGISTER]]
    with ThreadPoolExecutor(3) as pool:
        def run_at_once(options):
            runs = [pool.submit(quick.run, *one, codes=allowed[one], log=f"C:\\zelk\\run{i}.log")
                    for i, one in enumerate(options)]
            for run in runs:
                run.result()

        vanishing = pool.submit(quick.tool, "regchurn", 10, *keys)
        while not vanishing.done():
            for pair in pairs:
                run_at_once(pair)
        vanishing.result()
        for pair in 5 * pairs:  # and while none vanish
            run_at_once(pair)
    quick.clean()  # what the other process left
    quick.heals()


def interrupted(machine, arguments):
    """Runs that are killed after the first, second, ... of the changes that a whole run makes."""
    for changes in itertools.count(1):
        start = [STARTER, "interrupted", changes]
        if machine.run(*arguments, codes=(99, 0), before=start).code == 0:  # 99 is breaker.dll's
            return
        yield changes


def test_killed_while_registering():
    quick = Trial(quick=True)
    for changes in interrupted(quick, [*REGISTER, "-s"]):
        quick.run(*REPLACE)
        # An entry in the list of programs is kept as it is found, also one that is half written.
        quick.check(quick.registered, but=ENTRY)
        quick.run(*UNREGISTER)
        quick.check(quick.removed)
    assert changes > 30


@pytest.mark.both
def test_killed_while_unregistering():
    quick = Trial(quick=True)
    quick.run(*REGISTER, "-s")
    refused = 0
    for changes in interrupted(quick, UNREGISTER):
        if quick.run(*UNREGISTER, codes=(0, -102)).code == -102:
            refused += 1  # the record went first: the copy must be registered to be removed
            quick.run(*REGISTER, "-s")
            quick.run(*UNREGISTER)
        quick.check(quick.removed)
        quick.heals()
    assert changes > 10 and 0 < refused < changes - 1
