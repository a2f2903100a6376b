#!/usr/bin/env python3
"""Compiles the same source files with the commands of two configured build trees and prints the
CPU seconds (user + system) of each compile, which the other work on a shared machine disturbs
far less than wall time.

    bench/unit-compile-cost.py BUILD_A BUILD_B FILE...

FILE is a path relative to the source tree (src/TarnelKit/Stats/StatsClient.cpp). Each build
tree must have been configured (compile_commands.json) and, for a precompiled header, have it
built. The compiler cache is bypassed and objects go to a temporary folder.
"""
import json
import os
import resource
import shlex
import subprocess
import sys
import tempfile


def commands(build):
    with open(os.path.join(build, "compile_commands.json")) as f:
        entries = json.load(f)
    found = {}
    for entry in entries:
        source = os.path.realpath(os.path.join(entry["directory"], entry["file"]))
        found.setdefault(source, entry)
    return found


def source_root(build):
    with open(os.path.join(build, "CMakeCache.txt")) as f:
        for line in f:
            if line.startswith("CMAKE_HOME_DIRECTORY:"):
                return line.split("=", 1)[1].strip()
    raise SystemExit(f"{build}: no CMAKE_HOME_DIRECTORY in CMakeCache.txt")


def cpu_seconds(entry, out):
    words = shlex.split(entry["command"]) if "command" in entry else list(entry["arguments"])
    if os.path.basename(words[0]) == "ccache":
        words = words[1:]
    if "-o" in words:
        words[words.index("-o") + 1] = out
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    done = subprocess.run(words, cwd=entry["directory"], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                          env=dict(os.environ, CCACHE_DISABLE="1"))
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if done.returncode != 0:
        raise SystemExit(f"compile failed: {' '.join(words)}\n{done.stderr.decode(errors='replace')[-2000:]}")
    return (after.ru_utime - before.ru_utime) + (after.ru_stime - before.ru_stime)


def main():
    if len(sys.argv) < 4:
        raise SystemExit(__doc__)
    builds = sys.argv[1:3]
    tables = [commands(b) for b in builds]
    roots = [source_root(b) for b in builds]
    totals = [0.0, 0.0]
    print("| unit | A cpu (s) | B cpu (s) | A/B |")
    print("|---|---|---|---|")
    with tempfile.TemporaryDirectory() as tmp:
        out = os.path.join(tmp, "unit.o")
        for name in sys.argv[3:]:
            seconds = []
            for table, root in zip(tables, roots):
                entry = table.get(os.path.realpath(os.path.join(root, name)))
                if entry is None:
                    raise SystemExit(f"{name}: not compiled in the build of {root}")
                seconds.append(cpu_seconds(entry, out))
            totals = [t + s for t, s in zip(totals, seconds)]
            print(f"| {name} | {seconds[0]:.1f} | {seconds[1]:.1f} | {seconds[0] / seconds[1]:.2f} |")
    print(f"| all | {totals[0]:.1f} | {totals[1]:.1f} | {totals[0] / totals[1]:.2f} |")


if __name__ == "__main__":
    main()
