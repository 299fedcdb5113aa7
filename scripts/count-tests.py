#!/usr/bin/env python3
"""Counts tests in one line, and names what failed and what was skipped.
   count-tests.py REPORT...     reports of ctest --output-junit, each in its build folder
A test of CTest that reported its own cases, to reports/<test>.xml in the build folder, counts as
those; one that crashed or hung has no report and counts as failed."""
import sys
import xml.etree.ElementTree as xml
from collections import Counter
from pathlib import Path

counts, reasons = Counter(), Counter()


def count(outcome, name, reason=None):
    counts[outcome] += 1
    if outcome == "failed":
        print(f"FAILED: {name}")
    elif outcome == "skipped":
        reasons[(reason or "disabled").splitlines()[-1]] += 1


def outcome_of(case):
    if case.find("failure") is not None or case.find("error") is not None:
        return "failed", None
    skipped = case.find("skipped")
    if skipped is not None or case.get("status") == "notrun":
        return "skipped", skipped is not None and skipped.get("message")
    return "passed", None


for report in map(Path, sys.argv[1:]):
    preset = report.parent.name
    for test in xml.parse(report).iter("testcase"):
        name, status, before = test.get("name"), test.get("status"), counts["failed"]
        own = report.parent / "reports" / f"{name}.xml"
        if name in ("wine_starts", "wine_stops") and status == "run":
            continue
        if status == "disabled":
            count("skipped", name, f"disabled in {preset}")
            continue
        cases = list(xml.parse(own).iter("testcase")) if own.exists() else []
        for case in cases:
            outcome, reason = outcome_of(case)
            count(outcome, f"{preset} {case.get('classname')}.{case.get('name')}", reason)
        # A test that could not be started, "notrun", has failed too.
        if status != "run" and counts["failed"] == before:
            count("failed", f"{preset} {name}")
        elif not cases:
            count("passed", name)
for reason, number in reasons.items():
    print(f"SKIPPED: {number} tests: {reason}")
print(f"{counts['passed']} passed, {counts['failed']} failed, {counts['skipped']} skipped")
sys.exit(1 if counts["failed"] or not counts["passed"] else 0)
