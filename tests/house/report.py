#!/usr/bin/env python3
"""What a run of tests says beside its counts. Usage: report.py REPORT FAILURES RUN

REPORT is what ctest writes with --output-junit. Printed is each test that did not run, and why:
one line a test. Each test that failed is added to FAILURES, with the RUN's name and the end of
what it printed.
"""
import re
import sys
import xml.etree.ElementTree as ElementTree

LAST_LINES = 25
LONGEST_LINE = 200


def reason_of(output):
    """GoogleTest's words for a skip; of any other program, the last line that it printed."""
    words = re.search(r": Skipped\n(.*?)\n\[  SKIPPED \]", output, re.DOTALL)
    lines = words.group(1).splitlines() if words else output.strip().splitlines()[-1:]
    reason = "; ".join(line.strip() for line in lines if line.strip())
    return reason.removeprefix("skipped: ") or "it does not say why"


def end_of(output):
    return [line[:LONGEST_LINE] for line in output.strip().splitlines()[-LAST_LINES:]]


try:
    report = ElementTree.parse(sys.argv[1]).getroot()
except (OSError, ElementTree.ParseError) as error:
    sys.exit(f"{sys.argv[1]}: {error}")
failures = []
for case in report.iter("testcase"):
    name, output = case.get("name"), case.findtext("system-out", "")
    if case.get("status") in ("notrun", "disabled"):
        print(f"    skipped  {name}: {reason_of(output)}")
    elif case.get("status") == "fail":
        failures += [f"    failed   {sys.argv[3]}: {name}"] + [f"      | {line}" for line in end_of(output)]
with open(sys.argv[2], "a", encoding="utf-8") as file:
    file.writelines(line + "\n" for line in failures)
