#!/usr/bin/env bash
# Times one whole Clean scan of a generated home against du -sb over the same locations (the
# home and the system logs), in one run with warm caches, and prints the medians as a Markdown
# table.
#   bench/scanning/compare-clean-scan.sh <build dir> [home] [runs]
# A home that does not exist yet is generated there: the walker's tree of 200,000 files, four of
# its folders moved to the cache, state, Downloads and Desktop folders, some files renamed to
# packages, disk images and logs, and some made sparse and over 100 MB.
set -euo pipefail

build=${1:?build directory}
home=${2:-/tmp/tarnel-clean-home}
runs=${3:-7}
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=timing.sh
source "$here/timing.sh"
clean="$build/bench/scanning/bench_scanning_clean"
logs=/var/log

if [ ! -e "$home" ]; then
  python3 "$here/make_tree.py" "$home"
  python3 - "$home" <<'PY'
import os, random, sys
home = sys.argv[1]
rng = random.Random(7)
# The four folders with the most files of their own whose trees hold under a third of all files
# and lie apart become the XDG folders, so each group has work of its own.
direct, below = {}, {}
for folder, _, names in os.walk(home):
    direct[folder] = len(names)
for folder in sorted(direct, key=len, reverse=True):
    below[folder] = below.get(folder, 0) + direct[folder]
    parent = os.path.dirname(folder)
    if folder != home:
        below[parent] = below.get(parent, 0) + below[folder]
total = below[home]
chosen = []
for folder in sorted(direct, key=lambda f: -direct[f]):
    if folder == home or below[folder] * 3 > total:
        continue
    if any(folder.startswith(c + "/") or c.startswith(folder + "/") for c in chosen):
        continue
    chosen.append(folder)
    if len(chosen) == 4:
        break
for target, folder in zip([".cache", ".local/state", "Downloads", "Desktop"], chosen):
    os.makedirs(os.path.dirname(os.path.join(home, target)), exist_ok=True)
    os.rename(folder, os.path.join(home, target))
files = [os.path.join(d, f) for d, _, names in os.walk(home) for f in names if f.endswith(".dat")]
suffixes = [".deb", ".rpm", ".pkg.tar.zst", ".flatpakref", ".snap", ".iso", ".img", ".dmg", ".log"]
for path in rng.sample(files, 1000):
    os.rename(path, path[:-4] + rng.choice(suffixes))
for path in rng.sample([f for f in files if os.path.exists(f)], 40):
    with open(path, "r+b") as handle:
        handle.truncate(100_000_000 + rng.randrange(2) * rng.randrange(1, 10**9))
PY
fi

"$clean" "$home" >&2

run_clean() { "$clean" "$home"; }
run_du() { du -sb "$home" "$logs"; }
names=(clean du)

# A command that fails is timed all the same.
run_tolerant() { "run_$1" || true; }
time_rounds "$runs" run_tolerant "${names[@]}"

declare -A shown=(
  [clean]="bench_scanning_clean (whole Clean scan)"
  [du]="du -sb home /var/log"
)
median_table clean "Clean scan / command" "${names[@]}"
