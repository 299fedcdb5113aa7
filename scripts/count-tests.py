#!/usr/bin/env python3
"""Adds up JUnit reports, names what failed and what was skipped, and counts in one line."""
import sys
import xml.etree.ElementTree as xml
from collections import Counter

counts, reasons = Counter(), Counter()
for report in sys.argv[1:]:
    for case in xml.parse(report).iter("testcase"):
        name = f"{case.get('classname')}.{case.get('name')}"
        if case.find("failure") is not None or case.find("error") is not None:
            counts["failed"] += 1
            print(f"FAILED: {name} ({report})")
        elif (skipped := case.find("skipped")) is not None or case.get("status") == "notrun":
            counts["skipped"] += 1
            reasons[skipped.get("message") if skipped is not None else "disabled"] += 1
        else:
            counts["passed"] += 1
for reason, number in reasons.items():
    print(f"SKIPPED: {number} tests: {reason}")
print(f"{counts['passed']} passed, {counts['failed']} failed"
      + (f", {counts['skipped']} skipped" if counts["skipped"] else ""))
sys.exit(1 if counts["failed"] or not counts["passed"] else 0)
