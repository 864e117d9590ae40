#!/usr/bin/env python3
"""Prints each test that did not run, and why: one line a test. Usage: skipped.py REPORT

REPORT is what ctest writes with --output-junit.
"""
import re
import sys
import xml.etree.ElementTree as ElementTree


def reason_of(output):
    """GoogleTest's words for a skip; of any other program, the last line that it printed."""
    words = re.search(r": Skipped\n(.*?)\n\[  SKIPPED \]", output, re.DOTALL)
    lines = words.group(1).splitlines() if words else output.strip().splitlines()[-1:]
    reason = "; ".join(line.strip() for line in lines if line.strip())
    return reason.removeprefix("skipped: ") or "it does not say why"


try:
    report = ElementTree.parse(sys.argv[1]).getroot()
except (OSError, ElementTree.ParseError) as error:
    sys.exit(f"{sys.argv[1]}: {error}")
for case in report.iter("testcase"):
    if case.get("status") in ("notrun", "disabled"):
        print(f"    skipped  {case.get('name')}: {reason_of(case.findtext('system-out', ''))}")
