#!/usr/bin/env python3
"""Turns the runs of scripts/bench-changes.sh into the table of what each speed change gave.

Usage: bench-changes.py WORKDIR [--doc docs/performance.md]
WORKDIR holds changes.txt (one "commit|what it changed" per line, oldest first) and
results-<commit>.json for each. Without --doc the Markdown goes to standard output.
"""
import argparse
import json
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from importlib import import_module  # noqa: E402

report = import_module("bench-report")

BEGIN = "<!-- BEGIN CHANGES by scripts/bench-changes.sh: do not edit by hand -->"
END = "<!-- END CHANGES -->"

COLUMNS = [
    ("load_text", "tree", "load text, tree"),
    ("load_text", "flat", "load text, one directory"),
    ("get_integer_2500", "tree", "2 500 lookups, tree"),
    ("get_integer_2500", "flat", "2 500 lookups, one directory"),
    ("save_text", "tree", "save text, tree"),
    ("save_text", "flat", "save text, one directory"),
    ("load_binary", "tree", "load binary, tree"),
]


def table(workdir):
    with open(os.path.join(workdir, "changes.txt")) as f:
        changes = [line.rstrip("\n").split("|", 1) for line in f if line.strip()]
    out = ["| commit | change | " + " | ".join(c[2] for c in COLUMNS) + " |",
           "|---|---|" + "---|" * len(COLUMNS)]
    for sha, what in changes:
        _, runs = report.read_results(os.path.join(workdir, f"results-{sha}.json"))
        cells = []
        for work, shape, _ in COLUMNS:
            run = runs.get(f"env/{work}/ours/{shape}/10000")
            if run is None or "error" in run:
                cells.append("-")
            else:
                cells.append(f"{report.fmt_time(run['ns'])} (CPU {report.fmt_time(run['cpu_ns'])})")
        out.append(f"| `{sha}` | {what} | " + " | ".join(cells) + " |")
    return out


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("workdir")
    parser.add_argument("--doc")
    args = parser.parse_args()
    lines = ["Median real time (CPU time) of the 10 000-key cases, the library at each commit "
             "timed by the same benchmark program in one run.", ""] + table(args.workdir)
    generated = "\n".join(lines) + "\n"
    if not args.doc:
        sys.stdout.write(generated)
        return
    report.replace_section(args.doc, BEGIN, END, generated)


if __name__ == "__main__":
    main()
